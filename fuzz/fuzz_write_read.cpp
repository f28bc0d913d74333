// Code and title come back as they were written. The first byte is the title's length.
#include "Fuzzing.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"

#include <algorithm>

using fuzzing::File;
using fuzzing::require;
using fuzzing::succeeds;

namespace {

bool isLead(char16_t c) { return c >= 0xD800 && c < 0xDC00; }
bool isTrail(char16_t c) { return c >= 0xDC00 && c < 0xE000; }

bool hasLoneSurrogate(const std::u16string& text) {
    for (std::size_t i = 0; i != text.size(); ++i) {
        if (isLead(text[i]) && i + 1 != text.size() && isTrail(text[i + 1])) {
            ++i;
        } else if (isLead(text[i]) || isTrail(text[i])) {
            return true;
        }
    }
    return false;
}

bool isXmlText(const std::u16string& text) {
    return !hasLoneSurrogate(text) && std::none_of(text.begin(), text.end(), [](char16_t c) {
        return (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c >= 0xFFFE;
    });
}

/// Line breaks as a parser reports them (XML 1.0, 2.11).
std::u16string withLineFeeds(const std::u16string& text) {
    std::u16string result;
    for (std::size_t i = 0; i != text.size(); ++i) {
        if (text[i] != u'\r') {
            result += text[i];
        } else if (i + 1 == text.size() || text[i + 1] != u'\n') {
            result += u'\n';
        }
    }
    return result;
}

bool write(const File& file, const std::u16string& title, const std::u16string& code) {
    flowbook::FlowbookFileWriter writer(File::kName, file.reference, {});
    writer.setTitle(title);
    const bool isCode = succeeds<opc::Exception>([&] { writer.setTARMICCode(code); });
    require(isCode == !hasLoneSurrogate(code), "exactly code with a lone surrogate is refused");
    if (!isCode) {
        writer.close(true);
        return false;
    }
    const bool isClosed = succeeds<flowbook::FlowbookFileWriterGenericException>([&] { writer.close(false); });
    require(isClosed == isXmlText(title), "exactly a title that XML cannot hold is refused");
    return isClosed;
}

void checkRead(const File& file, const std::u16string& title, const std::u16string& code) {
    const flowbook::FlowbookFileReader reader(File::kName, file.reference);
    require(reader.isPlainCode(), "written code is plain");
    require(reader.getTitle() == title, "the title comes back");
    const std::u16string encoded = flowbook::FlowbookFileUtils::encodeControlCharacters(code);
    require(reader.getTARMICCode() == withLineFeeds(encoded), "the code comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::u16string text = fuzzing::units(data + 1, size - 1);
    const std::size_t titleLength = std::min<std::size_t>(data[0], text.size());
    const std::u16string title = text.substr(0, titleLength);
    const std::u16string code = text.substr(titleLength);
    const File file;
    const bool isWritten = write(file, title, code);
    require(file.storage->exists(File::kName) == isWritten, "a refused text leaves no file");
    if (isWritten) {
        checkRead(file, title, code);
    }
    return 0;
}
