#include "durability/common/Place.hpp"
#include "support/Flowbooks.hpp"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

namespace durability {
namespace {

namespace fs = std::filesystem;

TEST(Conflicts, AreReportedAndLoseNoVersion) {
    const Content& old = scenarios().back().old;
    const auto overwrite = [&](const fs::path& file) { std::ofstream(file) << std::string(old->size(), 'x'); };
    const auto replaceByEqual = [](const fs::path& file) {
        fs::copy(file, file.parent_path() / "other");
        fs::rename(file.parent_path() / "other", file);
    };
    const auto openToAll = [](const fs::path& file) { fs::permissions(file, fs::perms::all); };
    const std::tuple<const char*, Content, std::function<void(const fs::path&)>> cases[] = {
        {"written in place", old, overwrite},  {"mode changed", old, openToAll},
        {"replaced", old, replaceByEqual},     {"removed", old, [](const fs::path& file) { fs::remove(file); }},
        {"appeared", std::nullopt, overwrite},
    };
    for (const auto& [name, before, change] : cases) {
        SCOPED_TRACE(name);
        const Place place(Place::Local, before);
        flowbook::FlowbookFileWriter writer(place.file, place.storage, {});
        writer.setTARMICCode(u"mine");
        ::usleep(10'000);  // file times have the resolution of the kernel's tick
        change(place.file);
        const Content others = place.content();
        const std::string failure = support::outcome([&] { return writer.close(false), ""; }, place.file);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "FlowbookFileWriterGenericException: ", failure);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "cannot replace", failure);
        EXPECT_EQ(place.content(), others);
        if (!before) {  // once the cause is gone, the writer still has its version
            fs::remove(place.file);
            writer.close(false);
            EXPECT_NE(place.content(), std::nullopt);
        }
    }
}

}  // namespace
}  // namespace durability
