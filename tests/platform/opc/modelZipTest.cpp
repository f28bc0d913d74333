#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "platform/opc/modelTesting.hpp"

namespace opc::model {
namespace {

using namespace testing;
using interfaces::OpenMode;

TEST(PackageOverZipTest, CreateUpdateRead) {
    const auto storage = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    const FileSystemOpsSelector selector{foundation::storage::vfs::StorageSystemReference(storage)};
    const auto with = [&](OpenMode mode, const std::function<void(Package&)>& use) {
        zippackage::ZipPhysicalPackage physical(u"f.tqx", selector, true);
        Package package(physical);
        package.open(mode);
        use(package);
        package.close();
    };
    with(OpenMode::Create, [](Package& package) {
        package.createInternalRelationship(u"t:doc", URI(u"/d/doc.xml"), u"");
        create(package, "/d/doc.xml", "old").createExternalRelationship(u"t", u"http://x/", u"x");
        create(package, "/kept.bin", std::string(5000, 'k'));
        pxservices::CoreProperties properties;
        properties.setTitle(u"Title");
        pxservices::CorePropertiesManager(package, pxservices::CorePropertiesManager::DeterministicMode::Off)
            .setCoreProperties(properties);
    });
    with(OpenMode::Update, [](Package& package) { write(package.getPart(partName("/d/doc.xml")), "new"); });
    const auto before = storage->get(u"f.tqx");
    with(OpenMode::Update, [](Package&) {});
    EXPECT_EQ(before, storage->get(u"f.tqx"));
    with(OpenMode::ReadOnly, [](Package& package) {
        const Part part = package.getPart(PartName(package.getRelationshipsByType(u"t:doc").at(0).getTargetURI()));
        EXPECT_EQ("new", contentOf(part));
        EXPECT_EQ(1U, part.getRelationships(ExcludeMode::None).size());
        const Part kept = package.getPart(partName("/kept.bin"));
        EXPECT_EQ(std::string(5000, 'k'), contentOf(kept));
        EXPECT_LT(kept.getStoredSize(), kept.getSize());
        const pxservices::CorePropertiesManager manager(package,
                                                        pxservices::CorePropertiesManager::DeterministicMode::Off);
        EXPECT_EQ(u"Title", *manager.getCoreProperties().getTitle());
    });
    // The first entries' names, as a reader of the first bytes sees them.
    const std::string bytes(before.begin(), before.end());
    const std::size_t types = bytes.find("[Content_Types].xml");
    const std::size_t relationships = bytes.find("_rels/.rels");
    const std::size_t document = bytes.find("d/doc.xml");
    EXPECT_TRUE(types < relationships && relationships < document && document < bytes.find("kept.bin"));
}

}  // namespace
}  // namespace opc::model
