#include "durability/common/Disturbance.hpp"
#include "durability/common/Place.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "support/Flowbooks.hpp"

#include <boost/scope_exit.hpp>
#include <cerrno>
#include <cstdlib>

namespace durability {
namespace {

thread_local Disturbance* disturbance = nullptr;  ///< makes allocations of this thread fail, unless it is null
thread_local long live = 0;                       ///< how many allocations of this thread have not been freed

template <class Allocate>
void* allocate(Allocate really) {
    void* const result = disturbance != nullptr && disturbance->strikes() ? nullptr : really();
    if (result != nullptr) {
        ++live;
    } else {
        errno = ENOMEM;
    }
    return result;
}

}  // namespace
}  // namespace durability

// Definitions in the executable come before those of the C library, for operator new and all libraries too.
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void __libc_free(void* memory);

void* malloc(size_t size) noexcept {
    return durability::allocate([=] { return __libc_malloc(size); });
}

void* calloc(size_t count, size_t size) noexcept {
    return durability::allocate([=] { return __libc_calloc(count, size); });
}

void* realloc(void* old, size_t size) noexcept {
    void* const result = durability::allocate([=] { return __libc_realloc(old, size); });
    durability::live -= old != nullptr && result != nullptr ? 1 : 0;
    return result;
}

void free(void* memory) noexcept {
    durability::live -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}

}  // extern "C"

namespace durability {
namespace {

class OutOfMemory : public testing::TestWithParam<Scenario> {};

/// Runs `work` with each of its allocations failing, between runs with all memory at hand, so that what the libraries
/// keep from one run to the next is there again.
/// @param work  takes the disturbance of its allocations, or null.
template <class Work>
void failEachAllocation(Work work) {
    disturbEach([&](Disturbance& latest) {
        const auto leaked = [&, first = latest] {
            work(nullptr);
            const long before = live;
            latest = first;
            work(&latest);
            work(nullptr);
            return live - before;
        };
        // What replaces a thing that was kept may be of another size, but not time after time.
        EXPECT_TRUE(leaked() == 0 || leaked() == 0) << "not all memory was freed";
    });
}

/// @returns what `work` does with its allocations disturbed.
template <class Work>
auto disturbed(Disturbance* by, Work work) {
    BOOST_SCOPE_EXIT_ALL() { disturbance = nullptr; };
    disturbance = by;
    return work();
}

TEST_P(OutOfMemory, WhileSavingLeavesTheOldFileOrTheNew) {
    const Oracle oracle(GetParam());
    for (const auto kind : {Place::Memory, Place::Local}) {
        failEachAllocation([&](Disturbance* by) {
            const Place place(kind, GetParam().old);
            const Outcome outcome = disturbed(by, [&] { return place.save(GetParam()); });
            EXPECT_TRUE(outcome == Outcome::Saved || outcome == Outcome::OutOfMemory) << outcome;
            EXPECT_TRUE(by == nullptr || oracle.accepts(outcome, place.content())) << outcome;
        });
    }
}

TEST_P(OutOfMemory, WhileReadingIsReported) {
    for (const auto kind : {Place::Memory, Place::Local}) {
        const Place place(kind, GetParam().old);
        place.save(GetParam());
        const std::string expected = tell(place.storage, place.file);
        failEachAllocation([&](Disturbance* by) {
            const auto read = [&] { return tell(place.storage, place.file); };
            const std::string found = support::outcome([&] { return disturbed(by, read); });
            EXPECT_TRUE(found == expected || found == "bad_alloc: std::bad_alloc") << found;
        });
    }
}

TEST(OutOfMemoryInACall, IsFollowedByNoSaveOfHalfAPart) {
    for (const support::Book& old : {support::Book(), support::Book("encrypted")}) {
        old.update([](flowbook::FlowbookFileWriter&) {});
        failEachAllocation([&](Disturbance* by) {
            const support::Book book(old.get());
            flowbook::FlowbookFileWriter writer = book.writer();
            const auto setCode = [&] { return writer.setTARMICCode(u"new"), ""; };
            const std::string set = support::outcome([&] { return disturbed(by, setCode); });
            const std::string closed = support::outcome([&] { return writer.close(false), ""; });
            const std::string code = support::outcome([&] { return support::text(book.reader().getTARMICCode()); });
            EXPECT_TRUE(code == "new" || (book.inventory() == old.inventory() && !set.empty())) << closed << code;
            EXPECT_TRUE(closed.empty() || book.get() == old.get()) << closed;
        });
    }
}

// What Xerces-C abandons then is lost, so here memory is not counted.
TEST(OutOfMemoryInATree, IsReportedAndTheNextDocumentIsRead) {
    const std::u16string rich = u"<w:document xmlns:w='http://schemas.openxmlformats.org/wordprocessingml/2006/main'>"
                                u"<w:body><b a = ''/><w:p><w:pPr><w:pStyle w:val='code'/></w:pPr><w:r><w:t>x</w:t>"
                                u"</w:r></w:p></w:body></w:document>";
    const auto read = [&] { return support::text(flowbook::FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(rich)); };
    disturbEach([&](Disturbance& latest) {
        const std::string found = support::outcome([&] { return disturbed(&latest, read); });
        EXPECT_TRUE(found == "x" || found == "bad_alloc: std::bad_alloc") << found;
        EXPECT_EQ(read(), "x");
    });
}

// Without the large file, as each runs a thousand times.
INSTANTIATE_TEST_SUITE_P(Scenarios, OutOfMemory, testing::ValuesIn(scenarios().begin(), scenarios().end() - 1),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
