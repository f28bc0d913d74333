#include "durability/common/Place.hpp"
#include "flowbook/FlowbookExceptions.hpp"

#include <gtest/gtest.h>

namespace durability {
namespace {

namespace fs = std::filesystem;
using Folder = support::TempDir;

const Content& oldFile() { return scenarios().back().old(); }

/// As long as the old file.
void overwrite(const Folder& folder) { folder.put("file.tqx", std::string(oldFile()->size(), 'x')); }

void replaceByEqual(const Folder& folder) {
    folder.put("other", folder.get("file.tqx"));
    fs::rename(folder.path("other"), folder.path("file.tqx"));
}

void remove(const Folder& folder) { fs::remove(folder.path("file.tqx")); }

struct Conflict {
    const char* name;
    bool exists;  ///< when the writer is constructed
    void (*change)(const Folder& folder);
};

std::ostream& operator<<(std::ostream& out, const Conflict& conflict) { return out << conflict.name; }

class Conflicts : public testing::TestWithParam<Conflict> {};

TEST_P(Conflicts, AreReportedAndLoseNoVersion) {
    Place place(Place::Kind::Local);
    place.reset(GetParam().exists ? oldFile() : std::nullopt);
    flowbook::FlowbookFileWriter writer(place.file(), {});
    writer.setTARMICCode(u"mine");
    GetParam().change(place.folder());
    const Content others = place.content();
    EXPECT_THROW(writer.close(false), flowbook::FlowbookFileWriterGenericException);
    EXPECT_EQ(place.content(), others);
    EXPECT_EQ(place.leftovers(), std::vector<std::string>());
    if (!GetParam().exists) {  // once the cause is gone, the writer still has its version
        remove(place.folder());
        writer.close(false);
        EXPECT_NE(place.content(), std::nullopt);
    }
}

INSTANTIATE_TEST_SUITE_P(Causes, Conflicts,
                         testing::Values(Conflict{"WrittenInPlace", true, overwrite},
                                         Conflict{"Replaced", true, replaceByEqual}, Conflict{"Removed", true, remove},
                                         Conflict{"Appeared", false, overwrite}),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
