// Saves what is whole of damaged files. Inputs are not opened as flowbooks but read as bytes, and each message says
// what was saved, made anew or lost, so that the user can decide whether the result will do.
#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/HeldFile.hpp"
#include "io/NewFile.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "kit/package/Salvage.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace flowbook::tool {

namespace {

struct RepairOptions {
    InputOptions inputs;
    std::optional<std::string> output;
    std::optional<std::string> folder;
    bool inPlace = false;
    bool dryRun = false;
    bool quiet = false;
    Permission permission;
};

/// A second name of a damaged file, which keeps it with its owner and mode when the file is replaced.
class KeptDamaged {
public:
    /// @throws Failure when the name is taken by something else.
    explicit KeptDamaged(const std::string& file) : name_(file + ".damaged") {
        // A second name and not a copy: it needs no room, and owner, mode and times stay those of the damaged file.
        if (::linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            isNew_ = true;
        } else if (errno != EEXIST) {
            throw Failure(ExitCode::InputOutput,
                          "cannot keep the damaged file as '" + name_ + "': " + std::generic_category().message(errno));
        } else if (!isOneFile(file, name_)) {  // A run that was ended here left both names.
            throw Failure(ExitCode::InputOutput, file,
                          "the damaged file cannot be kept: '" + name_ + "' is there already",
                          FlowbookErrorKind::Conflict);
        }
    }
    KeptDamaged(const KeptDamaged&) = delete;
    KeptDamaged& operator=(const KeptDamaged&) = delete;
    ~KeptDamaged() {
        if (isNew_) {
            ::unlink(name_.c_str());
        }
    }

    /// Leaves the name there.
    void keep() noexcept { isNew_ = false; }

private:
    static bool isOneFile(const std::string& a, const std::string& b) {
        struct stat first {};
        struct stat second {};
        return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
               first.st_ino == second.st_ino;
    }

    std::string name_;
    bool isNew_ = false;
};

/// The repairs that one command makes.
class Repairs {
public:
    Repairs(const RepairOptions& options, bool areSeveral) : options_(&options), areSeveral_(areSeveral) {
        if (options.folder && !options.dryRun) {
            folder_.emplace(*options.folder, options.permission.force);
        }
    }

    void operator()(const Input& input, Report& report) {
        HeldFile file(input);
        // A repair needs the whole file in memory, and several times as much for what it finds.
        requireSize(file);
        const kit::Salvaged salvaged = kit::salvage(file.bytes());
        const bool isAsItWas = salvaged.lost.empty() && salvaged.rebuilt.empty();
        // Compared byte by byte: a file that is damaged in no way must not be written again, not even the same.
        const bool isWhole = salvaged.flowbook && file.holds(*salvaged.flowbook);
        if (salvaged.flowbook && !options_->dryRun) {
            put(input, report, file, *salvaged.flowbook);
        }
        report.attempt(&input, [&] { requireSaved(salvaged); });
        // Scripts have to be able to distinguish a whole file from one of which something was lost.
        report.note(isAsItWas ? ExitCode::Fine : ExitCode::NegativeFinding);
        report.note(salvaged.isOverLimit ? ExitCode::LimitExceeded : ExitCode::Fine);
        if (options_->inputs.json) {
            writeRecord(report, salvaged, salvaged.flowbook && !isWhole);
        } else {
            print(input, report, salvaged, isWhole);
        }
        if (salvaged.flowbook) {
            ++(isWhole ? whole_ : repaired_);
        }
    }

    void finish(Console& console) {
        if (folder_) {
            attempt(console, "", [&] { folder_->sync(); });
        }
        if (areSeveral_ && !options_->quiet) {
            console.say(std::to_string(repaired_) + (options_->dryRun ? " would be repaired, " : " repaired, ") +
                        std::to_string(whole_) + " as they were");
        }
    }

private:
    static void requireSize(const HeldFile& file) {
        const std::uint64_t most = opc::Limits().maxPackageSize;
        if (file.size() > most) {
            throw Failure(ExitCode::LimitExceeded, "larger than " + std::to_string(most) + " bytes");
        }
    }

    static void requireSaved(const kit::Salvaged& salvaged) {
        if (!salvaged.flowbook) {
            throw Failure(salvaged.isOverLimit ? ExitCode::LimitExceeded : ExitCode::Damaged,
                          "nothing of it can be saved");
        }
    }

    void put(const Input& input, Report& report, HeldFile& file, const Bytes& flowbook) {
        if (options_->output) {
            putFile(report, *options_->output, flowbook, options_->permission);
        } else if (folder_) {
            folder_->write(input.nameInFolder(), flowbook);
        } else if (!file.holds(flowbook)) {
            // The second name is there before the file is replaced, and goes again if replacing fails.
            KeptDamaged damaged(input.argument());
            file.replace(flowbook);
            damaged.keep();
        }
    }

    /// Of several files only what is not as it was is reported.
    void print(const Input& input, Report& report, const kit::Salvaged& salvaged, bool isWhole) const {
        const std::string file = areSeveral_ ? input.argument() + ": " : "";
        if (!options_->quiet && !(areSeveral_ && isWhole)) {
            say(report, file + "saved: ", salvaged.saved);
        }
        say(report, file + "made anew: ", kit::wordsOf(salvaged.rebuilt));
        say(report, file + "lost: ", kit::wordsOf(salvaged.lost));
    }

    static void writeRecord(Report& report, const kit::Salvaged& salvaged, bool isChanged) {
        Json json = report.openRecord();
        json.key("saved").openArray();
        for (const std::string& name : salvaged.saved) {
            json.text(name);
        }
        json.closeArray().key("findings").openArray();
        writeFindings(json, "warning", "repair.guessed", salvaged.rebuilt);
        writeFindings(json, "error", "repair.lost", salvaged.lost);
        json.closeArray().truth("changed", isChanged);
        report.closeRecord(json);
    }

    static void writeFindings(Json& json, std::string_view severity, std::string_view id,
                              const std::vector<kit::SalvageNote>& notes) {
        for (const kit::SalvageNote& note : notes) {
            json.openObject().field("severity", severity).field("id", id).field("part", note.part);
            json.field("place", "").field("message", note.message()).closeObject();
        }
    }

    static void say(Report& report, const std::string& what, const std::vector<std::string>& all) {
        for (const std::string& each : all) {
            report.say(what + each);
        }
    }

    const RepairOptions* options_;
    bool areSeveral_;
    std::optional<SafeFolder> folder_;
    // Files are repaired by several threads, which share these counts.
    std::atomic<std::size_t> repaired_{0};
    std::atomic<std::size_t> whole_{0};
};

std::vector<InputName> namesFor(const RepairOptions& options) {
    if (options.output) {
        return onlyInput(options.inputs);
    }
    if (options.folder) {
        return namesForFolder(options.inputs);
    }
    if (!options.inPlace && !options.dryRun) {
        throw Failure(ExitCode::Usage, "repair takes -o FILE for the result, or -d FOLDER or --in-place for many");
    }
    return options.inputs.names();
}

void repairAll(Console& console, RepairOptions& options) {
    if (options.inputs.json && options.output == "-") {
        throw Failure(ExitCode::Usage, "--json cannot be given when standard output takes the repaired flowbook");
    }
    const std::vector<InputName> names = namesFor(options);
    Repairs repairs(options, names.size() > 1);
    forEachInput(console, options.inputs, names, std::ref(repairs),
                 options.inPlace ? Input::Purpose::Update : Input::Purpose::Read);
    repairs.finish(console);
}

constexpr char kRepairDescription[] =
    "Takes what is whole of a damaged file into a new one. Where the index of the file is whole, it says what there "
    "was; elsewhere entries are looked for. Content types and relationships that are gone are made anew from names, "
    "which is a guess; what is left of a damaged part goes below /damaged/, as does code or a list of properties whose "
    "XML is damaged; what is of another file that was joined to this one, or has the name of another entry, goes below "
    "/renamed/. Carriage returns that a transfer as text put before line feeds are removed. A file in which nothing is "
    "damaged stays as it is, byte for byte. Standard error has what was saved and what was not.\n\n"
    "With -d each file gets a result of its own name, and those of a folder keep their places below it. With "
    "--in-place only files in which something is damaged are replaced, and each is kept as it was under its name with "
    "'.damaged' behind it. Of several files only what is damaged is reported.\n\n"
    "Ends with 0 when all is as it was, with 1 when something is lost or made anew, with 4 when nothing can be saved, "
    "with 6 when what was found is more than the limits permit: what fits is saved. With --json standard output lists "
    "the same as the names that were saved, and findings 'repair.guessed' and 'repair.lost'.";

constexpr char kRepairExamples[] = "flowbook repair damaged.tqx -o saved.tqx\n"
                                   "flowbook repair folder -d repaired\n"
                                   "flowbook repair --in-place folder";

constexpr auto kRepairOptions = optionTable(
    kInputs<&RepairOptions::inputs>, kOutput<&RepairOptions::output>.excludes("--directory --in-place"),
    kFolder<&RepairOptions::folder>.excludes("--in-place"),
    flag<&RepairOptions::inPlace>("--in-place", '\0', "Replace what is damaged, and keep it as NAME.damaged")
        .in(OptionGroup::Output),
    kDryRun<&RepairOptions::dryRun>, kJson<&RepairOptions::inputs>, kQuiet<&RepairOptions::quiet>,
    kPermission<&RepairOptions::permission>);

}  // namespace

const Command kRepair = makeCommand<RepairOptions, kRepairOptions, repairAll>(
    {"repair", "Save what is whole of damaged flowbooks", kRepairDescription, kRepairExamples, "saved[] findings[]"});

}  // namespace flowbook::tool
