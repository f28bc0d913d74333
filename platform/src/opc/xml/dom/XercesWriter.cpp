// Serialises DOM documents. The library's serializer drops "]]>" from CDATA sections, recurses as deep as the document,
// and keeps namespaces of a document whose writing failed; each of these is dealt with here.
#include "opc/xml/dom/XercesWriter.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/Exception.hpp"
#include "opc/OutputStream.hpp"
#include "opc/xml/DomTraversal.hpp"
#include "plainxml/XmlCharacters.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <xercesc/dom/impl/DOMLSOutputImpl.hpp>
#include <xercesc/framework/XMLFormatter.hpp>

namespace opc::model {
namespace {

constexpr std::size_t kBlockSize = std::size_t{64} << 10;
constexpr std::size_t kMaxDepth = 1024;

[[noreturn]] void refuse(const std::string& reason) {
    throw Exception(ErrorKind::Misuse, "cannot write the XML document: " + reason);
}

void checkDepth(const xercesc::DOMDocument& document) {
    forEachNodeBelow(document, [](const xercesc::DOMNode& /*node*/, std::size_t depth) {
        if (depth > kMaxDepth) {
            refuse("it is nested more than " + std::to_string(kMaxDepth) + " levels deep");
        }
    });
}

/// Gathers the many small writes of the XML library into large ones.
class XercesOutput final : public xercesc::XMLFormatTarget {
public:
    explicit XercesOutput(OutputStream& out) : out_(&out) {}

    void write(std::string_view bytes) {
        if (block_.size() + bytes.size() > kBlockSize) {
            finish();
        }
        if (bytes.size() >= kBlockSize) {
            out_->write(bytes.data(), bytes.size());
            return;
        }
        block_.append(bytes);
    }

    /// Writes what is gathered; the library's own flush() does not, as it comes after failures too.
    void finish() {
        if (!block_.empty()) {
            out_->write(block_.data(), block_.size());
            block_.clear();
        }
    }

    void writeChars(const XMLByte* bytes, XMLSize_t count, xercesc::XMLFormatter* /*formatter*/) override {
        write({reinterpret_cast<const char*>(bytes), count});
    }

private:
    OutputStream* out_;
    std::string block_;
};

/// A filter that writes CDATA sections itself and rejects them, so that the library passes over them.
class CdataFilter final : public xercesc::DOMLSSerializerFilter {
public:
    explicit CdataFilter(XercesOutput& out) : out_(&out) {}

    ShowType getWhatToShow() const override { return xercesc::DOMNodeFilter::SHOW_CDATA_SECTION; }

    FilterAction acceptNode(const xercesc::DOMNode* node) const override {
        const auto* const section = static_cast<const xercesc::DOMCharacterData*>(node);
        const std::u16string_view text(section->getData(), section->getLength());
        if (std::any_of(text.begin(), text.end(), plainxml::isForbidden<char16_t>)) {
            refuse("a CDATA section holds a character that XML forbids");
        }
        writeSections(text);
        return FILTER_REJECT;
    }

private:
    // Writes a text as CDATA sections. "]]>" would end a section, so each is divided between two.
    void writeSections(std::u16string_view text) const {
        static constexpr std::size_t kBeforeEnd = 2;
        std::size_t end = text.find(u"]]>");
        while (end != std::u16string_view::npos) {
            writeSection(text.substr(0, end + kBeforeEnd));
            text.remove_prefix(end + kBeforeEnd);
            end = text.find(u"]]>");
        }
        writeSection(text);
    }

    void writeSection(std::u16string_view text) const {
        out_->write("<![CDATA[");
        try {
            out_->write(fl::i18n::ustring_to_utf8(text));
        } catch (const fl::i18n::ConversionError& error) {
            refuse(std::string("in a CDATA section: ") + error.what());
        }
        out_->write("]]>");
    }

    XercesOutput* out_;
};

}  // namespace

/// Sets the filter, and forgets it and the namespaces in scope even when writing fails: left behind, they
/// would be taken as declared in the next document.
class XercesWriter::Scope {
public:
    Scope(XercesWriter& writer, CdataFilter& filter) : writer_(&writer) { writer.setFilter(&filter); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() {
        writer_->setFilter(nullptr);
        writer_->fNamespaceStack->removeAllElements();
    }

private:
    XercesWriter* writer_;
};

void XercesWriter::writeDocument(const xercesc::DOMDocument& document, OutputStream& out) {
    checkDepth(document);
    XercesOutput target(out);
    CdataFilter filter(target);
    xercesc::DOMLSOutputImpl destination;
    destination.setByteStream(&target);
    destination.setEncoding(u"UTF-8");
    const Scope scope(*this, filter);
    if (!write(&document, &destination)) {
        refuse("a part of it cannot be represented");
    }
    target.finish();
}

}  // namespace opc::model
