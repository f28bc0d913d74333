#include "opc/xml/PackageXml.hpp"

#include "fl/ThreadKept.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/names/Characters.hpp"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <expat.h>
#include <memory>
#include <new>
#include <random>
#include <type_traits>

namespace opc::model::detail {
namespace {

/// Parts a name that Expat reports into namespace, local name and prefix. No URI can hold it.
constexpr char kSeparator = '\n';

/// Expat takes the length of a piece as an int.
constexpr std::size_t kMaxPiece = std::size_t{1} << 30;

struct ParserDeleter {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};

/// Making a parser costs as much as parsing a small part, so each thread keeps one from part to part.
using KeptParser = fl::ThreadKept<std::remove_pointer_t<XML_Parser>, ParserDeleter>;
using ParserPtr = KeptParser::Pointer;

/// A parser that has grown with a large part is not worth keeping.
constexpr std::size_t kMaxBytesOfReused = std::size_t{64} << 10;

/// What keys the parser's hash tables, lest a file be made to collide in them. Expat would ask the system for one for
/// every document.
unsigned long hashSalt() {
    static const unsigned long salt = [] {
        std::random_device random;
        return static_cast<unsigned long>(random()) << 32 | random() | 1;  // 0 stands for none
    }();
    return salt;
}

/// Expat takes some of its failures to get memory for faults of the document, such as an unbound prefix.
thread_local bool memoryRanOut = false;

void* noting(void* memory) {
    memoryRanOut = memoryRanOut || memory == nullptr;
    return memory;
}

// What Expat is given has to behave as these functions.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
const XML_Memory_Handling_Suite kNotingMemory = {
    [](std::size_t size) { return noting(std::malloc(size)); },
    [](void* old, std::size_t size) { return noting(std::realloc(old, size)); },
    [](void* memory) { std::free(memory); },
};
// NOLINTEND(cppcoreguidelines-no-malloc)

ParserPtr takeParser() {
    memoryRanOut = false;
    ParserPtr parser = KeptParser::take();
    if (!parser || XML_ParserReset(parser.get(), nullptr) != XML_TRUE) {
        parser.reset(XML_ParserCreate_MM(nullptr, &kNotingMemory, &kSeparator));
    }
    if (!parser) {
        throw std::bad_alloc();
    }
    XML_SetHashSalt(parser.get(), hashSalt());
    return parser;
}

std::string_view view(const XML_Char* text) { return text == nullptr ? std::string_view() : text; }

XmlName splitName(std::string_view text) {
    XmlName name;
    const std::size_t first = text.find(kSeparator);
    if (first == std::string_view::npos) {
        name.local = text;
        return name;
    }
    name.ns = text.substr(0, first);
    name.local = text.substr(first + 1);
    const std::size_t second = name.local.find(kSeparator);
    if (second != std::string_view::npos) {
        name.prefix = name.local.substr(second + 1);
        name.local = name.local.substr(0, second);
    }
    return name;
}

class Parse {
public:
    Parse(const std::string& where, PackageXmlHandler& handler)
        : parser_(takeParser()), where_(where), handler_(handler) {
        XML_Parser parser = parser_.get();
        XML_SetUserData(parser, this);
        XML_SetReturnNSTriplet(parser, 1);
        XML_SetElementHandler(parser, onStartElement, onEndElement);
        XML_SetCharacterDataHandler(parser, onCharacters);
        XML_SetNamespaceDeclHandler(parser, onStartNamespace, onEndNamespace);
        XML_SetXmlDeclHandler(parser, onXmlDeclaration);
        XML_SetStartDoctypeDeclHandler(parser, onDoctype);
    }

    void run(const std::vector<unsigned char>& bytes) {
        std::size_t at = 0;
        do {
            const std::size_t count = std::min(bytes.size() - at, kMaxPiece);
            const bool last = at + count == bytes.size();
            feed(reinterpret_cast<const char*>(bytes.data()) + at, static_cast<int>(count), last);
            at += count;
        } while (at != bytes.size());
        if (bytes.size() <= kMaxBytesOfReused) {
            KeptParser::put(std::move(parser_));
        }
    }

private:
    void feed(const char* bytes, int count, bool last) {
        if (XML_Parse(parser_.get(), bytes, count, last ? 1 : 0) != XML_STATUS_OK) {
            fail();
        }
    }

    [[noreturn]] void fail() {
        if (handlerFailure_) {
            rethrowHandlerFailure();
        }
        const XML_Error error = XML_GetErrorCode(parser_.get());
        if (error == XML_ERROR_NO_MEMORY || memoryRanOut) {
            throw std::bad_alloc();
        }
        throw InvalidXMLDocument(place() + (refusal_ == nullptr ? view(XML_ErrorString(error)).data() : refusal_));
    }

    [[noreturn]] void rethrowHandlerFailure() {
        try {
            std::rethrow_exception(handlerFailure_);
        } catch (const XmlFault& fault) {
            throw Exception(ErrorKind::Damaged, placeOf(handlerFailureAt_) + fault.message);
        }
    }

    struct Position {
        XML_Size line = 0, column = 0;
    };

    Position position() const noexcept {
        return {XML_GetCurrentLineNumber(parser_.get()), XML_GetCurrentColumnNumber(parser_.get()) + 1};
    }

    std::string placeOf(Position at) const {
        return where_ + ", line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": ";
    }

    std::string place() const { return placeOf(position()); }

    XmlRange tag() const {
        const auto begin = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()));
        return {begin, begin + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()))};
    }

    void refuse(const char* reason) {
        refusal_ = reason;
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    /// No exception may pass through Expat's frames, so it waits until those are gone.
    template <class Call>
    static void guarded(void* self, Call call) noexcept {
        auto& parse = *static_cast<Parse*>(self);
        if (parse.handlerFailure_) {
            return;  // Expat may report the end of an element whose start was refused
        }
        try {
            call(parse);
        } catch (...) {
            parse.handlerFailure_ = std::current_exception();
            parse.handlerFailureAt_ = parse.position();  // the parser goes on to the end of an empty element
            XML_StopParser(parse.parser_.get(), XML_FALSE);
        }
    }

    void startElement(const XML_Char* name, const XML_Char** attributes) {
        element_.name = splitName(name);
        element_.tag = tag();
        element_.attributes.clear();
        for (; *attributes != nullptr; attributes += 2) {
            element_.attributes.push_back({splitName(attributes[0]), attributes[1]});
        }
        handler_.startElement(element_);
    }

    static void onStartElement(void* self, const XML_Char* name, const XML_Char** attributes) {
        guarded(self, [&](Parse& parse) { parse.startElement(name, attributes); });
    }

    static void onEndElement(void* self, const XML_Char*) {
        guarded(self, [](Parse& parse) { parse.handler_.endElement(parse.tag()); });
    }

    static void onCharacters(void* self, const XML_Char* text, int length) {
        guarded(self, [&](Parse& parse) {
            parse.handler_.characters(std::string_view(text, static_cast<std::size_t>(length)));
        });
    }

    static void onStartNamespace(void* self, const XML_Char* prefix, const XML_Char* uri) {
        guarded(self, [&](Parse& parse) { parse.handler_.startNamespace(view(prefix), view(uri)); });
    }

    static void onEndNamespace(void* self, const XML_Char*) {
        guarded(self, [](Parse& parse) { parse.handler_.endNamespace(); });
    }

    /// Called for text declarations of external entities too, of which there are none.
    static void onXmlDeclaration(void* self, const XML_Char*, const XML_Char* encoding, int) {
        guarded(self, [&](Parse& parse) {
            const std::string name = fold(view(encoding));
            if (!name.empty() && name != "utf-8" && name != "utf-16") {
                parse.refuse("the encoding is neither UTF-8 nor UTF-16");
            }
        });
    }

    static void onDoctype(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        static_cast<Parse*>(self)->refuse("a document type declaration is not permitted");
    }

    ParserPtr parser_;
    const std::string& where_;
    PackageXmlHandler& handler_;
    XmlElement element_;
    std::exception_ptr handlerFailure_;
    Position handlerFailureAt_;
    const char* refusal_ = nullptr;
};

}  // namespace

void parsePackageXml(const std::vector<unsigned char>& bytes, const std::string& where, PackageXmlHandler& handler) {
    Parse(where, handler).run(bytes);
}

}  // namespace opc::model::detail
