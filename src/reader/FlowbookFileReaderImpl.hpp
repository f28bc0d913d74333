#pragma once

#include "flowbook/FlowbookFileReader.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/model/Package.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <boost/function.hpp>
#include <boost/optional.hpp>

namespace flowbook {

/// The reader behind the public class. Members that are filled on demand are mutable, so one reader must not be used by
/// two threads at a time.
class PXFLOWBOOK_LOCAL FlowbookFileReader::FlowbookFileReaderImpl {
public:
    FlowbookFileReaderImpl(const std::u16string& fileName, const opc::FileSystemOpsSelector& selector);
    FlowbookFileReaderImpl(const FlowbookFileReaderImpl&) = delete;
    FlowbookFileReaderImpl& operator=(const FlowbookFileReaderImpl&) = delete;
    ~FlowbookFileReaderImpl();

    std::u16string getTARMICCode() const;
    std::u16string getRichTARMICCode() const;
    void getEncryptedRichTARMICCode(opc::OutputStream& out) const;
    bool isPlainCode() const;

    std::u16string getTitle() const;
    std::u16string getDescription() const;
    std::u16string getVersion() const;
    std::u16string getTARMICRelease() const;
    boost::posix_time::ptime getCreatedTime() const;
    boost::posix_time::ptime getLastModifiedTime() const;

    FlowbookFilePackage read() const;

private:
    using SnapshotPart = FlowbookFilePackage::Part;
    using SnapshotRelationship = FlowbookFilePackage::Relationship;
    using Bytes = std::vector<unsigned char>;

    void checkFileName() const;
    void openPackage();

    /// The part that the first package relationship of a type leads to; empty when there is none.
    boost::optional<opc::model::Part> getPart(const std::u16string& relationshipType) const;
    opc::model::Part getTARMICCodePart() const;

    Bytes readRichCode() const;
    std::u16string findCode() const;
    std::u16string readCode() const;

    /// A property of the package, read by `getter`, or FlowbookPropertyNotFound in its name.
    template <class T>
    T get_opc_core_property(boost::function<boost::optional<T>(opc::pxservices::CoreProperties*)> getter,
                            const char* propertyName) const;

    /// Bounds how much a snapshot may repeat; see SnapshotRead.cpp.
    class Repeats;

    std::vector<SnapshotPart> readPackageParts(Repeats& repeats) const;
    std::vector<SnapshotPart> readPackageParts(const std::u16string& relationshipType, Repeats& repeats) const;
    std::vector<SnapshotPart> readInternalParts(const SnapshotPart& part, Repeats& repeats) const;
    SnapshotPart readPart(const opc::model::Part& part) const;
    SnapshotPart readTarget(const opc::model::Relationship& relationship, Repeats& repeats) const;
    std::vector<SnapshotRelationship> readPackageRelationships() const;
    std::vector<SnapshotRelationship> readPackageRelationship(const std::u16string& relationshipType) const;
    std::vector<SnapshotRelationship> readPartRelationships(const opc::model::Part& part) const;

    std::u16string fileName_;
    mutable boost::optional<std::u16string> richCode_;
    mutable boost::optional<Bytes> richBytes_;  ///< well-formed UTF-8, until the rich code itself is asked for
    mutable boost::optional<Bytes> encryptedRichCode_;
    mutable boost::optional<std::u16string> code_;
    opc::FileSystemOpsSelector fileSystemOpsSelector_;
    std::unique_ptr<opc::zippackage::ZipPhysicalPackage> zipPackage_;
    std::unique_ptr<opc::model::Package> package_;
    std::unique_ptr<opc::pxservices::CorePropertiesManager> corePropertiesManager_;
};

}  // namespace flowbook
