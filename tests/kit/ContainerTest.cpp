#include "KitTesting.hpp"
#include "kit/container/PackageContent.hpp"
#include "kit/digest/Digest.hpp"

#include <gtest/gtest.h>

namespace flowbook::kit::testing {
namespace {

TEST(Canonical, KeepsContentAndIsTheSameTwice) {
    for (const char* name : {"graph", "streamed", "zip64", "encrypted", "external", "info_zip", "docx", "cycle"}) {
        const support::Bytes original = support::fixture(name);
        const support::Bytes once = canonical(Document(original));
        EXPECT_EQ(contentDigest(Document(once)), contentDigest(Document(original))) << name;
        EXPECT_EQ(canonical(Document(once)), once) << name;
        EXPECT_EQ(readContent(Document(once)).others, readContent(Document(original)).others) << name;
    }
}

TEST(Canonical, PassesOverOrderAndKeepsEntriesThatAreNoParts) {
    PackageContent content = readContent(Document(richBook(codeParagraph("a"), {"data:image/png;base64,AAEC"}).get()));
    content.others["x.unknown"] = support::bytes("kept");
    const support::Bytes once = writeContent(content);
    std::swap(content.parts.front(), content.parts.back());
    EXPECT_EQ(writeContent(content), once);
    EXPECT_EQ(readContent(Document(once)).others, content.others);
    EXPECT_EQ(canonical(Document(once)), once);
}

}  // namespace
}  // namespace flowbook::kit::testing
