#pragma once

#include "opc/Exception.hpp"

namespace opc::model {

/// XML that is not well-formed, or that holds what packages must not: a document type declaration.
/// what() tells the line and column.
class PXPLATFORM_EXPORT InvalidXMLDocument : public Exception {
public:
    explicit InvalidXMLDocument(const std::string& message);
    ~InvalidXMLDocument() override;
};

}  // namespace opc::model
