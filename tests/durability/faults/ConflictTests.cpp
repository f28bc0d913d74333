#include "durability/common/Place.hpp"
#include "flowbook/FlowbookExceptions.hpp"

#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace durability {
namespace {

namespace fs = std::filesystem;

const Content& oldFile() { return scenarios().back().old; }

/// Keeps the size of the old file.
void overwrite(const fs::path& file) { std::ofstream(file) << std::string(oldFile()->size(), 'x'); }

void replaceByEqual(const fs::path& file) {
    const fs::path other = file.parent_path() / "other";
    fs::copy(file, other);
    fs::rename(other, file);
}

TEST(Conflicts, AreReportedAndLoseNoVersion) {
    const struct {
        const char* name;
        bool exists;  ///< when the writer is constructed
        void (*change)(const fs::path& file);
    } cases[] = {
        {"written in place", true, overwrite},
        {"mode changed", true, [](const fs::path& file) { fs::permissions(file, fs::perms::owner_all); }},
        {"replaced", true, replaceByEqual},
        {"removed", true, [](const fs::path& file) { fs::remove(file); }},
        {"appeared", false, overwrite},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const Place place(Place::Local, test.exists ? oldFile() : std::nullopt);
        flowbook::FlowbookFileWriter writer(place.file, place.storage, {});
        writer.setTARMICCode(u"mine");
        ::usleep(10'000);  // file times have the resolution of the kernel's tick
        test.change(place.file);
        const Content others = place.content();
        EXPECT_THROW(writer.close(false), flowbook::FlowbookFileWriterGenericException);
        EXPECT_EQ(place.content(), others);
        if (!test.exists) {  // once the cause is gone, the writer still has its version
            fs::remove(place.file);
            writer.close(false);
            EXPECT_NE(place.content(), std::nullopt);
        }
    }
}

}  // namespace
}  // namespace durability
