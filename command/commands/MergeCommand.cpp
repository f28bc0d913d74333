// Merges three files, as git calls it for its driver. git passes temporary files whose names say nothing, so messages
// name the file that the user knows. OURS is replaced by the version that was opened: if another program changes it
// meanwhile, that is a conflict and not a lost save.
#include "Commands.hpp"
#include "commands/GitSetup.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/Input.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Merge.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/Document.hpp"
#include "kit/package/GitForm.hpp"
#include "opc/Limits.hpp"
#include "terminal/Diagnosis.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace flowbook::tool {

namespace {

struct MergeOptions {
    std::string base;
    std::string ours;
    std::string theirs;
    std::optional<std::string> output;
    Permission permission;
    bool favourOurs = false;
    bool favourTheirs = false;
    std::optional<std::string> outputs;
    std::optional<std::string> file;
    std::optional<std::string> markerSize;
    std::optional<std::string> baseLabel;
    std::optional<std::string> oursLabel;
    std::optional<std::string> theirsLabel;
};

/// One of the three files. Its parts are read when they are needed.
class Version {
public:
    /// @param name  stands in messages of the library, so that the three can be distinguished.
    /// @param file  what messages call the file, whose versions git gives names of no meaning.
    Version(const std::string& argument, const std::u16string& name, const std::optional<std::string>& file)
        : shown_(file ? *file + " (" + fl::i18n::to_string(name) + ")" : argument),
          input_(argument, isFile(argument) ? Input::Purpose::Update : Input::Purpose::Read),
          name_(isFile(argument) ? u"input://" + name + u".tqx" : input_.name()),
          file_(input_.storage()->openForReading(name_)) {}

    bool isEmpty() const { return file_->size() == 0; }

    const kit::Document& open() {
        try {
            return document_.emplace(name_, input_.storage());
        } catch (const std::exception&) {
            const Diagnosis diagnosis = diagnose();
            throw Failure(diagnosis.code, shown_, inWords(diagnosis.message), diagnosis.kind, diagnosis.part);
        }
    }

    /// A message of the library with the user's name of the file.
    std::string inWords(std::string message) const {
        const std::string name = fl::i18n::to_string(name_);
        for (std::size_t at = message.find(name); at != std::string::npos; at = message.find(name, at)) {
            message.replace(at, name.size(), shown_);
            at += shown_.size();
        }
        return input_.inWords(std::move(message));
    }

    /// Atomically and durably, or not at all; not when the file was changed meanwhile.
    void replace(const Bytes& content) {
        const auto replacement = input_.storage()->beginReplacement(name_, file_.get());
        replacement->write(content.data(), content.size());
        replacement->commit();
    }

private:
    static bool isFile(const std::string& argument) {
        std::error_code ignored;
        return argument != "-" && std::filesystem::is_regular_file(argument, ignored);
    }

    std::string shown_;
    Input input_;
    std::u16string name_;
    std::unique_ptr<foundation::storage::vfs::ReadableFile> file_;
    std::optional<kit::Document> document_;
};

/// What git calls the version that is being merged: a merge passes it in a variable whose name ends in the digest
/// of the commit, and any command by the words for the log of references, such as "merge topic".
std::optional<std::string> theirsOfGit() {
    constexpr std::string_view kHead = "GITHEAD_";
    std::optional<std::string> found;
    for (char** each = environ; *each != nullptr; ++each) {
        const std::string_view variable = *each;
        if (variable.substr(0, kHead.size()) == kHead) {
            // Of several branches at once it cannot be known which one this is.
            if (found) {
                return std::nullopt;
            }
            found = variable.substr(variable.find('=') + 1);
        }
    }
    const char* const action = std::getenv("GIT_REFLOG_ACTION");
    const std::string words = action == nullptr ? "" : action;
    const bool isMerge = words.rfind("merge ", 0) == 0 && words.find(' ', 6) == std::string::npos;
    return found ? found : isMerge ? std::make_optional(words.substr(6)) : std::nullopt;
}

/// On one line, as it becomes one of the code.
std::string labelOf(const std::optional<std::string>& given, const std::optional<std::string>& found,
                    const char* otherwise) {
    const std::string label = given ? *given : found ? *found : "";
    return label.empty() ? otherwise : printable(label);
}

std::optional<kit::Outputs> outputsOf(const std::optional<std::string>& word) {
    return !word               ? std::nullopt
           : *word == "ours"   ? std::make_optional(kit::Outputs::Ours)
           : *word == "theirs" ? std::make_optional(kit::Outputs::Theirs)
           : *word == "drop"   ? std::make_optional(kit::Outputs::Drop)
                               : std::make_optional(kit::Outputs::Conflict);
}

kit::MergeOptions kitOptions(const MergeOptions& options) {
    kit::MergeOptions result;
    result.favour = options.favourOurs     ? kit::Favour::Ours
                    : options.favourTheirs ? kit::Favour::Theirs
                                           : kit::Favour::None;
    result.outputs = outputsOf(options.outputs);
    result.oursLabel = labelOf(options.oursLabel, std::nullopt, "ours");
    result.theirsLabel = labelOf(options.theirsLabel, options.file ? theirsOfGit() : std::nullopt, "theirs");
    return result;
}

/// Whether git merges common ancestors of the sides into the one that it will pass as BASE. It tells by longer markers:
/// by two for each level, and by one more where it merges what two renames brought together.
bool isOfAncestors(const MergeOptions& options) {
    constexpr unsigned long kUsual = 7;
    const unsigned long size = std::strtoul(options.markerSize.value_or("").c_str(), nullptr, 10);
    if (size <= kUsual || (size - kUsual) % 2 != 0) {
        return false;
    }
    // The user may have asked for long markers.
    const auto attribute = askGit({"check-attr", "conflict-marker-size", "--", options.file.value_or("")});
    return attribute && kit::endsWith(*attribute, ": unspecified");
}

void sayOutcome(Console& console, const MergeOptions& options, const kit::MergeResult& result) {
    const std::string file = options.file ? printable(*options.file) + ": " : "";
    for (const std::string& note : result.notes) {
        console.say(file + printable(note));
    }
    // Conflicts in the code are counted in one message: the markers show where they are, and there may be hundreds.
    const auto isPlace = [](const kit::MergeConflict& each) {
        return each.kind == kit::ConflictKind::Code && each.ours;
    };
    const auto places = std::count_if(result.conflicts.begin(), result.conflicts.end(), isPlace);
    bool isSaid = false;
    for (const kit::MergeConflict& conflict : result.conflicts) {
        if (!isPlace(conflict)) {
            console.say(file + "conflict in " + printable(conflict.what) + ": " + printable(conflict.words));
        } else if (!std::exchange(isSaid, true)) {
            console.say(file + "conflict in code: both versions stand between markers" +
                        (places > 1 ? ", in " + std::to_string(places) + " places" : ""));
        }
    }
}

void merge(Console& console, MergeOptions& options) {
    Version base(options.base, u"base", options.file);
    Version ours(options.ours, u"ours", options.file);
    Version theirs(options.theirs, u"theirs", options.file);
    // git passes an empty file where both sides added the flowbook.
    const kit::Document* const ancestor = base.isEmpty() ? nullptr : &base.open();
    const kit::Document& mine = ours.open();
    const kit::Document& yours = theirs.open();
    kit::MergeResult result;
    try {
        result = kit::merge(ancestor, mine, yours, kitOptions(options));
        // A repository that stores flowbooks undeflated, by the filter, gets the result in that form too.
        result.flowbook = kit::inFormOf(std::move(result.flowbook), mine);
    } catch (const std::exception&) {
        const Diagnosis diagnosis = diagnose();
        throw Failure(diagnosis.code, options.file.value_or(""),
                      base.inWords(ours.inWords(theirs.inWords(diagnosis.message))), diagnosis.kind, diagnosis.part);
    }
    if (!isOfAncestors(options)) {
        sayOutcome(console, options, result);
    } else if (!result.conflicts.empty()) {
        // With ours in it, a side that kept ours would look unchanged, and what the other side has would be taken.
        result.flowbook = base.isEmpty() ? Bytes() : readBytes(options.base, opc::Limits().maxPackageSize);
    }
    if (options.output) {
        // Conflicts do not keep the result from being written: they are in it, and git expects the file with them.
        putFile(console.out(), *options.output, result.flowbook, options.permission);
    } else {
        ours.replace(result.flowbook);
    }
    console.note(result.conflicts.empty() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

constexpr char kMergeDescription[] =
    "Takes into OURS what THEIRS changed since BASE: code by paragraph and line, each property, and each "
    "other relationship with the picture or part that it leads to. What is compared is what a version shows: "
    "ids and part names are given anew where both sides use one for different things. Where both changed the "
    "same, the code has both between markers, all else is kept as in OURS and named on standard error; a part "
    "of THEIRS is added beside it as NAME-theirs1. An empty file as BASE, or /dev/null, stands for none. Lines "
    "are merged by git(1). Ends with 0 when nothing is in conflict, with 1 when something is.";

constexpr char kMergeExamples[] = "flowbook merge base.tqx mine.tqx yours.tqx -o merged.tqx\n"
                                  "git config merge.flowbook.driver 'flowbook merge --file %P %O %A %B'";

constexpr auto kMergeOptions = optionTable(
    place<&MergeOptions::base>("BASE", "What both began with"),
    place<&MergeOptions::ours>("OURS", "One version; replaced by the result unless there is -o"),
    place<&MergeOptions::theirs>("THEIRS", "The other version"),
    flag<&MergeOptions::favourOurs>("--ours", '\0', "Settle conflicts as OURS has it").excludes("--theirs"),
    flag<&MergeOptions::favourTheirs>("--theirs", '\0', "Settle conflicts as THEIRS has it"),
    option<&MergeOptions::outputs>("--outputs", '\0', "ours|theirs|drop|conflict",
                                   "What becomes of outputs that both made anew")
        .defaultsTo("those of the side whose code the merged code is, else those of OURS"),
    option<&MergeOptions::file>("--file", '\0', "NAME", "What messages call the file"),
    option<&MergeOptions::markerSize>("--marker-size", '\0', "N",
                                      "How long git has markers; longer where it merges common ancestors into BASE"),
    option<&MergeOptions::oursLabel>("--ours-label", '\0', "LABEL", "What markers call OURS").defaultsTo("ours"),
    option<&MergeOptions::baseLabel>("--base-label", '\0', "LABEL", "What git calls BASE; markers do not show it"),
    option<&MergeOptions::theirsLabel>("--theirs-label", '\0', "LABEL", "What markers call THEIRS")
        .defaultsTo("the branch that git merges, where --file is given, else theirs"),
    kOutput<&MergeOptions::output>, kPermission<&MergeOptions::permission>);

}  // namespace

const Command kMerge = makeCommand<MergeOptions, kMergeOptions, merge>(
    {"merge", "Bring together what two changed in a flowbook", kMergeDescription, kMergeExamples});

}  // namespace flowbook::tool
