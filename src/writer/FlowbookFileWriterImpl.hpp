#pragma once

#include "flowbook/FlowbookFileWriter.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/model/Package.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <boost/optional.hpp>
#include <vector>

namespace flowbook {

/// The writer behind the public class. It holds the package open from the constructor to close().
class PXFLOWBOOK_LOCAL FlowbookFileWriter::FlowbookFileWriterImpl {
public:
    FlowbookFileWriterImpl(const std::u16string& fileName, const opc::FileSystemOpsSelector& selector,
                           std::pair<std::u16string, std::u16string> contentTypeInfo);
    FlowbookFileWriterImpl(const FlowbookFileWriterImpl&) = delete;
    FlowbookFileWriterImpl& operator=(const FlowbookFileWriterImpl&) = delete;
    ~FlowbookFileWriterImpl() = default;

    void setTitle(const std::u16string& title);
    void setDescription(const std::u16string& description);
    void setVersion(const std::u16string& version);

    void setTARMICCode(const std::u16string& code);
    void setEncryptedRichTARMICCode(opc::InputStream& stream);

    void write(const FlowbookFilePackage& snapshot);
    void writePackagePart(const FlowbookFilePackage::Part& part);
    void writePackageRelationship(const FlowbookFilePackage::Relationship& relationship);
    void deletePartByRelationshipType(const std::u16string& relationshipType);

    void close(bool revertChanges);
    const std::u16string& getBackupFileName() const noexcept { return backupFileName_; }

private:
    using Bytes = std::vector<unsigned char>;

    /// What the caller sets; absent values leave the file's.
    struct overridable_properties {
        boost::optional<std::u16string> title;
        boost::optional<std::u16string> description;
        boost::optional<std::u16string> version;
        boost::optional<std::u16string> category;
    };

    void openPackage();
    std::u16string locateFile();
    void setDefaultContentType();
    void setupBackupOptions();
    void writeProperties();

    void writeTARMICCodePart();
    void writeRichCode();
    void writeEncryptedRichCode();

    /// Creates, or replaces, the part that the first package relationship of a type leads to, and gives it its
    /// content. A part of another content type is made anew, under the name that it had.
    void writePart(const opc::model::PartName& partName, const opc::model::ContentType& contentType,
                   const std::u16string& relationshipType, const Bytes& content);
    opc::model::Part recreate(const opc::model::PartName& name, const std::vector<opc::model::Relationship>& own,
                              const opc::model::ContentType& contentType);
    void fill(opc::model::Part& part, const Bytes& content);

    void writePackageParts(std::vector<FlowbookFilePackage::Part> parts);
    void writePackageRelationships(const std::vector<FlowbookFilePackage::Relationship>& relationships);
    void writePartRelationships(opc::model::Part part,
                                const std::vector<FlowbookFilePackage::Relationship>& relationships);
    void deletePackageParts();
    void deletePartRelationships(const opc::model::Part& part);

    opc::FileSystemOpsSelector fileSystemOpsSelector_;
    std::unique_ptr<opc::zippackage::ZipPhysicalPackage> zipPackage_;
    std::unique_ptr<opc::model::Package> package_;
    std::unique_ptr<opc::pxservices::CorePropertiesManager> corePropertiesManager_;
    std::u16string fileName_;
    std::u16string backupFileName_;
    std::u16string coreContentType_;
    std::u16string coreContentTypeFriendlyName_;
    boost::optional<std::u16string> plainCode_;  ///< without what XML forbids
    boost::optional<Bytes> encryptedRichCode_;
    overridable_properties overridableProperties_;
    bool fileExisted_ = false;
    bool isPlainCode_ = false;
    /// Whether a failure came between the first and the last change of the code part. What is there must not be
    /// committed.
    bool isPartIncomplete_ = false;
};

}  // namespace flowbook
