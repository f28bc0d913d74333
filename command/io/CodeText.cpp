#include "io/CodeText.hpp"

#include "fl/i18n/Conversion.hpp"
#include "io/OpenDocument.hpp"
#include "kit/document/StoredText.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 16;

std::size_t endOfPiece(const std::u16string& text, std::size_t start) {
    const std::size_t end = std::min(text.size(), start + kPiece);
    const bool isInPair = end != text.size() && text[end - 1] >= 0xD800 && text[end - 1] < 0xDC00;
    return isInPair ? end - 1 : end;
}

/// What `read` makes of code in another encoding than UTF-8; nothing of other code, and when it cannot be read either.
template <class Read>
auto readAsDeclared(const Input& input, Read read) {
    std::optional<decltype(read(std::declval<const kit::Document&>()))> result;
    try {
        const kit::Document document = openDocument(input);
        const kit::CodeForm form = document.form();
        const bool isText = form == kit::CodeForm::Plain || form == kit::CodeForm::Rich;
        if (isText && kit::encodingOf(document.storedCode()) != kit::XmlEncoding::Utf8) {
            result = read(document);
        }
    } catch (const std::exception&) {
        result.reset();  // The reader's failure is the one to report.
    }
    return result;
}

}  // namespace

void requireReadableCode(const kit::Document& document) {
    const kit::CodeForm form = document.form();
    if (form == kit::CodeForm::Encrypted) {
        throw Failure(ExitCode::Encrypted, "the code is encrypted");
    }
    if (form == kit::CodeForm::None) {
        throw Failure(ExitCode::Damaged, "there is no code in it");
    }
}

std::u16string readCode(const Input& input) {
    try {
        return input.openReader().getTARMICCode();
    } catch (const std::exception&) {
        auto code = readAsDeclared(input, [](const kit::Document& document) { return document.code(); });
        if (!code) {
            throw;
        }
        return *std::move(code);
    }
}

std::string readCodeDocument(const Input& input) {
    try {
        return fl::i18n::to_string(input.openReader().getRichTARMICCode());
    } catch (const std::exception&) {
        const auto read = [](const kit::Document& document) { return document.codeInUtf8(); };
        const std::optional<Bytes> code = readAsDeclared(input, read);
        if (!code) {
            throw;
        }
        return {code->begin(), code->end()};
    }
}

void readCodeText(const Input& input, const std::function<void(const std::string&)>& write) {
    const std::u16string code = readCode(input);
    for (std::size_t at = 0; at != code.size();) {
        const std::size_t end = endOfPiece(code, at);
        write(fl::i18n::to_string(std::u16string_view(code).substr(at, end - at)));
        at = end;
    }
    if (!code.empty() && code.back() != u'\n') {
        write("\n");
    }
}

std::string readCodeText(const Input& input) {
    std::string text;
    readCodeText(input, [&](const std::string& piece) { text += piece; });
    return text;
}

}  // namespace flowbook::tool
