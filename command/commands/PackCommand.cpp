#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SafeFolder.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/package/Unpacked.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <filesystem>
#include <set>

namespace flowbook::tool {

namespace {

constexpr char kPackFooter[] =
    "Makes a flowbook of a folder that 'flowbook extract' made, with the files as they are now: the inverse\n"
    "of it, down to the digest. Files that flowbook.json does not name are not packed, which is told and ends\n"
    "with 1. code.txt is only compared: code is changed in its document, or by 'flowbook set --code'.\n\n"
    "Example:\n"
    "  flowbook pack out -o again.tqx";

constexpr char kCode[] = "code.txt";

struct PackOptions {
    std::string folder;
    std::string output;
    bool force = false;
};

/// The files of an unpacked flowbook, and which of them were asked for.
class Unpacked {
public:
    explicit Unpacked(const std::string& path) : path_(path), folder_(path) {}

    Bytes read(const std::string& name) {
        const std::uint64_t most = opc::Limits().maxPartSize;
        std::optional<Bytes> content = folder_.read(name, most + 1);
        if (!content) {
            throw Failure(ExitCode::InputOutput, path_ + "/" + name, "there is no such file", "not-found");
        }
        if (content->size() > most) {
            throw Failure(ExitCode::LimitExceeded, path_ + "/" + name,
                          "larger than " + std::to_string(most) + " bytes");
        }
        read_.insert(name);
        return std::move(*content);
    }

    std::optional<Bytes> readCode() {
        read_.insert(kCode);
        return folder_.read(kCode, opc::Limits().maxPartSize);
    }

    /// The files that were not asked for, less hidden ones, in order.
    std::set<std::string> left() const {
        using std::filesystem::recursive_directory_iterator;
        std::set<std::string> names;
        for (auto at = recursive_directory_iterator(path_); at != recursive_directory_iterator(); ++at) {
            const std::string name = at->path().lexically_relative(path_).string();
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

void pack(Console& console, const PackOptions& options) {
    Unpacked folder(options.folder);
    const Bytes manifest = folder.read(kit::kManifestName);
    const Bytes flowbook =
        writeContent(kit::packed(manifest, [&](const std::string& name) { return folder.read(name); }));
    requireSameCode(flowbook, folder.readCode());
    putFile(console.out(), options.output, flowbook, options.force);
    for (const std::string& name : folder.left()) {
        console.report(options.folder + "/" + name, {ExitCode::NegativeFinding, "finding", "", "not packed"});
    }
}

}  // namespace

void addPackCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("pack", "Make a flowbook of what was extracted", kPackFooter);
    const auto options = std::make_shared<PackOptions>();
    command.require("DIR", options->folder, "Folder that 'flowbook extract' made");
    command.require("-o,--output", options->output, "Where the flowbook goes; '-' is standard output");
    command.flag("--force", options->force, "Replace a file that is there");
    command.run([options, &console] { attempt(console, options->folder, [&] { pack(console, *options); }); });
}

}  // namespace flowbook::tool
