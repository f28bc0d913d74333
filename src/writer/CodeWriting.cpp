#include "flowbook/FlowbookFileUtils.hpp"
#include "format/LogChannel.hpp"
#include "format/Vocabulary.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/model/XercesHelper.hpp"
#include "writer/FlowbookFileWriterImpl.hpp"
#include "writer/RichCodeDocument.hpp"

namespace flowbook {

using opc::interfaces::CompressionType;
using opc::model::ContentType;
using opc::model::Part;
using opc::model::PartName;
using opc::model::StandardPartInfo;
using opc::model::XercesHelper;

namespace {

foundation::log::basic_diagnostic_logger logger(detail::kLogChannel);

}  // namespace

void FlowbookFileWriter::FlowbookFileWriterImpl::setTARMICCode(const std::u16string& code) {
    detail::log(logger, detail::kLogProgress, "Starting to encode control characters");
    const std::u16string encoded = FlowbookFileUtils::encodeControlCharacters(code);
    detail::log(logger, detail::kLogProgress, "Finished encoding control characters");
    richCodeDocument_ = detail::createRichCodeDocument(encoded);
    isPlainCode_ = true;
    detail::log(logger, detail::kLogProgress, "Writing TARMIC Code part");
    writeTARMICCodePart();
    detail::log(logger, detail::kLogProgress, "Finished writing TARMIC code part");
    // Only now: encrypted code that this writer was given before has just been written once more.
    encryptedRichCode_ = boost::none;
}

void FlowbookFileWriter::FlowbookFileWriterImpl::setEncryptedRichTARMICCode(opc::InputStream& stream) {
    encryptedRichCode_.emplace();
    richCodeDocument_.reset();
    isPlainCode_ = false;
    opc::ByteArrayOutAdaptor bytes(*encryptedRichCode_);
    opc::StreamHelper::copyStreamToStream(stream, bytes);
    writeTARMICCodePart();
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writeTARMICCodePart() {
    if (encryptedRichCode_) {
        writeEncryptedRichCode();
        return;
    }
    if (richCodeDocument_ == nullptr && !fileExisted_) {
        richCodeDocument_ = detail::createRichCodeDocument(u"");
    }
    if (richCodeDocument_ != nullptr) {
        writeRichCode();
    }
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writeRichCode() {
    ContentType contentType(format::kDocumentContentType);
    if (isPlainCode_) {
        contentType.addParameter(format::kPlainCodeParameter, format::kPlainCodeValue);
    }
    writePart(PartName(format::kDocumentPartName), contentType, format::kDocumentRelationshipType,
              [this](opc::OutputStream& out) {
                  XercesHelper::writeDocumentToStream(getDOMWriter(), richCodeDocument_.get(), out);
              });
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writeEncryptedRichCode() {
    ContentType contentType(format::kDocumentContentType);
    contentType.addParameter(format::kEncryptionParameter, format::kEncryptionValue);
    writePart(PartName(format::kDocumentPartName), contentType, format::kDocumentRelationshipType,
              [this](opc::OutputStream& out) {
                  opc::ByteArrayInAdaptor bytes(*encryptedRichCode_);
                  opc::StreamHelper::copyStreamToStream(bytes, out);
              });
}

xercesc::DOMLSSerializer* FlowbookFileWriter::FlowbookFileWriterImpl::getDOMWriter() {
    if (domSerializer_ == nullptr) {
        domSerializer_.reset(XercesHelper::createWriter());
    }
    return domSerializer_.get();
}

template <class Fill>
void FlowbookFileWriter::FlowbookFileWriterImpl::writePart(const PartName& partName, const ContentType& contentType,
                                                           const std::u16string& relationshipType, const Fill& fill) {
    const StandardPartInfo info(CompressionType::Normal, 0);
    const auto existing = package_->getRelationshipsByType(relationshipType);
    if (existing.empty()) {
        Part created = package_->createPart(partName, contentType, info);
        package_->createInternalRelationship(relationshipType, partName.getURI(), u"");
        fill(*created.getOutputStream());
        return;
    }
    const PartName target(existing.front().getTargetURI());
    Part part = package_->getPart(target);
    if (part.getContentType() != contentType) {
        package_->deletePart(target);
        part = package_->createPart(target, contentType, info);
    }
    fill(*part.getOutputStream());
}

}  // namespace flowbook
