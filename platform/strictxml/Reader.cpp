// The one use of Expat. What it adds: document types and other encodings are refused, a lack of memory is
// std::bad_alloc and not a fault of the document, and exceptions of handlers do not pass through frames of C.
#include "strictxml/Reader.hpp"

#include "fl/ThreadKept.hpp"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <expat.h>
#include <memory>
#include <new>
#include <random>
#include <type_traits>

namespace strictxml {
namespace {

/// Separates namespace, local name and prefix in a name that Expat reports. No URI can contain it.
constexpr char kSeparator = '\n';

/// Expat takes the length of a piece as an int.
constexpr std::size_t kMaxPiece = std::size_t{1} << 30;

struct ParserDeleter {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};

/// Making a parser costs as much as parsing a small part, so each thread keeps one from document to document.
using KeptParser = fl::ThreadKept<std::remove_pointer_t<XML_Parser>, ParserDeleter>;
using ParserPtr = KeptParser::Pointer;

/// A parser that has grown with a large document is freed rather than kept.
constexpr std::size_t kMaxBytesOfReused = std::size_t{64} << 10;

/// Returns the key of the parser's hash tables, so that no file can be made to collide in them. Expat would ask the
/// system for a new one for every document.
unsigned long hashSalt() {
    static const unsigned long salt = [] {
        std::random_device random;
        return static_cast<unsigned long>(random()) << 32 | random() | 1;  // Expat takes 0 for none
    }();
    return salt;
}

/// Set when an allocation fails. Expat reports some of these as faults of the document, for example as an unbound
/// prefix.
thread_local bool memoryRanOut = false;

void* noting(void* memory) {
    memoryRanOut = memoryRanOut || memory == nullptr;
    return memory;
}

// Expat requires functions that behave like these of the C library.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
const XML_Memory_Handling_Suite kNotingMemory = {
    [](std::size_t size) { return noting(std::malloc(size)); },
    [](void* old, std::size_t size) { return noting(std::realloc(old, size)); },
    [](void* memory) { std::free(memory); },
};
// NOLINTEND(cppcoreguidelines-no-malloc)

ParserPtr takeParser(Encoding encoding) {
    const char* const forced = encoding == Encoding::Utf8 ? "UTF-8" : nullptr;
    memoryRanOut = false;
    ParserPtr parser = KeptParser::take();
    if (!parser || XML_ParserReset(parser.get(), forced) != XML_TRUE) {
        parser.reset(XML_ParserCreate_MM(forced, &kNotingMemory, &kSeparator));
    }
    if (!parser) {
        throw std::bad_alloc();
    }
    XML_SetHashSalt(parser.get(), hashSalt());
    return parser;
}

std::string_view view(const XML_Char* text) { return text == nullptr ? std::string_view() : text; }

Name splitName(std::string_view text) {
    Name name;
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

bool isUnicode(std::string_view encoding) {
    const auto is = [encoding](std::string_view name) {
        return std::equal(encoding.begin(), encoding.end(), name.begin(), name.end(), [](char written, char lower) {
            return written == lower || (written >= 'A' && written <= 'Z' && written - 'A' + 'a' == lower);
        });
    };
    return is("utf-8") || is("utf-16");
}

class Reading {
public:
    Reading(const Options& options, Handler& handler)
        : parser_(takeParser(options.encoding)), options_(options), handler_(handler) {
        XML_Parser parser = parser_.get();
        XML_SetUserData(parser, this);
        XML_SetReturnNSTriplet(parser, 1);
        XML_SetElementHandler(parser, onStartElement, onEndElement);
        XML_SetCharacterDataHandler(parser, onCharacters);
        XML_SetStartNamespaceDeclHandler(parser, onStartNamespace);
        XML_SetXmlDeclHandler(parser, onXmlDeclaration);
        XML_SetStartDoctypeDeclHandler(parser, onDoctype);
    }

    /// Parses the document in pieces, as a length is an int for Expat. The parser is put back only after success: one
    /// that has stopped halfway may hold anything.
    void run(std::string_view document) {
        std::size_t at = 0;
        do {
            const std::string_view piece = document.substr(at, kMaxPiece);
            at += piece.size();
            const int isLast = at == document.size() ? 1 : 0;
            if (XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), isLast) != XML_STATUS_OK) {
                fail();
            }
        } while (at != document.size());
        if (document.size() <= kMaxBytesOfReused) {
            KeptParser::put(std::move(parser_));
        }
    }

private:
    struct Position {
        XML_Size line = 0, column = 0;
    };

    /// Throws for the first of the possible reasons that applies. The handler's own comes first, as stopping the parser
    /// makes Expat report a failure as well.
    [[noreturn]] void fail() const {
        if (handlerFailure_) {
            rethrowHandlerFailure();
        }
        const XML_Error error = XML_GetErrorCode(parser_.get());
        if (error == XML_ERROR_NO_MEMORY || memoryRanOut) {
            throw std::bad_alloc();
        }
        if (refusal_ != nullptr) {
            throw Malformed(placeOf(failureAt_) + refusal_, false);
        }
        throw Malformed(placeOf(position()) + XML_ErrorString(error), false);
    }

    [[noreturn]] void rethrowHandlerFailure() const {
        try {
            std::rethrow_exception(handlerFailure_);
        } catch (const Fault& fault) {
            throw Malformed(placeOf(failureAt_) + fault.message, true);
        }
    }

    Position position() const noexcept {
        return {XML_GetCurrentLineNumber(parser_.get()), XML_GetCurrentColumnNumber(parser_.get()) + 1};
    }

    static std::string placeOf(Position at) {
        return "line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": ";
    }

    Range tag() const {
        const auto begin = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()));
        return {begin, begin + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()))};
    }

    void refuse(const char* reason) {
        refusal_ = reason;
        failureAt_ = position();
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    /// Calls the handler. No exception may pass through Expat's frames, so one waits here until those are gone. After a
    /// failure the handler is not called any more, although Expat goes on to the end of an empty element.
    template <class Call>
    static void guarded(void* self, Call call) noexcept {
        auto& reading = *static_cast<Reading*>(self);
        if (reading.handlerFailure_ || reading.refusal_ != nullptr) {
            return;
        }
        try {
            call(reading);
        } catch (...) {
            reading.handlerFailure_ = std::current_exception();
            reading.failureAt_ = reading.position();
            XML_StopParser(reading.parser_.get(), XML_FALSE);
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
        guarded(self, [&](Reading& reading) { reading.startElement(name, attributes); });
    }

    static void onEndElement(void* self, const XML_Char* name) {
        guarded(self, [&](Reading& reading) { reading.handler_.endElement(splitName(name), reading.tag()); });
    }

    static void onCharacters(void* self, const XML_Char* text, int length) {
        guarded(self, [&](Reading& reading) { reading.handler_.characters({text, static_cast<std::size_t>(length)}); });
    }

    static void onStartNamespace(void* self, const XML_Char* prefix, const XML_Char* uri) {
        guarded(self, [&](Reading& reading) { reading.handler_.startNamespace(view(prefix), view(uri)); });
    }

    static void onXmlDeclaration(void* self, const XML_Char*, const XML_Char* encoding, int) {
        auto& reading = *static_cast<Reading*>(self);
        if (reading.options_.encoding == Encoding::Unicode && encoding != nullptr && !isUnicode(encoding)) {
            reading.refuse("the encoding is neither UTF-8 nor UTF-16");
        }
    }

    static void onDoctype(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        static_cast<Reading*>(self)->refuse("a document type declaration is not permitted");
    }

    ParserPtr parser_;
    const Options options_;
    Handler& handler_;
    Element element_;
    std::exception_ptr handlerFailure_;
    Position failureAt_;
    const char* refusal_ = nullptr;
};

}  // namespace

void read(std::string_view document, const Options& options, Handler& handler) {
    Reading(options, handler).run(document);
}

}  // namespace strictxml
