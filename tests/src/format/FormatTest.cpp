#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "package/NewParts.hpp"
#include "support/Flowbooks.hpp"
#include "support/LogCapture.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <tuple>

namespace flowbook {
namespace {

using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
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

void readEncryptedCode() {
    std::vector<unsigned char> bytes;
    opc::ByteArrayOutAdaptor out(bytes);
    Book("one_paragraph").reader().getEncryptedRichTARMICCode(out);
}

std::string kindOf(const std::function<void()>& call) {
    try {
        call();
        return "no failure";
    } catch (const std::exception& failure) {
        return nameOf(flowbook::kindOf(failure));
    }
}

TEST(Exceptions, HaveAKind) {
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] { Book().reader(); }, "not-found"},
        {[] { Book("truncated").reader(); }, "damaged"},
        {[] { Book("truncated").writer(); }, "damaged"},
        {[] { Book("dangling").reader().isPlainCode(); }, "damaged"},
        {[] { Book("external").reader().isPlainCode(); }, "damaged"},
        {[] { Book("no_code").reader().isPlainCode(); }, "damaged"},
        {[] { Book("xxe").reader().getTARMICCode(); }, "damaged"},
        {[] { Book("deep").reader().getTARMICCode(); }, "limit"},
        {[] { Book("one_paragraph").reader().getTitle(); }, "absent"},
        {readEncryptedCode, "absent"},
        {[] { Book("encrypted").reader().getTARMICCode(); }, "encrypted"},
        {[] { FlowbookFileReader reader(u"book.docx"); }, "misuse"},
        {[] { throw StorageError(StorageErrorKind::NotDurable, ""); }, "not-durable"},
        {[] { throw StorageError(StorageErrorKind::NoSpace, ""); }, "input-output"},
        {[] { throw std::bad_alloc(); }, "limit"},
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
