// Names, types and references keep their meaning when their text is read again.
#include "Fuzzing.hpp"
#include "fl/i18n/Conversion.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/PartName.hpp"

using fuzzing::require;
using fuzzing::succeeds;
using opc::model::ContentType;
using opc::model::PartName;
using opc::model::URI;

namespace {

void checkContentType(const std::u16string& text) {
    const ContentType type(text);
    require(ContentType(type.toString()) == type, "a content type's text is that type");
    for (const auto& [name, value] : type.getParameters()) {
        require(type.getParameterValue(name) == value, "a listed parameter is found");
    }
    ContentType rebuilt(type.getMediaType());
    for (const auto& parameter : type.getParameters()) {
        if (parameter.second.find(u'\t') != std::u16string::npos) {
            return;  // may be read, not added
        }
        rebuilt.addParameter(parameter.first, parameter.second);
    }
    require(ContentType(rebuilt.toString()) == type, "parameters that are added read back");
}

void checkPartName(const std::u16string& text) {
    const PartName name(text);
    require(PartName::isValid(name.ascii()) && name.toString() == text, "a part name is its text");
    require(PartName(name.getURI()).ascii() == name.ascii(), "a part name's URI addresses that part");
}

void checkText(const URI& uri) {
    const URI again(uri.toString());
    require(again.toString() == uri.toString(), "a URI's text is that URI");
    require(again.hasScheme() == uri.hasScheme() && again.hasAuthority() == uri.hasAuthority() &&
                again.hasQuery() == uri.hasQuery(),
            "a URI's text has its components");
}

void checkUris(const std::u16string& text, const std::u16string& baseText) {
    const URI uri(text);
    checkText(uri);
    succeeds<opc::Exception>([&] { PartName name(uri); });
    if (succeeds<opc::Exception>([&] { URI base(baseText); })) {
        checkText(uri.resolvedAgainst(URI(baseText)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::u16string text = fl::i18n::to_ustring({reinterpret_cast<const char*>(data), size});
    const std::size_t line = text.find(u'\n');
    const std::u16string first = text.substr(0, line);
    const std::u16string second = line == std::u16string::npos ? u"/a/b" : text.substr(line + 1);
    // The first construction of each may fail; what follows must not.
    if (succeeds<opc::Exception>([&] { ContentType type(first); })) {
        checkContentType(first);
    }
    if (succeeds<opc::Exception>([&] { PartName name(first); })) {
        checkPartName(first);
    }
    if (succeeds<opc::Exception>([&] { URI uri(first); })) {
        checkUris(first, second);
    }
    return 0;
}
