#include "kit/document/XmlReader.hpp"

#include "opc/Exception.hpp"

#include <exception>
#include <expat.h>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace flowbook::kit {

namespace {

constexpr char kSeparator = '\n';  // no URI can hold it
constexpr std::size_t kMaxDepth = 512;

struct ParserDeleter {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};

XmlName splitName(std::string_view text) {
    const std::size_t at = text.find(kSeparator);
    return at == std::string_view::npos ? XmlName{{}, text} : XmlName{text.substr(0, at), text.substr(at + 1)};
}

std::string_view view(const XML_Char* text) { return text == nullptr ? std::string_view() : text; }

class Reading {
public:
    Reading(const std::string& where, XmlEncoding encoding, XmlHandler& handler)
        : parser_(XML_ParserCreateNS(encoding == XmlEncoding::Utf8 ? "UTF-8" : nullptr, kSeparator)),
          where_(where),
          handler_(handler) {
        if (!parser_) {
            throw std::bad_alloc();
        }
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), onStartElement, onEndElement);
        XML_SetCharacterDataHandler(parser_.get(), onCharacters);
        XML_SetStartNamespaceDeclHandler(parser_.get(), onNamespace);
        XML_SetStartDoctypeDeclHandler(parser_.get(), onDoctype);
    }

    void run(const fl::Bytes& bytes) {
        if (bytes.size() > std::numeric_limits<int>::max()) {
            throw opc::Exception(opc::ErrorKind::LimitExceeded, where_ + ": XML of more than 2 GiB");
        }
        const auto* text = reinterpret_cast<const char*>(bytes.data());
        if (XML_Parse(parser_.get(), text, static_cast<int>(bytes.size()), 1) != XML_STATUS_OK) {
            fail();
        }
    }

private:
    [[noreturn]] void fail() {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        const XML_Error error = XML_GetErrorCode(parser_.get());
        if (error == XML_ERROR_NO_MEMORY) {
            throw std::bad_alloc();
        }
        throw faultHere(XML_ErrorString(error));
    }

    opc::Exception faultHere(const std::string& words) const {
        return {opc::ErrorKind::Damaged,
                where_ + ", line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ", column " +
                    std::to_string(XML_GetCurrentColumnNumber(parser_.get()) + 1) + ": " + words};
    }

    XmlSpan tag() const {
        const auto begin = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()));
        return {begin, begin + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()))};
    }

    /// No exception may pass through Expat's frames, so it waits until those are gone.
    template <class Call>
    static void guarded(void* self, Call call) noexcept {
        auto& reading = *static_cast<Reading*>(self);
        if (reading.failure_) {
            return;
        }
        try {
            call(reading);
        } catch (...) {
            reading.failure_ = std::current_exception();
            XML_StopParser(reading.parser_.get(), XML_FALSE);
        }
    }

    void startElement(const XML_Char* name, const XML_Char** attributes) {
        if (++depth_ > kMaxDepth) {
            throw faultHere("elements are nested too deep");
        }
        attributes_.clear();
        for (; *attributes != nullptr; attributes += 2) {
            attributes_.push_back({splitName(attributes[0]), attributes[1]});
        }
        handler_.startElement(splitName(name), attributes_, tag());
    }

    static void onStartElement(void* self, const XML_Char* name, const XML_Char** attributes) {
        guarded(self, [&](Reading& reading) { reading.startElement(name, attributes); });
    }

    static void onEndElement(void* self, const XML_Char* name) {
        guarded(self, [&](Reading& reading) {
            --reading.depth_;
            reading.handler_.endElement(splitName(name), reading.tag());
        });
    }

    static void onCharacters(void* self, const XML_Char* text, int length) {
        guarded(self, [&](Reading& reading) { reading.handler_.characters({text, static_cast<std::size_t>(length)}); });
    }

    static void onNamespace(void* self, const XML_Char* prefix, const XML_Char* uri) {
        guarded(self, [&](Reading& reading) { reading.handler_.namespaceDeclared(view(prefix), view(uri)); });
    }

    static void onDoctype(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        guarded(self,
                [](Reading& reading) { throw reading.faultHere("a document type declaration is not permitted"); });
    }

    std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter> parser_;
    const std::string& where_;
    XmlHandler& handler_;
    std::vector<XmlAttribute> attributes_;
    std::size_t depth_ = 0;
    std::exception_ptr failure_;
};

}  // namespace

void readXml(const fl::Bytes& bytes, const std::string& where, XmlEncoding encoding, XmlHandler& handler) {
    Reading(where, encoding, handler).run(bytes);
}

}  // namespace flowbook::kit
