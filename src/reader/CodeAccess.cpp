#include "fl/i18n/codecvt_string_to_ustring.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "format/ThrowInternal.hpp"
#include "format/Vocabulary.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "reader/FlowbookFileReaderImpl.hpp"
#include "reader/ReaderFailure.hpp"

namespace flowbook {

using opc::model::Part;

namespace {

bool isEncrypted(const Part& part) { return part.getContentType().hasParameter(format::kEncryptionParameter); }

void copyContent(const Part& part, std::vector<unsigned char>& bytes) {
    opc::ByteArrayOutAdaptor out(bytes);
    opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
}

}  // namespace

boost::optional<Part>
FlowbookFileReader::FlowbookFileReaderImpl::getPart(const std::u16string& relationshipType) const {
    try {
        const auto relationships = package_->getRelationshipsByType(relationshipType);
        if (relationships.empty()) {
            return boost::none;
        }
        return package_->getPart(opc::model::PartName(relationships.front().getTargetURI()));
    } catch (const opc::Exception& failure) {
        detail::throwReadingFailure(fileName_, failure);
    }
}

Part FlowbookFileReader::FlowbookFileReaderImpl::getTARMICCodePart() const {
    boost::optional<Part> part = getPart(format::kDocumentRelationshipType);
    if (!part) {
        detail::throwInternal(FlowbookNotFound(fileName_));
    }
    return *part;
}

bool FlowbookFileReader::FlowbookFileReaderImpl::isPlainCode() const {
    const opc::model::ContentType type = getTARMICCodePart().getContentType();
    return type.hasParameter(format::kPlainCodeParameter) &&
           type.getParameterValue(format::kPlainCodeParameter) == format::kPlainCodeValue;
}

std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getRichTARMICCode() const {
    if (!richCode_) {
        const Part part = getTARMICCodePart();
        if (isEncrypted(part)) {
            detail::throwInternal(FlowbookEncrypted(fileName_));
        }
        Bytes bytes;
        copyContent(part, bytes);
        const fl::i18n::codecvt_string_to_ustring toUstring("UTF-8");
        richCode_ = toUstring(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    return *richCode_;
}

std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getTARMICCode() const {
    if (!code_) {
        try {
            code_ = FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(getRichTARMICCode());
        } catch (const opc::model::InvalidXMLDocument&) {
            detail::throwInternal(FlowbookNotFound(fileName_));
        }
    }
    return *code_;
}

void FlowbookFileReader::FlowbookFileReaderImpl::getEncryptedRichTARMICCode(opc::OutputStream& out) const {
    if (!encryptedRichCode_) {
        const Part part = getTARMICCodePart();
        if (!isEncrypted(part)) {
            detail::throwInternal(FlowbookNotEncrypted(fileName_));
        }
        encryptedRichCode_ = Bytes();
        copyContent(part, *encryptedRichCode_);
    }
    opc::ByteArrayInAdaptor in(*encryptedRichCode_);
    opc::StreamHelper::copyStreamToStream(in, out);
}

}  // namespace flowbook
