#include "durability/common/Place.hpp"
#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "support/Flowbooks.hpp"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace durability {
namespace {

namespace fs = std::filesystem;

/// Saves the next version, time and again. Returns how often that succeeded.
int countUp(const Place& place, int saves) {
    int done = 0;
    while (done != saves) {
        try {
            flowbook::FlowbookFileWriter writer(place.file, place.storage, {});
            // Opened after the writer: it may tell a later version than the writer has, but then there is a conflict.
            const flowbook::FlowbookFileReader reader(place.file, place.storage);
            writer.setVersion(fl::i18n::to_ustring(std::to_string(std::stoi(support::text(reader.getVersion())) + 1)));
            writer.close(false);
            ++done;
        } catch (const flowbook::FlowbookFileWriterGenericException& conflict) {
            if (std::strstr(conflict.what(), "since it was opened") == nullptr) {
                throw;
            }
        }
    }
    return done;
}

/// Of a read, a change and a save, again in case of a conflict, every one has to be in the last version. More of them
/// than the tests have time for: PXFLOWBOOK_SAVES=200.
TEST(Conflicts, BetweenProcessesLoseNoSave) {
    const char* const wanted = std::getenv("PXFLOWBOOK_SAVES");
    const int saves = wanted == nullptr ? 10 : std::stoi(wanted);
    for (const fs::path& disk : {fs::current_path(), fs::path("/dev/shm")}) {
        for (const int processes : {2, 4, 8}) {
            const Place place(Place::Local, scenarios()[2].old, disk);
            flowbook::FlowbookFileWriter writer(place.file, place.storage, {});
            writer.setVersion(u"0");
            writer.close(false);
            for (int process = 0; process != processes; ++process) {
                if (::fork() == 0) {
                    std::_Exit(countUp(place, saves) == saves ? 0 : 1);
                }
            }
            int status = 0;
            while (::wait(&status) != -1) {
                EXPECT_EQ(status, 0);
            }
            const flowbook::FlowbookFileReader reader(place.file, place.storage);
            EXPECT_EQ(support::text(reader.getVersion()), std::to_string(processes * saves)) << disk;
        }
    }
}

}  // namespace
}  // namespace durability
