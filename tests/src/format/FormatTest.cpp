#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/core/except/ErrorInfoContainer.hpp"
#include "foundation/core/except/IException.hpp"
#include "package/NewParts.hpp"
#include "support/Flowbooks.hpp"
#include "support/LogCapture.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <tuple>

namespace flowbook {
namespace {

using support::Book;
using support::Lines;

TEST(Format, NewPartsAreByteForByteTheTemplates) {
    EXPECT_EQ(support::text(FlowbookFilePackage::createEmptyDocumentPart().content),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><w:document xmlns:w=\"http://schemas."
              "openxmlformats.org/wordprocessingml/2006/main\"><w:body><w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr>"
              "<w:r><w:t><![CDATA[]]></w:t></w:r></w:p></w:body></w:document>");
    EXPECT_EQ(detail::output_part::replaceLayout("{LAYOUT_STATE}&<x>"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><embeddedOutputs><metaData>"
              "<evaluationState>manual</evaluationState><layoutState>{LAYOUT_STATE}&<x></layoutState><outputStatus>"
              "ready</outputStatus></metaData><outputArray type=\"array\"/><regionArray type=\"array\"/>"
              "</embeddedOutputs>");
    EXPECT_EQ(detail::emptyStylesXml(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?><w:styles xmlns:w=\"http://schemas."
              "openxmlformats.org/wordprocessingml/2006/main\"></w:styles>");
}

void closeInConflict() {
    const Book book("one_paragraph");
    FlowbookFileWriter writer = book.writer();
    book.set(support::fixture("encrypted"));
    writer.close(false);
}

std::string kindOf(const std::function<void()>& call) {
    try {
        call();
        return "no failure";
    } catch (const foundation::core::except::IException& failure) {
        return failure.errorInfo() ? failure.errorInfo()->values.at("kind") : "none";
    }
}

TEST(Exceptions, TellTheKindOfThePackageLibrarysFailure) {
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] { Book().reader(); }, "not-found"},
        {[] { Book("truncated").reader(); }, "damaged"},
        {[] { Book("truncated").writer(); }, "damaged"},
        {[] { Book("dangling").reader().isPlainCode(); }, "not-found"},
        {[] { Book("external").reader().isPlainCode(); }, "damaged"},
        {[] { Book("no_code").reader().isPlainCode(); }, "none"},
        {[] { Book("xxe").reader().getTARMICCode(); }, "damaged"},
        {[] { Book("deep").reader().getTARMICCode(); }, "limit"},
        {closeInConflict, "conflict"},
    };
    for (const auto& [call, kind] : cases) {
        EXPECT_EQ(kindOf(call), kind);
    }
}

TEST(Log, HoldsTheMessagesOfTheEnabledLevels) {
    const std::tuple<unsigned, std::function<void()>, Lines> cases[] = {
        {0xFFFF,
         [] { Book().writer().setTARMICCode(u"\1a\u200B"); },
         {"8 Starting to encode control characters", "8 Encoding control characters",
          "8 Replacing character with replacement character", "8 Replacing character with replacement character",
          "8 Finished encoding control characters", "8 Finished encoding control characters",
          "8 Writing TARMIC Code part", "8 Finished writing TARMIC code part"}},
        {0xFFFF,
         [] { Book().writer().write(FlowbookFilePackage()); },
         {"8 Starting to write flowbook file package", "8 Finished writing flowbook file package"}},
        {0xFFFF,
         [] { Book("shared").reader().read(); },
         {"4 Printing part content", "4 doc", "4 Printing part content", "4 doc"}},
        {512,
         [] { EXPECT_THROW(closeInConflict(), FlowbookFileWriterGenericException); },
         {"512 Caught exception while writing to file: Dynamic exception type: opc::*"}},
    };
    for (const auto& [levels, work, expected] : cases) {
        const support::LogCapture log(levels);
        work();
        EXPECT_PRED2(support::allMatch, expected, log.lines());
    }
}

}  // namespace
}  // namespace flowbook
