#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/package/Unpacked.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <filesystem>
#include <set>

namespace flowbook::tool {

namespace {

constexpr char kCode[] = "code.txt";

struct PackOptions {
    std::string folder;
    std::string output;
    Permission permission;
};

/// The files of an unpacked flowbook, and which of them were asked for.
class Unpacked {
public:
    explicit Unpacked(const std::string& path) : path_(path), folder_(path) {}

    Bytes read(const std::string& name) {
        const std::uint64_t most = opc::Limits().maxPartSize;
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
    putFile(console.out(), options.output, flowbook, options.permission);
    for (const std::string& name : folder.left()) {
        console.report(options.folder + "/" + name,
                       {ExitCode::NegativeFinding, FlowbookErrorKind::Absent, "", "not packed"});
    }
}

constexpr char kPackDescription[] =
    "Makes a flowbook of a folder that 'flowbook extract' made without options, with the files as they "
    "are now: the inverse of it, down to the digest. Files that flowbook.json does not name are not "
    "packed, which is reported and ends with 1. code.txt is only compared: code is changed in its "
    "document, or by 'flowbook set --code'.";

constexpr char kPackExamples[] = "flowbook pack out -o again.tqx";

constexpr auto kPackOptions =
    optionTable(place<&PackOptions::folder>("FOLDER", "Folder that 'flowbook extract' made"),
                kOutput<&PackOptions::output>.required(), kPermission<&PackOptions::permission>);

void packFrom(Console& console, PackOptions& options) {
    attempt(console, options.folder, [&] { pack(console, options); });
}

}  // namespace

const Command kPack = makeCommand<PackOptions, kPackOptions, packFrom>(
    {"pack", "Make a flowbook of what was extracted", kPackDescription, kPackExamples});

}  // namespace flowbook::tool
