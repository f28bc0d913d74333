#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/XercesGuard.hpp"
#include "opc/model/XercesHelper.hpp"

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <xercesc/util/XMLUni.hpp>

namespace {

using opc::model::InvalidXMLDocument;
using opc::model::XercesGuard;
using opc::model::XercesHelper;
using opc::model::XercesString;

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

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string utf16(const std::u16string& text, bool isBigEndian) {
    std::string bytes;
    for (const char16_t unit : u'\uFEFF' + text) {
        const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        bytes.append({isBigEndian ? high : low, isBigEndian ? low : high});
    }
    return bytes;
}

class XercesTest : public testing::Test {
protected:
    const xercesc::DOMElement* read(const std::u16string& xml, const std::u16string& publicId = u"",
                                    const std::u16string& systemId = u"") {
        return XercesHelper::readDocumentFromString(parser_.get(), xml, false, publicId, systemId)
            ->getDocumentElement();
    }

    const xercesc::DOMElement* read(const std::string& xml) {
        const std::vector<unsigned char> bytes(xml.begin(), xml.end());
        opc::ByteArrayInAdaptor in(bytes);
        return XercesHelper::readDocumentFromStream(parser_.get(), in, false, u"", u"")->getDocumentElement();
    }

    template <class... Xml>
    std::u16string textOf(const Xml&... xml) {
        return XercesHelper::getTextContent(read(xml...));
    }

    /// What reading complains of; empty when it does not.
    template <class... Xml>
    std::string complaint(const Xml&... xml) {
        try {
            read(xml...);
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
    const std::pair<std::string, const char*> cases[] = {
        {"<!DOCTYPE a><a/>", "line 1, column 10: invalid document structure (a document type declaration"},
        {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>", "document type declaration"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>", "document type declaration"},
        {"<!DOCTYPE a [<!ENTITY b 'ha'><!ENTITY c '&b;&b;&b;'>]><a>&c;</a>", "document type declaration"},
        {"<a>&undefined;</a>", "line 1, column 15: entity 'undefined' not found"},
        {"<a>\n<b></a>", "line 2, column 6: expected end of tag 'b'"},
        {"<?xml version='1.0UTF-16'?><a/>", "version"},
        {"<a><![CDATA[open", "not well-formed"},
        {"<a/><b/>", "not well-formed"},
        {std::string("<a/>\0<b/>", 9), "NUL"},
        {"", "not well-formed"},
        {"<a x='1' x='2'/>", "not well-formed"},
        {"<a b:x='1'/>", "not well-formed"},
        {"<a>\x01</a>", "not well-formed"},
        {"<a>\xC0\xAF</a>", "not well-formed"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>", "its encoding is ISO-8859-1"},
        {"<?xml version='1.0' encoding='no-such'?><a/>", "not well-formed"},
        {repeated("<a>", 100000) + repeated("</a>", 100000), "refused at line 1, column 3076: more than 1024"},
        {repeated("<a x='1' y='2'>", 1000), "more than 1024"},
    };
    for (const auto& [xml, finding] : cases) {
        const std::string found = complaint(xml);
        EXPECT_NE(found.find(finding), std::string::npos) << xml.substr(0, 80) << "\n  -> " << found;
        EXPECT_EQ(found.find("the XML document is "), 0U) << found;
    }
    EXPECT_EQ(complaint(std::u16string(u"<"), u"", u"/a b").find("the XML document \"/a b\" is not well-formed"), 0U);
    EXPECT_EQ(complaint(std::u16string(u"<"), u"p", u"").find("the XML document \"p\" is not well-formed"), 0U);
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
    const std::string schema =
        "xmlns:x='http://www.w3.org/2001/XMLSchema-instance' x:schemaLocation='urn:x file:///no'";
    const std::pair<std::string, std::u16string> cases[] = {
        {"<a>x<!-- no --><b>y<c>z</c></b><?no no?><![CDATA[<w>]]></a>", u"xyz<w>"},
        {"<a>" + repeated("&amp;", 1000) + "</a>", std::u16string(1000, u'&')},
        {"<a><i:include xmlns:i='http://www.w3.org/2001/XInclude' href='file:///etc/passwd'/></a>", u""},
        {"<a " + schema + ">t</a>", u"t"},
        {"<a>" + repeated("<b x=''>1</b>", 2000) + "</a>", std::u16string(2000, u'1')},
        {repeated("<a>", 1000) + "deep" + repeated("</a>", 1000), u"deep"},
        {"<?xml version='1.0' encoding='UTF-16'?><a>\xC3\xA4</a>", u"\u00E4"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><a>\xC3\xA4\xF0\x9F\x98\x80</a>", u"\u00E4\U0001F600"},
        {utf16(u"<a>\u00E4\U0001F600</a>", false), u"\u00E4\U0001F600"},
        {utf16(u"<?xml version='1.0' encoding='UTF-16'?><a>\u00E4</a>", true), u"\u00E4"},
    };
    for (const auto& [xml, text] : cases) {
        EXPECT_EQ(textOf(xml), text) << xml.substr(0, 80);
    }
    // Of text that is decoded already, no declared encoding counts.
    for (const std::u16string encoding : {u"UTF-8", u"UTF-16BE", u"ISO-8859-1", u"no-such"}) {
        const std::u16string xml = u"<?xml version='1.0' encoding='" + encoding + u"'?><a>\u00E4\U0001F600</a>";
        EXPECT_EQ(textOf(xml), u"\u00E4\U0001F600");
        EXPECT_EQ(textOf(u'\uFEFF' + xml), u"\u00E4\U0001F600");
    }
    EXPECT_NE(complaint(std::u16string(u"<a>\xD83D</a>")), "");
}

TEST_F(XercesTest, AdoptedDocumentsOutliveTheirParser) {
    const DocumentPtr document(XercesHelper::readDocumentFromString(parser_.get(), u"<a>1</a>", true, u"", u""));
    EXPECT_EQ(textOf(std::u16string(u"<a>2</a>")), u"2");
    parser_.reset();
    EXPECT_EQ(XercesHelper::getTextContent(document->getDocumentElement()), u"1");
}

TEST_F(XercesTest, ReleasedParsersAreAsNew) {
    using xercesc::XMLUni;
    for (const XMLCh* const changed : {XMLUni::fgDOMDisallowDoctype, XMLUni::fgDOMNamespaces}) {
        parser_.reset(XercesHelper::createParser());
        parser_->getDomConfig()->setParameter(changed, false);
        EXPECT_NE(complaint(std::u16string(u"<!DOCTYPE a><a><b>")), "");
    }
    parser_.reset(XercesHelper::createParser());
    parser_->getDomConfig()->setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
    EXPECT_NE(complaint(std::u16string(u"<a><b>")), "");
    for (int i = 0; i < 3; ++i) {
        parser_.reset(XercesHelper::createParser());
        parser_->getDomConfig()->setParameter(XMLUni::fgDOMNamespaces, true);
        EXPECT_NE(complaint(std::u16string(u"<!DOCTYPE a><a/>")), "");
        EXPECT_EQ(read(std::u16string(u"<a xmlns='urn:w'>1</a>"))->getNamespaceURI(), kNamespace);
    }
}

TEST_F(XercesTest, ParsersWorkOnSeveralThreads) {
    const auto work = [] {
        for (int i = 0; i < 300; ++i) {
            const XercesGuard guard;
            const ParserPtr parser(XercesHelper::createParser());
            const auto read = [&](const std::u16string& xml) {
                return XercesHelper::readDocumentFromString(parser.get(), xml, false, u"", u"")->getDocumentElement();
            };
            const std::u16string text(static_cast<std::size_t>(i), u'x');
            ASSERT_EQ(XercesHelper::getTextContent(read(u"<a>" + text + u"</a>")), text);
            ASSERT_THROW(read(u"<a"), InvalidXMLDocument);
        }
    };
    std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work), std::thread(work)};
    for (std::thread& each : threads) {
        each.join();
    }
}

TEST_F(XercesTest, FindsElementsAndAttributesByNamespace) {
    const std::u16string xml = u"<r xmlns:w='urn:w'><p/><w:p w:v='1' v='2'/><x><w:p/></x><w:p v=''/></r>";
    const auto* const root = read(xml);
    auto* const first = XercesHelper::getElementNS(root, kNamespace, u"p");
    auto* const last = root->getLastElementChild();
    EXPECT_EQ(XercesHelper::getElementsNS(root, kNamespace, u"p"), (std::vector<xercesc::DOMElement*>{first, last}));
    EXPECT_EQ(XercesHelper::getElementNS(root, u"", u"p"), root->getFirstElementChild());
    EXPECT_EQ(XercesHelper::getElementNS(root, kNamespace, u"v"), nullptr);
    std::u16string value = u"before";
    EXPECT_FALSE(XercesHelper::getElementAttributeNS(first, u"urn:v", u"v", value));
    EXPECT_EQ(value, u"before");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(first, kNamespace, u"v", value));
    EXPECT_EQ(value, u"1");
    EXPECT_TRUE(XercesHelper::getElementAttributeNS(last, u"", u"v", value));
    EXPECT_EQ(value, u"");
}

/// Refuses whatever it is given once it has taken some bytes.
struct FullStream : opc::OutputStream {
    void write(const void* /*from*/, std::size_t count) override {
        taken += count;
        if (taken > 100000) {
            throw std::domain_error("full");
        }
    }
    std::size_t taken = 0;
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
    std::vector<std::u16string> texts = {u"a]]>b]]>", u"]]]]>", u"]]", u"]]>]]>]]>", u"<![CDATA[x]]>", u" &amp;<>\t\n"};
    // Around the sizes in which the text may be handled on its way.
    for (const std::size_t size : {4096U, 16384U, 65536U}) {
        for (std::size_t before = size - 4; before <= size + 1; ++before) {
            texts.push_back(std::u16string(before, u'x') + u"]]>\U0001F600end");
        }
    }
    for (const std::u16string& text : texts) {
        ASSERT_TRUE(textOf(written(makeDocument(text, text.substr(0, 100)))) == text + text.substr(0, 100))
            << text.size() << " units";
    }
}

TEST_F(XercesWriterTest, RefusesWhatXmlCannotHoldAndStaysUsable) {
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
    for (const std::u16string text : {u"a\xD83D", u"\xDE00", u"\x01", u"\uFFFE"}) {
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
