// Setting the code. The document is made whole before the package is touched, so that text which cannot be written
// changes nothing. A part whose content type changes has to be made anew, as a part's type is fixed.
#include "flowbook/FlowbookFileUtils.hpp"
#include "format/LogChannel.hpp"
#include "format/Vocabulary.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/Exception.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "writer/FlowbookFileWriterImpl.hpp"
#include "writer/RichCodeDocument.hpp"

namespace flowbook {

using opc::interfaces::CompressionType;
using opc::model::ContentType;
using opc::model::ExcludeMode;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::StandardPartInfo;
using opc::model::TargetMode;
using opc::model::URI;

namespace {

StandardPartInfo standardInfo() { return {CompressionType::Normal, 0}; }

/// Keeps the target as it stands. This overload exists where the platform has the function; a host's own need not.
template <class Source>
auto carryAsItStands(const Relationship& relationship, Source& to, int)
    -> decltype(void(to.carryRelationship(relationship.getType(), relationship.getTarget(),
                                          relationship.getTargetMode(), relationship.getID()))) {
    to.carryRelationship(relationship.getType(), relationship.getTarget(), relationship.getTargetMode(),
                         relationship.getID());
}

/// On other platforms a relationship is left out if its target is no URI reference. It leads nowhere, and must not keep
/// the code from being saved.
template <class Source>
void carryAsItStands(const Relationship& relationship, Source& to, long) {
    boost::optional<URI> target;
    try {
        target = URI(relationship.getTarget());
    } catch (const opc::Exception&) {
        return;
    }
    to.createInternalRelationship(relationship.getType(), *target, relationship.getID());
}

void carry(const Relationship& relationship, Part& to) {
    if (relationship.getTargetMode() == TargetMode::External) {
        to.createExternalRelationship(relationship.getType(), relationship.getTarget(), relationship.getID());
    } else {
        carryAsItStands(relationship, to, 0);
    }
}

}  // namespace

void FlowbookFileWriter::FlowbookFileWriterImpl::setTARMICCode(const std::u16string& code) {
    detail::log(detail::kLogProgress, "Starting to encode control characters");
    std::u16string encoded = FlowbookFileUtils::encodeControlCharacters(code);
    detail::log(detail::kLogProgress, "Finished encoding control characters");
    plainCode_ = std::move(encoded);
    isPlainCode_ = true;
    detail::log(detail::kLogProgress, "Writing TARMIC Code part");
    writeTARMICCodePart();
    detail::log(detail::kLogProgress, "Finished writing TARMIC code part");
    // Forgotten only after the part was written: if this writer was given encrypted code before, it is that code which
    // has just been written once more.
    encryptedRichCode_ = boost::none;
}

/// Reads the whole stream before it changes anything, so that a stream that fails leaves the writer as it was.
void FlowbookFileWriter::FlowbookFileWriterImpl::setEncryptedRichTARMICCode(opc::InputStream& stream) {
    Bytes code;
    opc::ByteArrayOutAdaptor bytes(code);
    opc::StreamHelper::copyStreamToStream(stream, bytes);
    encryptedRichCode_ = std::move(code);
    plainCode_ = boost::none;
    isPlainCode_ = false;
    writeTARMICCodePart();
}

/// A new file has code in any case, if only an empty text. An existing one keeps its code when none was set.
void FlowbookFileWriter::FlowbookFileWriterImpl::writeTARMICCodePart() {
    if (encryptedRichCode_) {
        writeEncryptedRichCode();
        return;
    }
    if (!plainCode_ && !fileExisted_) {
        plainCode_.emplace();
    }
    if (plainCode_) {
        writeRichCode();
    }
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writeRichCode() {
    ContentType contentType(format::kDocumentContentType);
    if (isPlainCode_) {
        contentType.addParameter(format::kPlainCodeParameter, format::kPlainCodeValue);
    }
    writePart(PartName(format::kDocumentPartName), contentType, format::kDocumentRelationshipType,
              detail::richCode(*plainCode_));
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writeEncryptedRichCode() {
    ContentType contentType(format::kDocumentContentType);
    contentType.addParameter(format::kEncryptionParameter, format::kEncryptionValue);
    writePart(PartName(format::kDocumentPartName), contentType, format::kDocumentRelationshipType, *encryptedRichCode_);
}

void FlowbookFileWriter::FlowbookFileWriterImpl::writePart(const PartName& partName, const ContentType& contentType,
                                                           const std::u16string& relationshipType,
                                                           const Bytes& content) {
    const auto existing = package_->getRelationshipsByType(relationshipType);
    if (existing.empty()) {
        Part created = package_->createPart(partName, contentType, standardInfo());
        isPartIncomplete_ = true;
        package_->createInternalRelationship(relationshipType, partName.getURI(), u"");
        fill(created, content);
        return;
    }
    // The part keeps its name, which another program may have chosen, so that what refers to it still finds it.
    const PartName target(existing.front().getTargetURI());
    Part part = package_->getPart(target);
    // The content type says the form of the code, so plain code for a rich document needs another one.
    if (part.getContentType() != contentType) {
        part = recreate(target, part.getRelationships(ExcludeMode::None), contentType);
    }
    fill(part, content);
}

/// Makes a part anew with another content type. Its own relationships stay with it: without them, the parts that they
/// lead to would be out of reach and in the way of a later part of the same name.
Part FlowbookFileWriter::FlowbookFileWriterImpl::recreate(const PartName& name, const std::vector<Relationship>& own,
                                                          const ContentType& contentType) {
    isPartIncomplete_ = true;
    package_->deletePart(name);
    Part created = package_->createPart(name, contentType, standardInfo());
    for (const Relationship& each : own) {
        carry(each, created);
    }
    return created;
}

/// Fills a part. Only a lack of memory can fail here; the part then counts as incomplete, and close() refuses to commit
/// it.
void FlowbookFileWriter::FlowbookFileWriterImpl::fill(Part& part, const Bytes& content) {
    isPartIncomplete_ = true;
    opc::ByteArrayInAdaptor bytes(content);
    opc::StreamHelper::copyStreamToStream(bytes, *part.getOutputStream());
    isPartIncomplete_ = false;
}

}  // namespace flowbook
