#include "flowbook/FlowbookFileUtils.hpp"
#include "support/Flowbooks.hpp"
#include "support/LogCapture.hpp"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace flowbook {
namespace {

using support::Book;
using Lines = std::vector<std::string>;

void closeInConflict() {
    Book book("one_paragraph");
    FlowbookFileWriter writer = book.writer();
    writer.setTitle(u"T");
    book.set(support::fixture("encrypted"));
    support::outcome([&] { return writer.close(false), ""; });
}

TEST(Log, HoldsTheMessagesOfTheEnabledLevels) {
    const struct {
        unsigned levels;
        std::function<void()> work;
        Lines expected;
    } cases[] = {
        {8,
         [] { FlowbookFileUtils::encodeControlCharacters(u""); },
         {"8 Encoding control characters", "8 Finished encoding control characters"}},
        {0xFFFF,
         [] { Book().writer().setTARMICCode(u"\1a\u200B"); },
         {"8 Starting to encode control characters", "8 Encoding control characters",
          "8 Replacing character with replacement character", "8 Replacing character with replacement character",
          "8 Finished encoding control characters", "8 Finished encoding control characters",
          "8 Writing TARMIC Code part", "8 Finished writing TARMIC code part"}},
        {0xFFFF,
         [] { Book().writer().write(FlowbookFilePackage()); },
         {"8 Starting to write flowbook file package", "8 Finished writing flowbook file package"}},
        {4,
         [] { Book("shared").reader().read(); },
         {"4 Printing part content", "4 doc", "4 Printing part content", "4 doc"}},
        {0xFFFF, closeInConflict, {"512 Caught exception while writing to file: *"}},
        {0xFFFF & ~4U, [] { Book("shared").reader().read(); }, {}},
        {0xFFFF & ~8U, [] { Book().writer().setTARMICCode(u"\1"); }, {}},
        {0xFFFF & ~512U, closeInConflict, {}},
    };
    for (const auto& row : cases) {
        const support::LogCapture log(row.levels);
        row.work();
        EXPECT_PRED2(support::allMatch, row.expected, log.lines());
    }
}

TEST(Log, TellsTheCaughtExceptionInFull) {
    const support::LogCapture log(512);
    closeInConflict();
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines()[0].find("opc::Exception"), std::string::npos) << log.lines()[0];
    EXPECT_NE(log.lines()[0].find("std::exception::what"), std::string::npos) << log.lines()[0];
}

/// A disabled message does not get as far as a record, which would have to hold its text.
TEST(Log, FormsNothingForADisabledLevel) {
    unsigned opened = 0;
    const support::LogCapture log(8);
    boost::log::core::get()->set_filter([&opened](const boost::log::attribute_value_set&) { return ++opened, true; });
    Book("shared").reader().read();
    EXPECT_EQ(opened, 0U);
    FlowbookFileUtils::encodeControlCharacters(u"");
    EXPECT_EQ(opened, 2U);
    boost::log::core::get()->reset_filter();
}

}  // namespace
}  // namespace flowbook
