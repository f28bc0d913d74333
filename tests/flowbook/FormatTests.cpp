#include "flowbook/FlowbookExceptions.hpp"
#include "format/HasExtension.hpp"
#include "foundation/core/except/IInternalException.hpp"
#include "package/OutputPart.hpp"
#include "package/StylesPart.hpp"
#include "support/Flowbooks.hpp"

#include <gtest/gtest.h>
#include <type_traits>

namespace flowbook {
namespace {

TEST(Format, TellsExtensions) {
    const struct {
        std::u16string name, extension;
        bool expected;
    } cases[] = {
        {u"Model.TQX", u".tqx", true},
        {u"model.tqx.bak", u".tqx", false},
        {u".tqx", u".tqx", false},
        {u"tqx", u".tqx", false},
        {u"a.tqx", u".TQX", false},
        {u"a", u"", true},
        {u"", u"", false},
        {u"a.\u212A", u".k", true},  // KELVIN SIGN
        {u"\u0130.tqx", u".tqx", true},
        {u"x.TqApp", u".tqapp", true},
        {u"/dir.tqx/file", u".tqx", false},
        {u"x.tqx ", u".tqx", false},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(detail::hasExtension(row.name, row.extension), row.expected) << support::text(row.name);
    }
}

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

/// The classes that the library never throws; those that it throws are checked where it does.
TEST(Exceptions, OfCallersHaveTheirMessages) {
    static_assert(std::is_abstract_v<FlowbookExceptionBase>);
    const std::pair<std::string, std::string> cases[] = {
        {FlowbookFilePackageNotOpened(u"f").what(), "Flowbook package is not open "},
        {FlowbookOutputNotFound(u"f").what(), "Stored output not found"},
        {FlowbookImageNotFound(u"f").what(), "Stored image not found"},
        {FlowbookFileWriterInvalidRichCode(u"f").what(), "Invalid contents for Rich TARMIC Code"},
        {FlowbookFileWriterInvalidOutput(u"f").what(), "Invalid contents for flowbook Output"},
        {FlowbookFileWriterInvalidImage(u"f").what(), "Invalid image properties"},
    };
    for (const auto& [found, expected] : cases) {
        EXPECT_EQ(found, expected);
    }
    EXPECT_EQ(FlowbookImageNotFound(u"dir/\u00E4.tqx").getFileName(), u"dir/\u00E4.tqx");
}

TEST(Exceptions, AreCaughtAsWhatTheyAreAndByTheFramework) {
    const auto open = [] { FlowbookFileReader(u"no.extension"); };
    EXPECT_THROW(open(), FlowbookInvalidFileName);
    EXPECT_THROW(open(), FlowbookExceptionBase);
    EXPECT_THROW(open(), std::runtime_error);
    EXPECT_THROW(open(), std::exception);
    EXPECT_THROW(open(), foundation::core::except::IInternalException);
    try {
        open();
    } catch (const foundation::core::except::IException& error) {
        EXPECT_EQ(error.toUstring(), u"Not a valid flowbook filename ");
        EXPECT_THROW(error.rethrow(), FlowbookInvalidFileName);
    }
}

}  // namespace
}  // namespace flowbook
