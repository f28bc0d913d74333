#pragma once

#include "opc/Exception.hpp"

namespace opc::model {

/// XML that is not well-formed, or that holds what packages must not: a document type declaration.
/// what() contains the line and column. The kind is Damaged, or LimitExceeded where the document is larger than one of
/// the limits on DOM documents in opc::Limits, which what() names.
class PXPLATFORM_EXPORT InvalidXMLDocument : public Exception {
public:
    explicit InvalidXMLDocument(const std::string& message);
    InvalidXMLDocument(ErrorKind kind, const std::string& message);
    ~InvalidXMLDocument() override;
};

}  // namespace opc::model
