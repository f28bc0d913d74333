// Makes flowbooks of unpacked files. Files that the manifest does not name are reported, and code that is not that of
// the document stops it: dropping either without a word would lose what a user has just written.
#include "Commands.hpp"
#include "io/FlowbookName.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/package/Unpacked.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <set>

namespace flowbook::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kCode[] = "code.txt";

struct PackOptions {
    std::vector<std::string> folders;
    std::optional<std::string> output;
    std::optional<std::string> directory;
    Permission permission;
};

/// A folder that is to be packed, and what its flowbook is called in a folder for several.
struct Packing {
    std::string folder;
    std::string name;
};

/// The files of an unpacked flowbook, and which of them were asked for.
class Unpacked {
public:
    explicit Unpacked(const std::string& path) : path_(path), folder_(path) {}

    Bytes read(const std::string& name) {
        const std::uint64_t most = opc::Limits().maxPartSize;
        // One byte more, so that a file that is too large is known by it and is not read whole.
        std::optional<Bytes> content = folder_.read(name, most + 1);
        if (!content) {
            throw Failure(ExitCode::InputOutput, path_ + "/" + name, "there is no such file",
                          FlowbookErrorKind::NotFound);
        }
        if (content->size() > most) {
            throw Failure(ExitCode::LimitExceeded, path_ + "/" + name,
                          "larger than " + std::to_string(most) + " bytes");
        }
        read_.insert(name);
        return std::move(*content);
    }

    std::optional<Bytes> readCode() {
        // The code as text is no part of the flowbook; it counts as asked for, so that it is not reported as left out.
        read_.insert(kCode);
        return folder_.read(kCode, opc::Limits().maxPartSize);
    }

    /// The files that were not asked for, less hidden ones, in order.
    std::set<std::string> left() const {
        using fs::recursive_directory_iterator;
        std::set<std::string> names;
        for (auto at = recursive_directory_iterator(path_); at != recursive_directory_iterator(); ++at) {
            const std::string name = at->path().lexically_relative(path_).string();
            // Hidden files are those of the system and of version control, and folders of them hold nothing that was
            // unpacked.
            if (at->path().filename().string().front() == '.') {
                at.disable_recursion_pending();
            } else if (!at->is_directory() && read_.count(name) == 0) {
                names.insert(name);
            }
        }
        return names;
    }

private:
    std::string path_;
    SafeFolder folder_;
    std::set<std::string> read_;
};

/// Which of two texts holds the code cannot be guessed.
void requireSameCode(const Bytes& flowbook, const std::optional<Bytes>& code) {
    if (code && toText(*code) != kit::codeAsLines(kit::Document(flowbook).code())) {
        throw Failure(ExitCode::NegativeFinding, kCode,
                      "not the code of the document beside it; remove it, and put it in with 'flowbook set --code'");
    }
}

/// Where what was packed goes.
using Put = std::function<void(const std::string& name, const Bytes&)>;

void pack(Console& console, const Packing& packing, const Put& put) {
    Unpacked folder(packing.folder);
    const Bytes manifest = folder.read(kit::kManifestName);
    const Bytes flowbook =
        writeContent(kit::packed(manifest, [&](const std::string& name) { return folder.read(name); }));
    requireSameCode(flowbook, folder.readCode());
    put(packing.name, flowbook);
    for (const std::string& name : folder.left()) {
        console.report(packing.folder + "/" + name,
                       {ExitCode::NegativeFinding, FlowbookErrorKind::Absent, "", "not packed"});
    }
}

bool isUnpacked(const fs::path& folder) { return fs::exists(folder / kit::kManifestName); }

std::string flowbookNamed(const std::string& name) { return isFlowbookName(name) ? name : name + ".tqx"; }

/// The folders below one that holds some, in the order of their names.
void addBelow(const fs::path& root, std::vector<Packing>& all) {
    std::set<std::string> found;
    using Walk = fs::recursive_directory_iterator;
    for (auto at = Walk(root); at != Walk(); ++at) {
        const bool isHidden = at->path().filename().string().front() == '.';
        const bool isOne = !isHidden && at->is_directory() && isUnpacked(at->path());
        if (isOne) {
            found.insert(at->path().lexically_relative(root).string());
        }
        // What lies in an unpacked flowbook belongs to it, also if it looks like another one.
        if (isHidden || isOne) {
            at.disable_recursion_pending();
        }
    }
    for (const std::string& name : found) {
        all.push_back({root / name, flowbookNamed(name)});
    }
}

/// What an argument stands for: itself, where it was unpacked or holds nothing that was; pack() then says what is
/// wrong.
std::vector<Packing> packingsOf(const std::string& argument, bool mayHoldSeveral) {
    std::vector<Packing> all;
    if (mayHoldSeveral && fs::is_directory(argument) && !isUnpacked(argument)) {
        addBelow(argument, all);
    }
    if (all.empty()) {
        const fs::path whole = fs::absolute(argument).lexically_normal();
        all.push_back({argument, flowbookNamed((whole.has_filename() ? whole : whole.parent_path()).filename())});
    }
    return all;
}

constexpr char kPackDescription[] =
    "Makes a flowbook of a folder that 'flowbook extract' made without options, with the files as they "
    "are now: the inverse of it, down to the digest. Files that flowbook.json does not name are not "
    "packed, which is reported and ends with 1. code.txt is only compared: code is changed in its "
    "document, or by 'flowbook set --code'. With -d each folder, and each that one of them holds, becomes a flowbook "
    "of its own name.";

constexpr char kPackExamples[] = "flowbook pack out -o again.tqx\n"
                                 "flowbook pack out -d again";

constexpr auto kPackOptions =
    optionTable(place<&PackOptions::folders>("FOLDER...", "Folders that 'flowbook extract' made"),
                kOutput<&PackOptions::output>.excludes("--directory"), kFolder<&PackOptions::directory>,
                kPermission<&PackOptions::permission>);

void packOne(Console& console, const PackOptions& options) {
    if (!options.output || options.folders.size() != 1) {
        throw Failure(ExitCode::Usage, "pack takes one FOLDER and -o FILE, or -d FOLDER for many");
    }
    attempt(console, options.folders.front(), [&] {
        pack(console, packingsOf(options.folders.front(), false).front(),
             [&](const std::string&, const Bytes& flowbook) {
                 putFile(console.out(), *options.output, flowbook, options.permission);
             });
    });
}

/// Makes a flowbook in a folder. @param taken  the folders that were packed before, by the names of their flowbooks.
void packInto(Console& console, SafeFolder& folder, std::map<std::string, std::string>& taken, const Packing& packing) {
    const auto [first, isNew] = taken.emplace(packing.name, packing.folder);
    if (!isNew) {
        throw Failure(ExitCode::InputOutput, packing.folder,
                      "would have the same name in the folder as '" + first->second + "'", FlowbookErrorKind::Conflict);
    }
    pack(console, packing, [&](const std::string& name, const Bytes& flowbook) { folder.write(name, flowbook); });
}

void packAll(Console& console, const PackOptions& options) {
    SafeFolder folder(*options.directory, options.permission.force);
    std::map<std::string, std::string> taken;
    for (const std::string& argument : options.folders) {
        attempt(console, argument, [&] {
            for (const Packing& packing : packingsOf(argument, true)) {
                // A folder that cannot be packed is reported, and the others are packed all the same.
                attempt(console, packing.folder, [&] { packInto(console, folder, taken, packing); });
            }
        });
    }
    attempt(console, *options.directory, [&] { folder.sync(); });
}

void packFrom(Console& console, PackOptions& options) {
    options.directory && !options.folders.empty() ? packAll(console, options) : packOne(console, options);
}

}  // namespace

const Command kPack = makeCommand<PackOptions, kPackOptions, packFrom>(
    {"pack", "Make flowbooks of what was extracted", kPackDescription, kPackExamples});

}  // namespace flowbook::tool
