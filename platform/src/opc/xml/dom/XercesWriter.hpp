#pragma once

#include "opc/OutputStream.hpp"

#include <xercesc/dom/impl/DOMLSSerializerImpl.hpp>

namespace opc::model {

/// The XML library's serializer, with CDATA sections written here (the library drops every "]]>" in
/// them) and fit for use again after a failure. Filters that a caller sets are not consulted.
class XercesWriter final : public xercesc::DOMLSSerializerImpl {
public:
    /// @throws opc::Exception of kind Misuse for a document that XML 1.0 in UTF-8 cannot hold, or that is
    ///         nested so deeply that the recursive library might exhaust the stack.
    void writeDocument(const xercesc::DOMDocument& document, OutputStream& out);

private:
    class Scope;
};

}  // namespace opc::model
