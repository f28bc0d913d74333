#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/XercesGuard.hpp"
#include "opc/model/XercesHelper.hpp"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <xercesc/util/XMLUni.hpp>

namespace {

using opc::model::InvalidXMLDocument;
using opc::model::XercesGuard;
using opc::model::XercesHelper;
using opc::model::XercesString;
using Strings = std::vector<std::string>;

struct Releaser {
    template <class Owned>
    void operator()(Owned* owned) const {
        owned->release();
    }
};
using ParserPtr = std::unique_ptr<xercesc::DOMLSParser, Releaser>;
using WriterPtr = std::unique_ptr<xercesc::DOMLSSerializer, Releaser>;
using DocumentPtr = std::unique_ptr<xercesc::DOMDocument, Releaser>;

const std::u16string kNamespace = u"urn:w";

std::u16string wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::vector<unsigned char> utf16(const std::u16string& text, bool isBigEndian) {
    std::vector<unsigned char> bytes;
    for (const char16_t unit : u'\uFEFF' + text) {
        const auto high = static_cast<unsigned char>(unit >> 8);
        const auto low = static_cast<unsigned char>(unit & 0xFF);
        bytes.insert(bytes.end(), {isBigEndian ? high : low, isBigEndian ? low : high});
    }
    return bytes;
}

class XercesTest : public testing::Test {
protected:
    std::u16string textOf(const std::u16string& xml) {
        return XercesHelper::getTextContent(
            XercesHelper::readDocumentFromString(parser_.get(), xml, false, u"", u"")->getDocumentElement());
    }

    std::u16string textOf(const std::vector<unsigned char>& bytes) {
        opc::ByteArrayInAdaptor in(bytes);
        return XercesHelper::getTextContent(
            XercesHelper::readDocumentFromStream(parser_.get(), in, false, u"", u"")->getDocumentElement());
    }

    std::u16string textOf(const std::string& bytes) {
        return textOf(std::vector<unsigned char>(bytes.begin(), bytes.end()));
    }

    /// What reading complains of; empty when it does not.
    template <class Xml>
    std::string complaint(const Xml& xml) {
        try {
            textOf(xml);
            return "";
        } catch (const InvalidXMLDocument& error) {
            EXPECT_EQ(error.kind(), opc::ErrorKind::Damaged);
            return error.what();
        }
    }

    XercesGuard guard_;
    ParserPtr parser_{XercesHelper::createParser()};
};

TEST_F(XercesTest, RefusesHostileAndMalformedDocuments) {
    const std::string laughs = "<!DOCTYPE a [<!ENTITY b 'ha'><!ENTITY c '&b;&b;&b;'>]><a>&c;</a>";
    struct Case {
        std::string xml;
        std::string finding;
    };
    const Case cases[] = {
        {"<!DOCTYPE a><a/>", "line 1, column 10: invalid document structure (a document type declaration"},
        {"<?xml version='1.0'?>\n<!DOCTYPE a [<!ELEMENT a ANY>]><a/>", "line 2, column 10: "},
        {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>", "document type declaration"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>", "document type declaration"},
        {laughs, "document type declaration"},
        {"<a/><!DOCTYPE a>", "not well-formed"},
        {"<a>&undefined;</a>", "line 1, column 15: entity 'undefined' not found"},
        {"<a><b></a>", "line 1, column 9: expected end of tag 'b'"},
        {"<a>\n <b", "line 2, column 4"},
        {"<a><![CDATA[open", "not well-formed"},
        {"<a/><b/>", "not well-formed"},
        {"<a/>text", "not well-formed"},
        {std::string("<a/>\0<b/>", 9), "NUL"},
        {std::string("<a>\0</a>", 8), "not well-formed"},
        {"text", "invalid document structure"},
        {"", "not well-formed"},
        {"<a x='1' x='2'/>", "not well-formed"},
        {"<a b:x='1'/>", "not well-formed"},
        {"<b:a/>", "not well-formed"},
        {"<a>\x01</a>", "not well-formed"},
        {"<a>&#0;</a>", "not well-formed"},
        {"<a>]]></a>", "not well-formed"},
        {"<a>\xC3</a>", "not well-formed"},
        {"<a>\xC0\xAF</a>", "not well-formed"},
        {"<a>\xED\xA0\x80</a>", "not well-formed"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>", "its encoding is ISO-8859-1"},
        {"<?xml version='1.0' encoding='IBM037'?><a/>", "encoding"},
        {"<?xml version='1.0' encoding='no-such'?><a/>", "not well-formed"},
        {repeated("<a>", 100000) + repeated("</a>", 100000), "refused at line 1, column 3076: more than 1024"},
        {repeated("<a>", 100000), "more than 1024"},
        {repeated("<a x='1' y='2'>", 1000), "more than 1024"},
    };
    for (const Case& each : cases) {
        const std::string found = complaint(each.xml);
        EXPECT_NE(found.find(each.finding), std::string::npos) << each.xml.substr(0, 80) << "\n  -> " << found;
        EXPECT_EQ(found.find("the XML document is "), 0U) << found;
    }
}

TEST_F(XercesTest, RefusesVeryManyAttributesInLinearTime) {
    std::string xml = "<a";
    for (int i = 0; i < 100000; ++i) {
        xml += " a" + std::to_string(i) + "=''";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(complaint(xml + "/>").find("more than 1024"), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST_F(XercesTest, ReadsTheUnusualButHarmless) {
    const std::string attributes = "<a xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
                                   "xsi:schemaLocation='urn:x file:///nonexistent.xsd'>t</a>";
    struct Case {
        std::string xml;
        std::u16string text;
    };
    const Case cases[] = {
        {"<a>x<!-- no --><b>y<c>z</c></b><?no no?><![CDATA[<w>]]></a>", u"xyz<w>"},
        {"<a>" + repeated("&amp;&#x41;", 1000) + "</a>", wide(repeated("&A", 1000))},
        {"<a><xi:include xmlns:xi='http://www.w3.org/2001/XInclude' href='file:///etc/passwd'/></a>", u""},
        {attributes, u"t"},
        {"<a>" + repeated("<b>1</b>", 2000) + "</a>", wide(repeated("1", 2000))},
        {repeated("<a>", 1000) + "deep" + repeated("</a>", 1000), u"deep"},
        {"<?xml version='1.0' encoding='UTF-16'?><a>\xC3\xA4</a>", u"\u00E4"},
        {"<a>1\r\n2\r3</a>", u"1\n2\n3"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8' standalone='yes'?><a>\xC3\xA4\xF0\x9F\x98\x80</a>",
         u"\u00E4\U0001F600"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(textOf(each.xml), each.text) << each.xml.substr(0, 80);
    }
}

TEST_F(XercesTest, ReadsStringsWhateverEncodingTheyDeclare) {
    for (const std::string encoding : {"UTF-8", "UTF-16", "UTF-16BE", "ISO-8859-1", "no-such", "utf-8"}) {
        const std::u16string xml =
            wide("<?xml version='1.0' encoding='" + encoding + "' standalone='no'?><a>") + u"\u00E4\U0001F600</a>";
        EXPECT_EQ(textOf(xml), u"\u00E4\U0001F600") << encoding;
        EXPECT_EQ(textOf(u'\uFEFF' + xml), u"\u00E4\U0001F600") << encoding;
    }
    const std::u16string halves[] = {u"<a>\xD83D</a>", u"<a>\xDE00</a>", u"<a>\xD83D\xD83D</a>"};
    for (const std::u16string& xml : halves) {
        EXPECT_NE(complaint(xml), "");
    }
}

TEST_F(XercesTest, DetectsUtf16InStreams) {
    const std::u16string text = u"\u00E4\U0001F600";
    for (const bool isBigEndian : {false, true}) {
        for (const std::u16string declaration : {u"", u"<?xml version='1.0' encoding='UTF-16'?>"}) {
            EXPECT_EQ(textOf(utf16(declaration + u"<a>" + text + u"</a>", isBigEndian)), text);
        }
    }
}

TEST_F(XercesTest, NamesTheDocumentInMessages) {
    const auto read = [&](const std::u16string& publicId, const std::u16string& systemId) -> std::string {
        try {
            XercesHelper::readDocumentFromString(parser_.get(), u"<", false, publicId, systemId);
        } catch (const InvalidXMLDocument& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(read(u"", u"/a b.xml").find("the XML document \"/a b.xml\" is not well-formed at line 1, "), 0U);
    EXPECT_EQ(read(u"p", u"").find("the XML document \"p\" is not well-formed at line 1, "), 0U);
}

TEST_F(XercesTest, AdoptedDocumentsOutliveTheirParser) {
    const DocumentPtr document(XercesHelper::readDocumentFromString(parser_.get(), u"<a>1</a>", true, u"", u""));
    EXPECT_EQ(textOf(u"<a>2</a>"), u"2");
    parser_.reset();
    EXPECT_EQ(XercesHelper::getTextContent(document->getDocumentElement()), u"1");
}

TEST_F(XercesTest, ReleasedParsersAreAsNew) {
    const auto setUpDifferently = [&](const std::function<void(xercesc::DOMConfiguration&)>& change) {
        const ParserPtr parser(XercesHelper::createParser());
        change(*parser->getDomConfig());
        EXPECT_THROW(XercesHelper::readDocumentFromString(parser.get(), u"<!DOCTYPE a><a><b>", false, u"", u""),
                     InvalidXMLDocument);
    };
    using xercesc::DOMConfiguration;
    using xercesc::XMLUni;
    setUpDifferently([](DOMConfiguration&) {});
    setUpDifferently([](DOMConfiguration& config) { config.setParameter(XMLUni::fgDOMDisallowDoctype, false); });
    setUpDifferently([](DOMConfiguration& config) { config.setParameter(XMLUni::fgDOMNamespaces, false); });
    setUpDifferently([](DOMConfiguration& config) {
        config.setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
    });
    for (int i = 0; i < 3; ++i) {
        parser_.reset(XercesHelper::createParser());
        parser_->getDomConfig()->setParameter(XMLUni::fgDOMNamespaces, true);
        EXPECT_NE(complaint(u"<!DOCTYPE a><a/>"), "");
        const auto* const document =
            XercesHelper::readDocumentFromString(parser_.get(), u"<a xmlns='urn:w'>1</a>", false, u"", u"");
        EXPECT_EQ(document->getDocumentElement()->getNamespaceURI(), kNamespace);
        EXPECT_NE(complaint(u"<a><b>"), "");
    }
}

TEST_F(XercesTest, ParsersWorkOnSeveralThreads) {
    const auto work = [] {
        for (int i = 0; i < 300; ++i) {
            const XercesGuard guard;
            const ParserPtr parser(XercesHelper::createParser());
            const std::u16string number = wide(std::to_string(i));
            const auto* const document =
                XercesHelper::readDocumentFromString(parser.get(), u"<a>" + number + u"</a>", false, u"", u"");
            ASSERT_EQ(XercesHelper::getTextContent(document->getDocumentElement()), number);
            ASSERT_THROW(XercesHelper::readDocumentFromString(parser.get(), u"<a", false, u"", u""),
                         InvalidXMLDocument);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(work);
    }
    for (std::thread& each : threads) {
        each.join();
    }
}

TEST_F(XercesTest, FindsElementsAndAttributesByNamespace) {
    const auto* const document = XercesHelper::readDocumentFromString(
        parser_.get(), u"<r xmlns:w='urn:w'><p/><w:p w:v='1' v='2'/><x><w:p/></x><w:p v=''/></r>", false, u"", u"");
    const auto* const root = document->getDocumentElement();
    auto* const first = XercesHelper::getElementNS(root, kNamespace, u"p");
    EXPECT_EQ(XercesHelper::getElementsNS(root, kNamespace, u"p"),
              (std::vector<xercesc::DOMElement*>{first, root->getLastElementChild()}));
    EXPECT_EQ(XercesHelper::getElementNS(root, u"", u"p"), root->getFirstElementChild());
    EXPECT_EQ(XercesHelper::getElementNS(root, kNamespace, u"v"), nullptr);
    std::u16string value = u"before";
    EXPECT_FALSE(XercesHelper::getElementAttributeNS(first, u"urn:v", u"v", value));
    EXPECT_EQ(value, u"before");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(first, kNamespace, u"v", value));
    EXPECT_EQ(value, u"1");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(root->getLastElementChild(), u"", u"v", value));
    EXPECT_EQ(value, u"");
}

/// Refuses whatever it is given once it has taken some bytes.
class FullStream final : public opc::OutputStream {
public:
    void write(const void* /*from*/, std::size_t count) override {
        taken_ += count;
        if (taken_ > 100000) {
            throw std::domain_error("full");
        }
    }

private:
    std::size_t taken_ = 0;
};

class XercesWriterTest : public XercesTest {
protected:
    DocumentPtr makeDocument(const std::u16string& cdata, const std::u16string& text = u"",
                             const std::u16string& attribute = u"") {
        DocumentPtr document(XercesHelper::createDocument());
        auto* const root = XercesHelper::appendElementNS(document.get(), kNamespace, XercesString(u"w:r"));
        auto* const child = XercesHelper::appendElementNS(root, kNamespace, XercesString(u"w:t"));
        XercesHelper::setElementAttributeNS(child, kNamespace, XercesString(u"w:v"), attribute);
        child->appendChild(document->createCDATASection(cdata.c_str()));
        child->appendChild(document->createTextNode(text.c_str()));
        return document;
    }

    std::string written(const DocumentPtr& document) {
        std::vector<unsigned char> bytes;
        opc::ByteArrayOutAdaptor out(bytes);
        XercesHelper::writeDocumentToStream(writer_.get(), document.get(), out);
        return {bytes.begin(), bytes.end()};
    }

    WriterPtr writer_{XercesHelper::createWriter()};
};

TEST_F(XercesWriterTest, WritesPlainUtf8) {
    EXPECT_EQ(written(makeDocument(u"a]]>\u00E4\n", u"<", u"\"&")),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><w:r xmlns:w=\"urn:w\">"
              "<w:t w:v=\"&quot;&amp;\"><![CDATA[a]]]]><![CDATA[>\xC3\xA4\n]]>&lt;</w:t></w:r>");
}

TEST_F(XercesWriterTest, CdataComesBackAsWritten) {
    std::vector<std::u16string> texts = {
        u"]]>", u"a]]>b]]>", u"]]]]>", u"]]", u">", u"]]>]]>]]>", u"<![CDATA[x]]>", u" &amp;<>\t\n", u"\u00E4\u4E2D",
    };
    // Around the sizes in which the text may be handled on its way.
    for (const std::size_t size : {4096U, 16384U, 65536U, 1048576U}) {
        for (std::size_t before = size - 4; before <= size + 1; ++before) {
            texts.push_back(std::u16string(before, u'x') + u"]]>\U0001F600end");
        }
    }
    texts.push_back(wide(repeated("]]>", 20000)));
    for (const std::u16string& text : texts) {
        ASSERT_TRUE(textOf(written(makeDocument(text, text.substr(0, 100)))) == text + text.substr(0, 100))
            << text.size() << " units";
    }
}

TEST_F(XercesWriterTest, RefusesWhatXmlCannotHoldAndStaysUsable) {
    const std::u16string units[] = {u"a\xD83D", u"\xDE00", u"\xD83D\xD83D", u"\x01", u"\uFFFE"};
    const std::string expected = written(makeDocument(u"fine"));
    const auto expectMisuse = [&](const DocumentPtr& document) {
        try {
            written(document);
            ADD_FAILURE() << "written";
        } catch (const opc::Exception& error) {
            EXPECT_EQ(error.kind(), opc::ErrorKind::Misuse) << error.what();
        }
        EXPECT_EQ(written(makeDocument(u"fine")), expected);
    };
    for (const std::u16string& text : units) {
        expectMisuse(makeDocument(text));
        expectMisuse(makeDocument(u"", text));
        expectMisuse(makeDocument(u"", u"", text));
    }
    DocumentPtr deep(XercesHelper::createDocument());
    auto* element = XercesHelper::appendElementNS(deep.get(), kNamespace, XercesString(u"w:r"));
    for (int i = 0; i < 100000; ++i) {
        element = XercesHelper::appendElementNS(element, kNamespace, XercesString(u"w:t"));
    }
    expectMisuse(deep);
    EXPECT_THROW(XercesHelper::appendElementNS(element, kNamespace, XercesString(u"1")), opc::Exception);
}

TEST_F(XercesWriterTest, FailuresOfTheStreamPassThrough) {
    const std::u16string text(500000, u'x');
    for (const auto& document : {makeDocument(text), makeDocument(u"", text)}) {
        FullStream out;
        EXPECT_THROW(XercesHelper::writeDocumentToStream(writer_.get(), document.get(), out), std::domain_error);
        EXPECT_NE(written(makeDocument(u"")).find("xmlns:w"), std::string::npos);
    }
}

}  // namespace
