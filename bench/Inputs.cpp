#include "Inputs.hpp"

#include "flowbook/FlowbookFileWriter.hpp"

#include <algorithm>
#include <filesystem>
#include <random>
#include <stdlib.h>
#include <sys/stat.h>

namespace bench {

namespace {

/// The folder of the environment variable, whose files stay for other programs, or a new one that is removed when the
/// process ends.
class Folder {
public:
    Folder() {
        if (const char* const given = std::getenv("FLOWBOOK_BENCH_FOLDER")) {
            path_ = given;
            return;
        }
        path_ = (std::filesystem::temp_directory_path() / "flowbook-bench-XXXXXX").string();
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("cannot make the folder " + path_);
        }
        isOwn_ = true;
    }
    ~Folder() {
        std::error_code ignored;
        if (isOwn_) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
    bool isOwn_ = false;
};

/// Base64 of random bytes: like a picture, it does not compress beyond six bits a character.
std::string randomImage(std::mt19937_64& random, std::size_t size) {
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string image = "data:image/png;base64,";
    image.reserve(size);
    while (image.size() < size) {
        std::uint64_t bits = random();
        for (int i = 0; i < 10 && image.size() < size; ++i, bits >>= 6) {
            image.push_back(digits[bits & 63]);
        }
    }
    return image;
}

/// Writes a snapshot to a file, unless an earlier case has made that file.
std::string snapshotFile(const std::string& name, const flowbook::FlowbookFilePackage& snapshot) {
    const std::string path = pathOf(name);
    if (!std::filesystem::exists(path)) {
        flowbook::FlowbookFileWriter writer(utf16(path), {});
        writer.write(snapshot);
        writer.setTitle(u"A benchmark");
        writer.close(false);
    }
    return path;
}

std::string nameOf(std::mt19937& random) {
    static const char* const kSyllables[] = {"re", "so",  "lu",   "ta",  "count", "max", "in",  "dex",
                                             "of", "val", "data", "get", "set",   "row", "sum", "key"};
    std::string name;
    for (auto left = 2 + random() % 3; left != 0; --left) {
        name += kSyllables[random() % 16];
    }
    return name;
}

/// A line of code. The names at the front of the list are the most frequent ones.
std::string lineOf(std::mt19937& random, const std::vector<std::string>& names) {
    static const char* const kOperators[] = {" + ", " - ", " * ", " / ", ", ", " <= ", " && "};
    const auto name = [&] {
        const auto most = random() % names.size();
        return names[most * (random() % names.size()) / names.size()];
    };
    std::string line(4 * (random() % 4), ' ');
    line += name() + (random() % 3 == 0 ? "[" + name() + "] = " : " = ") + name() + "(";
    for (auto left = 1 + random() % 3; left != 0; --left) {
        line += random() % 2 == 0 ? name() : std::to_string(random() % 1000 * (random() % 8));
        line += kOperators[random() % 7];
    }
    return line + std::to_string(random() % 100) + ");\n";
}

}  // namespace

std::string pathOf(const std::string& name) {
    static const Folder folder;
    return folder.path() + "/" + name;
}

std::u16string utf16(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

/// The code packs about 4 to 1, as real sources do; a denser or a thinner text would flatter one side of a ratio. The
/// seed is fixed, so that all runs have the same input.
std::u16string codeOfLines(std::size_t lines) {
    std::mt19937 random(7);
    std::vector<std::string> names(250);
    std::generate(names.begin(), names.end(), [&] { return nameOf(random); });
    std::string code;
    for (std::size_t i = 0; i < lines; ++i) {
        code += lineOf(random, names);
    }
    return utf16(code);
}

Bytes richCodeOfLines(std::size_t lines) {
    const std::u16string code = codeOfLines(lines);
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><w:document "
                      "xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\"><w:body>";
    std::size_t start = 0;
    for (std::size_t end = code.find(u'\n'); end != std::u16string::npos; end = code.find(u'\n', start)) {
        xml += "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t><![CDATA[";
        xml.append(code.begin() + static_cast<std::ptrdiff_t>(start), code.begin() + static_cast<std::ptrdiff_t>(end));
        xml += "]]></w:t></w:r></w:p>";
        start = end + 1;
    }
    xml += "</w:body></w:document>";
    return {xml.begin(), xml.end()};
}

std::string plainCodeFile(std::size_t lines) {
    const std::string path = pathOf("plain" + std::to_string(lines) + ".tqx");
    if (!std::filesystem::exists(path)) {
        flowbook::FlowbookFileWriter writer(utf16(path), {});
        writer.setTARMICCode(codeOfLines(lines));
        writer.setTitle(u"A benchmark");
        writer.close(false);
    }
    return path;
}

std::string richCodeFile(std::size_t lines) {
    Bytes document = richCodeOfLines(lines);
    return snapshotFile("rich" + std::to_string(lines) + ".tqx", flowbook::FlowbookFilePackage(document));
}

flowbook::FlowbookFilePackage imageSnapshot(std::size_t images, std::size_t imageSize) {
    std::mt19937_64 random(11);
    std::vector<std::string> strings;
    strings.reserve(images);
    for (std::size_t i = 0; i < images; ++i) {
        strings.push_back(randomImage(random, imageSize));
    }
    Bytes document = richCodeOfLines(50);
    return {document, strings};
}

std::string largeFile() {
    const std::string path = pathOf("large.tqx");
    return std::filesystem::exists(path) ? path : snapshotFile("large.tqx", imageSnapshot(64, std::size_t{1} << 20));
}

std::string largeImageFile() {
    const std::string path = pathOf("image.tqx");
    return std::filesystem::exists(path) ? path : snapshotFile("image.tqx", imageSnapshot(1, std::size_t{64} << 20));
}

}  // namespace bench
