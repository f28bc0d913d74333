#include "fl/i18n/Conversion.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/XercesGuard.hpp"
#include "opc/model/XercesHelper.hpp"
#include "opc/xml/dom/XercesErrors.hpp"
#include "opc/xml/dom/XercesParser.hpp"
#include "platform/opc/OpcTesting.hpp"

#include <xercesc/util/XMLUni.hpp>

namespace opc::model {
namespace {

using namespace std::string_literals;
using tests::repeated;
using xercesc::XMLUni;

using DocumentPtr = XercesPtr<xercesc::DOMDocument>;

const std::u16string kNamespace = u"urn:w";
const std::string kSmile = "[\xC3\xA4\xF0\x9F\x98\x80]";

/// `before`, a number and `after`, time and again.
std::string numbered(const std::string& before, const std::string& after, int count) {
    std::string xml;
    for (int i = 0; i < count; ++i) {
        xml += before + std::to_string(i) + after;
    }
    return xml;
}

/// ASCII in UTF-16.
std::string wide(const std::string& ascii) {
    std::string bytes;
    for (const char c : ascii) {
        bytes.append({c, '\0'});
    }
    return bytes;
}

class XercesTest : public testing::Test {
protected:
    const xercesc::DOMElement* read(const std::u16string& xml, const std::u16string& publicId = u"",
                                    const std::u16string& systemId = u"") {
        return XercesHelper::readDocumentFromString(parser.get(), xml, false, publicId, systemId)->getDocumentElement();
    }

    const xercesc::DOMElement* read(const std::string& xml) {
        const auto bytes = tests::toBytes(xml);
        ByteArrayInAdaptor in(bytes);
        return XercesHelper::readDocumentFromStream(parser.get(), in, false, u"", u"")->getDocumentElement();
    }

    /// The text, in brackets, or what reading complains of.
    template <class... Xml>
    std::string outcome(const Xml&... xml) {
        try {
            return '[' + fl::i18n::ustring_to_utf8(XercesHelper::getTextContent(read(xml...))) + ']';
        } catch (const InvalidXMLDocument& error) {
            const std::string text = error.what();
            const bool isLimit = text.find(": more than ") != std::string::npos;
            EXPECT_EQ(error.kind(), isLimit ? ErrorKind::LimitExceeded : ErrorKind::Damaged) << text;
            return text;
        }
    }

    XercesGuard guard;
    XercesPtr<xercesc::DOMLSParser> parser{XercesHelper::createParser()};
};

TEST_F(XercesTest, RefusesHostileAndMalformedDocumentsInBoundedTime) {
    const std::string doctype = "document type declaration", malformed = "the XML document is not well-formed at line ";
    const std::string deep = "more than 1024 nested elements", names = "more than 1024 different names";
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {malformed + "1, column 10: invalid document structure (a " + doctype, {"<!DOCTYPE a><a/>"}},
        {doctype,
         {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>",
          "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>",
          "<!DOCTYPE a [<!ENTITY b 'ha'><!ENTITY c '&b;&b;&b;'>]><a>&c;</a>"}},
        {malformed + "1, column 15: entity 'undefined' not found", {"<a>&undefined;</a>"}},
        {malformed + "2, column 6: expected end of tag 'b'", {"<a>\n<b></a>"}},
        {malformed,
         {"<a><![CDATA[open", "<a/><b/>", "", "<a x='1' x='2'/>", "<a b:x='1'/>", "<a>\x01</a>", "<a>\xC0\xAF</a>",
          "<a>\n<!--\xC3\xA4--\xFF></a>"}},
        {"version", {"<?xml version='1.0UTF-16'?><a/>"}},
        {"NUL", {"<a/>\0<b/>"s}},
        {"its encoding is no-such", {"<?xml version='1.0' encoding='no-such'?><a/>"}},
        {"its encoding is ISO-8859-1", {"<?xml version='1.0' encoding='ISO-8859-1'?><a>x</a>"}},
        {"line 2, column 6: bytes that are not UTF-8",
         {"<a>\n<b/>a\xF5\x80\x80\x80z</a>", "<a>\n</a> \xE2\x82", "<a>\n\xF0\x9F\x98\x80   \xFE</a>"}},
        {"line 1, column 9: half a character of UTF-16", {"\xFF\xFE<\0a\0>\0<\0/\0a\0>\0 "s}},
        {"half a surrogate pair", {"\xFF\xFE<\0a\0 \0b\0=\0'\0\0\xD8'\0/\0>\0"s}},
        {"but its bytes are not",
         {"\xFF\xFE"s + wide("<?xml version='1.0' encoding='UTF-16BE'?><a/>"),
          "<?xml version='1.0' encoding='UTF-16LE'?><a/>"}},
        {"refused at line 1, column 3076: " + deep, {repeated("<a>", 100000)}},
        {deep, {repeated("<a x='1' y='2'>", 1000), "<a" + numbered(" a", "=''", 100000) + "/>"}},
        {names,
         {"<a>" + numbered("<b", "/>", 1200) + "</a>", "<a>" + numbered("<b x='' c", "=''/>", 1200) + "</a>",
          "<a>" + numbered("<b xmlns='urn:", "'/>", 1200) + "</a>",
          "<a>" + numbered("<b xmlns:p", "='urn:p'/>", 1200) + "</a>"}},
        // Unusual, but harmless.
        {"[xyz<w>]", {"<a>x<!-- no --><b>y<c>z</c></b><?no no?><![CDATA[<w>]]></a>"}},
        {'[' + std::string(1000, '&') + ']', {"<a>" + repeated("&amp;", 1000) + "</a>"}},
        {"[]", {"<a><i:include xmlns:i='http://www.w3.org/2001/XInclude' href='file:///etc/passwd'/></a>"}},
        {"[t]", {"<a xmlns:x='http://www.w3.org/2001/XMLSchema-instance' x:schemaLocation='a file:///no'>t</a>"}},
        {'[' + std::string(2000, '1') + ']', {"<a>" + repeated("<b x=''>1</b>", 2000) + "</a>"}},
        {"[deep]", {repeated("<a>", 1000) + "deep" + repeated("</a>", 1000)}},
        {kSmile,
         {"\xFF\xFE"s + wide("<?xml version='1.0'?><a>") + "\xE4\0=\xD8\0\xDE"s + wide("</a>"),
          "<?xml version='1.0' encoding='UTF-16'?><a>\xC3\xA4\xF0\x9F\x98\x80</a>",
          "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><a>\xC3\xA4\xF0\x9F\x98\x80</a>",
          "\xFF\xFE<\0a\0>\0\xE4\0=\xD8\0\xDE<\0/\0a\0>\0"s, "\xFE\xFF\0<\0a\0>\0\xE4\xD8=\xDE\0\0<\0/\0a\0>"s}},
    };
    for (const auto& [expected, documents] : cases) {
        for (const std::string& xml : documents) {
            EXPECT_PRED_FORMAT2(testing::IsSubstring, expected, outcome(xml)) << xml.substr(0, 80);
        }
    }
}

TEST_F(XercesTest, CountsNodesOfAllKinds) {
    constexpr std::size_t kLength = 100;
    parser.reset(new XercesParser(kLength * Limits::kDomBytesPerUnit + 8 * Limits::kDomBytesPerNode));
    const auto ofLength = [&](std::string xml) { return xml + std::string(kLength - xml.size(), ' '); };
    for (const std::string two : {"<?p?><b/>", "<b x=''/>", "x<b/>", "<b/><![CDATA[x]]>"}) {
        EXPECT_EQ(outcome(ofLength("<a>" + repeated(two, 3) + "<?last?></a>")).front(), '[') << two;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "more than 0 MB of memory",
                            outcome(ofLength("<a>" + repeated(two, 4) + "</a>")));
    }
    parser.reset(XercesHelper::createParser());
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "more than 240 MB of memory", outcome("<a>" + repeated("<b/>", 1 << 20)));
}

TEST_F(XercesTest, ReadsTextWhateverEncodingItDeclares) {
    for (const std::u16string encoding : {u"UTF-8", u"UTF-16BE", u"ISO-8859-1", u"no-such"}) {
        const std::u16string xml = u"<?xml version='1.0' encoding='" + encoding + u"'?><a>\u00E4\U0001F600</a>";
        EXPECT_EQ(outcome(xml), kSmile);
        EXPECT_EQ(outcome(u'\uFEFF' + xml), kSmile);
    }
    for (const auto& xml : {u"<a>\xD83D</a>"s, u"<a b='\xDE00'/>"s, u"<a><?p \xD83D?></a>"s}) {
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "half a surrogate pair", outcome(xml));
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "a NUL", outcome(u"<?xml version='1.0'\0?><a/>"s));
    for (const std::string marks : {"\xEF\xBB\xBF\xEF\xBB\xBF", "\xEF\xBF\xBE"}) {
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "not well-formed", outcome(marks + "<a/>"));
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "not well-formed", outcome(fl::i18n::to_ustring(marks + "<a/>")));
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "the XML document \"/a b\" is not", outcome(u"<"s, u"", u"/a b"));
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "the XML document \"p\" is not", outcome(u"<"s, u"p", u""));
}

TEST_F(XercesTest, AdoptedDocumentsOutliveTheirParser) {
    const DocumentPtr document(XercesHelper::readDocumentFromString(parser.get(), u"<a>1</a>", true, u"", u""));
    EXPECT_EQ(outcome(u"<a>2</a>"s), "[2]");
    parser.reset();
    EXPECT_EQ(XercesHelper::getTextContent(document->getDocumentElement()), u"1");
}

// XML 1.1 permits other characters, names and ends of lines.
TEST_F(XercesTest, TheVersionOfADocumentIsItsOwn) {
    const std::string later = "<?xml version='1.1'?>", control = "<a>&#1;</a>", text = "<a>\xC2\x85</a>";
    const std::string name = "<a\xE2\xB0\x80/>", before = outcome(name);
    EXPECT_EQ(outcome(later + text), "[\n]");
    for (const bool isNew : {false, true}) {
        EXPECT_EQ(outcome(later + control), "[\x01]");
        EXPECT_EQ(outcome(text), "[\xC2\x85]");
        EXPECT_EQ(outcome(later + control), "[\x01]");
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "not well-formed", outcome(control));
        EXPECT_EQ(outcome(name), before);
        parser.reset(isNew ? parser.release() : XercesHelper::createParser());
    }
    for (const std::string malformed :
         {"<a", "<a>\x01</a>", "<a><b></a>", "<1/>", "<a \xE2\xB0\x80:b=''/>", "<:a/>", "<a:b/>", "<?a:b?><a/>",
          "<a:b:c xmlns:a='urn:a'/>", "<a b:='' xmlns:b='urn:b'/>", "<a\xCD\xBE/>", "<a xmlns:b='' b:c=''/>"}) {
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "the XML document is ", outcome(later + malformed)) << malformed;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, " at line 1, column ", outcome(later + malformed)) << malformed;
    }
}

TEST_F(XercesTest, TakesOnlyParsersAndWritersOfItsOwn) {
    const std::vector<unsigned char> bytes;
    ByteArrayInAdaptor in(bytes);
    std::vector<unsigned char> written;
    ByteArrayOutAdaptor out(written);
    const DocumentPtr document(XercesHelper::createDocument());
    auto* const implementation = xercesc::DOMImplementation::getImplementation();
    const XercesPtr<xercesc::DOMLSParser> foreign(
        implementation->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr));
    for (xercesc::DOMLSParser* const other : {foreign.get(), static_cast<xercesc::DOMLSParser*>(nullptr)}) {
        tests::expectFailure(ErrorKind::Misuse, {"not made by XercesHelper"},
                             [&] { XercesHelper::readDocumentFromString(other, u"<a/>", false, u"", u""); });
        tests::expectFailure(ErrorKind::Misuse, {"not made by XercesHelper"},
                             [&] { XercesHelper::readDocumentFromStream(other, in, false, u"", u""); });
    }
    tests::expectFailure(ErrorKind::Misuse, {"not made by XercesHelper"},
                         [&] { XercesHelper::writeDocumentToStream(nullptr, document.get(), out); });
}

TEST_F(XercesTest, WhatIsSetInAParserWeakensNeitherItsErrorsNorLaterParsers) {
    for (const XMLCh* const name : {XMLUni::fgDOMDisallowDoctype, XMLUni::fgDOMNamespaces}) {
        parser->getDomConfig()->setParameter(name, false);
        EXPECT_THROW(read(u"<a><b>"s), InvalidXMLDocument);
        parser.reset();
        parser.reset(XercesHelper::createParser());
        EXPECT_THROW(read(u"<!DOCTYPE a><a/>"s), InvalidXMLDocument);
        EXPECT_EQ(read(u"<a xmlns='urn:w'>1</a>"s)->getNamespaceURI(), kNamespace);
    }
    parser->getDomConfig()->setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
    EXPECT_THROW(read(u"<a><b>"s), InvalidXMLDocument);
}

TEST_F(XercesTest, FindsWhatIsInNoNamespaceAndLeavesTheValueOfWhatIsNotThere) {
    const auto* const root = read(u"<r xmlns:w='urn:w'><w:p/><p w:v='1' v=''/><x><p/></x></r>"s);
    auto* const found = XercesHelper::getElementNS(root, u"", u"p");
    EXPECT_EQ(XercesHelper::getElementsNS(root, u"", u"p"), (std::vector<xercesc::DOMElement*>{found}));
    std::u16string value = u"before";
    EXPECT_FALSE(XercesHelper::getElementAttributeNS(found, u"urn:v", u"v", value));
    EXPECT_EQ(value, u"before");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(found, u"", u"v", value));
    EXPECT_EQ(value, u"");
}

class XercesWriterTest : public XercesTest {
protected:
    static DocumentPtr makeDocument(const std::u16string& cdata, const std::u16string& text = u"",
                                    const std::u16string& attribute = u"") {
        DocumentPtr document(XercesHelper::createDocument());
        auto* const root = XercesHelper::appendElementNS(document.get(), kNamespace, XercesString(u"w:r"));
        XercesHelper::setElementAttributeNS(root, kNamespace, XercesString(u"w:v"), attribute);
        root->appendChild(document->createCDATASection(cdata.c_str()));
        root->appendChild(document->createTextNode(text.c_str()));
        return document;
    }

    template <class Document>
    std::string written(const Document& document) {
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor out(bytes);
        XercesHelper::writeDocumentToStream(writer_.get(), &*document, out);
        return tests::toText(bytes);
    }

    XercesPtr<xercesc::DOMLSSerializer> writer_{XercesHelper::createWriter()};
    const std::string sound_ = written(makeDocument(u"sound"));
};

TEST_F(XercesWriterTest, WritesWhatReadsBackTheSame) {
    EXPECT_EQ(written(makeDocument(u"a]]>\u00E4\n", u"<", u"\"&")),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><w:r xmlns:w=\"urn:w\" "
              "w:v=\"&quot;&amp;\"><![CDATA[a]]]]><![CDATA[>\xC3\xA4\n]]>&lt;</w:r>");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "UTF-8\" standalone=\"no\" ?><a>\xC3\xA4</a>",
                        written(read("\xFF\xFE<\0a\0>\0\xE4\0<\0/\0a\0>\0"s)->getOwnerDocument()));
    std::vector<std::u16string> texts = {u"a]]>b]]>", u"]]]]>", u"]]", u"]]>]]>]]>", u"<![CDATA[x]]>", u" &amp;<>\t\n"};
    // Around the sizes in which the text may be handled on its way.
    for (const std::size_t size : {4096U, 16384U, 65536U}) {
        for (std::size_t before = size - 4; before <= size + 1; ++before) {
            texts.push_back(std::u16string(before, u'x') + u"]]>\U0001F600end");
        }
    }
    for (const std::u16string& text : texts) {
        const std::u16string start = text.substr(0, 100);
        const auto* const root = read(written(makeDocument(text, start)));
        ASSERT_TRUE(XercesHelper::getTextContent(root) == text + start) << text.size() << " units";
    }
}

TEST_F(XercesWriterTest, RefusesWhatXmlCannotHoldAndStaysUsable) {
    std::vector<DocumentPtr> unwritable;
    for (const std::u16string text : {u"a\xD83D", u"\xDE00", u"\x01", u"\uFFFE"}) {
        unwritable.push_back(makeDocument(text));
        unwritable.push_back(makeDocument(u"", text));
        unwritable.push_back(makeDocument(u"", u"", text));
    }
    unwritable.push_back(makeDocument(u""));
    auto* element = unwritable.back()->getDocumentElement();
    for (int i = 0; i < 100000; ++i) {
        element = XercesHelper::appendElementNS(element, kNamespace, XercesString(u"w:t"));
    }
    EXPECT_THROW(XercesHelper::appendElementNS(element, kNamespace, XercesString(u"1")), Exception);
    for (const DocumentPtr& each : unwritable) {
        SCOPED_TRACE(&each - unwritable.data());
        tests::expectFailure(ErrorKind::Misuse, {""}, [&] { written(each); });
        EXPECT_EQ(written(makeDocument(u"sound")), sound_);
    }
}

TEST_F(XercesWriterTest, FailuresOfTheStreamPassThrough) {
    struct FullStream : OutputStream {
        void write(const void*, std::size_t) override { throw std::domain_error("full"); }
    } out;
    const std::u16string text(500000, u'x');
    for (const auto& document : {makeDocument(text), makeDocument(u"", text)}) {
        EXPECT_THROW(XercesHelper::writeDocumentToStream(writer_.get(), document.get(), out), std::domain_error);
        EXPECT_EQ(written(makeDocument(u"sound")), sound_);
    }
}

}  // namespace
}  // namespace opc::model
