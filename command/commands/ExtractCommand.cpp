// Unpacks flowbooks into files that people and other programs can work on. The manifest is written last, and only if
// all that it lists is there: 'flowbook pack' must never make a flowbook with less in it than the one that was
// unpacked.
#include "Commands.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/SafeFolder.hpp"
#include "io/SharedOptions.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/package/Unpacked.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <memory>
#include <mutex>

namespace flowbook::tool {

using kit::isPicture;
using opc::model::Part;
using opc::model::PartName;

namespace {

constexpr char kExtractedCode[] = "code.txt";

struct ExtractOptions {
    InputOptions inputs;
    std::string folder;
    bool code = false;
    bool images = false;
    std::vector<std::string> parts;
    bool force = false;

    bool all() const { return !code && !images && parts.empty(); }
};

/// Where the files of one flowbook go: the folder, or, when several are extracted, one below it for each.
struct Destination {
    SafeFolder& folder;
    std::string prefix;

    void write(const std::string& name, const Bytes& content) const { folder.write(prefix + name, content); }
};

/// One flowbook that is unpacked.
class Extraction {
public:
    Extraction(const kit::Document& document, Destination folder, const Input& input, Report& report,
               const ExtractOptions& options)
        : document_(document), folder_(std::move(folder)), input_(input), report_(report), options_(options) {}

    void run() {
        // These names are ours first; a part that has one of them gets another.
        if (options_.all()) {
            names_.take(kit::kManifestName);
        }
        if (options_.all() || options_.code) {
            names_.take(kExtractedCode);
            // Each piece is tried by itself, so that damage in one does not keep the others from being unpacked.
            attempt([&] { extractCode(); });
        }
        const std::vector<Part> parts = wantedParts();
        // Parts are inflated by other threads in this order while earlier ones are written.
        kit::ReadAhead read = readAhead(document_, input_, parts);
        for (const Part& part : parts) {
            attemptWhole([&] { extractPart(part, read); });
        }
        for (const std::string& name : options_.parts) {
            attempt([&] { extractStored(name); });
        }
        if (options_.all()) {
            extractRest();
        }
    }

private:
    template <class Action>
    void attempt(Action action) {
        report_.attempt(&input_, action);
    }

    /// Does what the manifest needs.
    template <class Action>
    void attemptWhole(Action action) {
        bool isDone = false;
        attempt([&] {
            action();
            isDone = true;
        });
        isWhole_ = isWhole_ && isDone;
    }

    /// Of encrypted code the stored bytes are all that there is.
    void extractCode() {
        if (options_.code || document_.form() != kit::CodeForm::Encrypted) {
            folder_.write(kExtractedCode, toBytes(readCodeText(input_)));
        }
    }

    std::vector<Part> wantedParts() const {
        std::vector<Part> parts = document_.package().getParts();
        const auto isUnwanted = [&](const Part& part) {
            return !options_.all() && !(options_.images && isPicture(part));
        };
        parts.erase(std::remove_if(parts.begin(), parts.end(), isUnwanted), parts.end());
        return parts;
    }

    void extractPart(const Part& part, kit::ReadAhead& read) {
        const Bytes stored = read(part);
        const std::string file = names_.take(kit::fileNameOf(part));
        folder_.write(file, isPicture(part) ? kit::pictureOf(stored, part.getName().ascii()) : stored);
        manifest_.add(part, stored, file);
    }

    void extractStored(const std::string& argument) {
        if (!PartName::isValid(argument)) {
            throw Failure(ExitCode::Usage, argument + " is no part name");
        }
        const PartName name(fromArgument(argument));
        if (!document_.package().hasPart(name)) {
            throw Failure(ExitCode::NegativeFinding, "there is no part " + argument);
        }
        const Part part = document_.package().getPart(name);
        folder_.write(names_.take(part.getName().ascii().substr(1)), kit::contentOf(part));
    }

    /// The entries that are no parts, and the manifest, which would be wrong if anything failed.
    void extractRest() {
        for (const std::size_t place : kit::otherEntries(document_)) {
            attemptWhole([&] {
                const std::string name(document_.container().entries()[place].name);
                const std::string file = names_.take(name);
                folder_.write(file, document_.container().read(place));
                manifest_.addOther(name, file);
            });
        }
        if (isWhole_) {
            attempt([&] { folder_.write(kit::kManifestName, toBytes(manifest_.finish(document_.package()))); });
        }
    }

    const kit::Document& document_;
    Destination folder_;
    const Input& input_;
    Report& report_;
    const ExtractOptions& options_;
    kit::FileNames names_;
    kit::ManifestWriter manifest_;
    bool isWhole_ = true;  ///< whether all that the manifest lists was extracted
};

constexpr char kExtractDescription[] =
    "Without --code, --images and --part all is extracted. The code becomes code.txt, a part a file under "
    "its own name, at most 64 folders deep, and so does an entry that is no part; a name that is taken already gets "
    "~2 behind it. Nothing is written outside of the folder. Pictures that are "
    "data URIs are decoded, but for --part, which gives the stored bytes. With all goes flowbook.json, "
    "which 'flowbook pack' takes to make the flowbook again. When several flowbooks are extracted, each goes "
    "into a folder of its own name below FOLDER. Encrypted code is not decrypted: only its part is extracted.";

constexpr char kExtractExamples[] = "flowbook extract analysis.tqx -d out\n"
                                    "flowbook extract folder -d pictures --images";

constexpr auto kExtractOptions = optionTable(
    kInputs<&ExtractOptions::inputs>, flag<&ExtractOptions::code>("--code", '\0', "The plain code"),
    flag<&ExtractOptions::images>("--images", '\0', "The pictures"),
    option<&ExtractOptions::parts>("--part", '\0', "NAME", "The part of this name, as it is stored; may be repeated"),
    kFolder<&ExtractOptions::folder>.required(), kForce<&ExtractOptions::force>);

void extractFrom(Console& console, ExtractOptions& options) {
    const std::vector<InputName> names = namesForFolder(options.inputs);
    const bool isOne =
        names.size() == 1 && !options.inputs.files.empty() && names.front().path == options.inputs.files.front();
    std::unique_ptr<SafeFolder> folder;
    // The folder is made once the first input has turned out to be a flowbook, so a wrong name leaves no empty folder.
    std::once_flag isMade;
    const auto work = [&](const Input& input, Report& report) {
        const kit::Document document = openDocument(input);
        std::call_once(isMade, [&] { folder = std::make_unique<SafeFolder>(options.folder, options.force); });
        Extraction(document, {*folder, isOne ? "" : input.nameInFolder() + "/"}, input, report, options).run();
    };
    forEachInput(console, options.inputs, names, work);
    if (folder) {
        folder->sync();
    }
}

}  // namespace

const Command kExtract = makeCommand<ExtractOptions, kExtractOptions, extractFrom>(
    {"extract", "Unpack code, pictures and parts of a flowbook", kExtractDescription, kExtractExamples});

}  // namespace flowbook::tool
