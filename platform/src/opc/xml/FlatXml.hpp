#pragma once

#include "fl/Bytes.hpp"
#include "opc/xml/PackageXml.hpp"

#include <functional>
#include <initializer_list>
#include <string>

namespace opc::model::detail {

/// Takes in what content types and relationships both are: one element with a flat list of elements.
class FlatXmlHandler : public PackageXmlHandler {
public:
    void startElement(const XmlElement& element) final;
    void endElement(const XmlName& name, XmlRange tag) final;
    void characters(std::string_view text) final;

    /// Whether all that was listed may stand together. Asked when the document was read for the first time; if not, it
    /// is read again, and listed() then refuses the element at fault, for the message to have its place.
    virtual bool isConsistent() const { return true; }

    /// Prepares for the document being read once more, from its start, by another parser.
    void startOver() {
        depth_ = 0;
        forget();
    }

protected:
    /// The views must outlive the handler.
    FlatXmlHandler(std::string_view ns, std::string_view rootName) : ns_(ns), rootName_(rootName) {}

    /// An element of the list; it is in the root's namespace and its attributes have been checked.
    virtual void listed(const XmlElement& element) = 0;

    /// Undoes all calls of listed(), as the document is about to be read once more.
    virtual void forget() = 0;

    /// The value of an attribute that must be there and not be empty.
    static std::string_view required(const XmlElement& element, std::string_view attribute);

    /// Refuses attributes in no namespace other than those named.
    static void permitOnly(const XmlElement& element, std::initializer_list<std::string_view> attributes);

private:
    std::string_view ns_;
    std::string_view rootName_;
    std::size_t depth_ = 0;
};

/// parsePackageXml() for a flat list, several times as fast where the document is plain: parsing content types and
/// relationships is much of what a small package costs.
/// @param where  asked for when something is wrong only.
/// @throws as parsePackageXml(), with the same messages.
void parseFlatXml(const fl::Bytes& bytes, const std::function<std::string()>& where, FlatXmlHandler& handler);

}  // namespace opc::model::detail
