#include "platform/opc/modelTesting.hpp"

namespace opc::model {
namespace {

using testing::expectFailure;

std::string ascii(const std::u16string& text) { return fl::i18n::to_string(text); }

TEST(PartNameTest, Grammar) {
    const struct {
        std::u16string text;
        const char* fault;  // null for a part name
    } cases[] = {
        {u"/a", nullptr},
        {u"/a/b.xml", nullptr},
        {u"/.rels", nullptr},
        {u"/_rels/.rels", nullptr},
        {u"/a..b/!$&'()*+,;=:@-._~", nullptr},
        {u"/%5B1%5D", nullptr},
        {u"/%e4", nullptr},
        {u"", "M1.1"},
        {u"a", "M1.4"},
        {u"/", "M1.5"},
        {u"/a/", "M1.5"},
        {u"//a", "M1.3"},
        {u"/a//b", "M1.3"},
        {u"/a b", "M1.6"},
        {u"/a\\b", "M1.6"},
        {u"/a?b", "M1.6"},
        {u"/a#b", "M1.6"},
        {u"/[Content_Types].xml", "M1.6"},
        {u"/\u00e4", "M1.6"},
        {std::u16string(u"/a\0b", 4), "M1.6"},
        {u"/%", "M1.6"},
        {u"/%4", "M1.6"},
        {u"/%g0", "M1.6"},
        {u"/a%2Fb", "M1.7"},
        {u"/a%5cb", "M1.7"},
        {u"/%41", "M1.8"},
        {u"/%7e", "M1.8"},
        {u"/a./b", "M1.9"},
        {u"/a.", "M1.9"},
        {u"/.", "M1.10"},
        {u"/a/../b", "M1.10"},
        {u"/.../b", "M1.10"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(ascii(each.text));
        EXPECT_EQ(each.fault == nullptr, PartName::isValid(ascii(each.text)));
        if (each.fault != nullptr) {
            expectFailure(ErrorKind::Misuse, {each.fault}, [&] { PartName name(each.text); });
        } else {
            EXPECT_EQ(each.text, PartName(each.text).toString());
        }
    }
}

TEST(PartNameTest, NamesAreEquivalentInAsciiCaseOnly) {
    EXPECT_EQ(PartName(u"/A/b.XML"), PartName(u"/a/B.xml"));
    EXPECT_EQ(PartName(u"/%5B"), PartName(u"/%5b"));
    EXPECT_NE(PartName(u"/a-b"), PartName(u"/a_b"));
}

TEST(PartNameTest, OfUri) {
    const struct {
        std::u16string uri;
        const char* name;  // null when it is refused
    } cases[] = {
        {u"/a/b.xml#frag", "/a/b.xml"},
        {u"/%61%7E", "/a~"},
        {u"/a b", "/a%20b"},
        {u"/\u00e4", "/%C3%A4"},
        {u"/a[1]", "/a%5B1%5D"},
        {u"a.xml", nullptr},
        {u"http://h/a", nullptr},
        {u"//h/a", nullptr},
        {u"/a?q", nullptr},
        {u"#f", nullptr},
        {u"/a/%2e%2e/b", nullptr},
        {u"/a\\b", nullptr},
        {u"/a%2fb", nullptr},
        {u"/a/", nullptr},
        {u"mailto:a@b.c", nullptr},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(ascii(each.uri));
        if (each.name != nullptr) {
            EXPECT_EQ(each.name, PartName(URI(each.uri)).ascii());
        } else {
            expectFailure(ErrorKind::Damaged, {"is no part name"}, [&] { PartName name{URI(each.uri)}; });
        }
    }
}

// RFC 3986, 5.4, and what its examples leave out.
TEST(UriTest, ResolvesReferences) {
    const struct {
        const char16_t* reference;
        const char* resolved;
    } cases[] = {
        {u"g:h", "g:h"},
        {u"g", "http://a/b/c/g"},
        {u"./g", "http://a/b/c/g"},
        {u"g/", "http://a/b/c/g/"},
        {u"/g", "http://a/g"},
        {u"//g", "http://g"},
        {u"?y", "http://a/b/c/d;p?y"},
        {u"g?y", "http://a/b/c/g?y"},
        {u"#s", "http://a/b/c/d;p?q#s"},
        {u"g#s", "http://a/b/c/g#s"},
        {u"g?y#s", "http://a/b/c/g?y#s"},
        {u";x", "http://a/b/c/;x"},
        {u"g;x", "http://a/b/c/g;x"},
        {u"g;x?y#s", "http://a/b/c/g;x?y#s"},
        {u"", "http://a/b/c/d;p?q"},
        {u".", "http://a/b/c/"},
        {u"./", "http://a/b/c/"},
        {u"..", "http://a/b/"},
        {u"../", "http://a/b/"},
        {u"../g", "http://a/b/g"},
        {u"../..", "http://a/"},
        {u"../../", "http://a/"},
        {u"../../g", "http://a/g"},
        {u"../../../g", "http://a/g"},
        {u"../../../../g", "http://a/g"},
        {u"/./g", "http://a/g"},
        {u"/../g", "http://a/g"},
        {u"g.", "http://a/b/c/g."},
        {u".g", "http://a/b/c/.g"},
        {u"g..", "http://a/b/c/g.."},
        {u"..g", "http://a/b/c/..g"},
        {u"./../g", "http://a/b/g"},
        {u"./g/.", "http://a/b/c/g/"},
        {u"g/./h", "http://a/b/c/g/h"},
        {u"g/../h", "http://a/b/c/h"},
        {u"g;x=1/./y", "http://a/b/c/g;x=1/y"},
        {u"g;x=1/../y", "http://a/b/c/y"},
        {u"g?y/./x", "http://a/b/c/g?y/./x"},
        {u"g#s/../x", "http://a/b/c/g#s/../x"},
        {u"http:g", "http:g"},
        {u"http:../g", "http:g"},
        {u"g?", "http://a/b/c/g?"},
        {u"g#", "http://a/b/c/g#"},
    };
    const URI base(u"http://a/b/c/d;p?q");
    for (const auto& each : cases) {
        EXPECT_EQ(each.resolved, ascii(URI(each.reference).resolvedAgainst(base).toString())) << ascii(each.reference);
    }
    EXPECT_EQ("/.//b", ascii(URI(u"a/..//b").resolvedAgainst(URI(u"/")).toString())) << "must not become an authority";
}

TEST(UriTest, EncodesWhatAUriCannotHoldAndRefusesTheRest) {
    EXPECT_EQ("a%20b%C3%A9%F0%9F%98%80%5C%22", ascii(URI(u"a b\u00e9\U0001F600\\\"").toString()));
    EXPECT_EQ("http://[::1]/%5Bx%5D#a%23b", ascii(URI(u"http://[::1]/[x]#a#b").toString()));
    for (const std::u16string& text :
         {std::u16string(u"a\nb"), std::u16string(u"a\x7f"), std::u16string(1, u'\xD800'), std::u16string(u"%4"),
          std::u16string(u"%zz"), std::u16string(u"1a:b"), std::u16string(u":")}) {
        expectFailure(ErrorKind::Misuse, {"is no URI reference"}, [&] { URI uri(text); });
    }
}

TEST(ContentTypeTest, Grammar) {
    for (const char16_t* text : {u"text/xml", u"a/b;c=d", u"a/b ; c=d;\te=\"f;g\"", u"application/x+y.z-1"}) {
        EXPECT_EQ(text, ContentType(text).toString());
    }
    for (const char16_t* text : {u"",
                                 u"text",
                                 u"text/",
                                 u"/xml",
                                 u" text/xml",
                                 u"text/xml ",
                                 u"text /xml",
                                 u"text/xml;",
                                 u"a/b;c",
                                 u"a/b;c=",
                                 u"a/b;=d",
                                 u"a/b;c =d",
                                 u"a/b;c= d",
                                 u"a/b;c=\"d",
                                 u"a/b;c=\"d\"e",
                                 u"a/b;c=\"\\",
                                 u"a/b c=d",
                                 u"a/\u00e4",
                                 u"a/b;c=\"\u00e4\"",
                                 u"a/b (comment)",
                                 u"a/b;c=1;c=2"}) {
        expectFailure(ErrorKind::Misuse, {"in the content type"}, [&] { ContentType type(text); });
    }
}

TEST(ContentTypeTest, ComparesTypeInAnyCaseAndParametersExactly) {
    const ContentType type(u"Text/XML;a=1; b=\"x\\\"y\"");
    EXPECT_EQ(u"text/xml", type.getMediaType());
    EXPECT_EQ(u"x\"y", type.getParameterValue(u"b"));
    EXPECT_EQ(type, ContentType(u"text/xml;b=\"x\\\"y\" ;a=\"1\""));
    for (const char16_t* other :
         {u"text/xml", u"text/xml;a=1", u"text/xml;A=1;b=\"x\\\"y\"", u"text/xml;a=1;b=\"X\\\"y\"",
          u"text/plain;a=1;b=\"x\\\"y\"", u"text/xml;a=1;b=\"x\\\"y\";c=1"}) {
        EXPECT_NE(type, ContentType(other)) << ascii(other);
    }
    EXPECT_FALSE(type.hasParameter(u"A"));
    expectFailure(ErrorKind::Misuse, {"no parameter 'A'"}, [&] { type.getParameterValue(u"A"); });
}

TEST(ContentTypeTest, AddsParameters) {
    ContentType type(u"a/b");
    type.addParameter(u"plain", u"true");
    type.addParameter(u"q", u"a \"b\\");
    type.addParameter(u"empty", u"");
    EXPECT_EQ(u"a/b;plain=true;q=\"a \\\"b\\\\\";empty=\"\"", type.toString());
    EXPECT_EQ(type, ContentType(type.toString()));
    for (const auto& [name, value] : std::vector<std::pair<const char16_t*, const char16_t*>>{
             {u"plain", u"x"}, {u"", u"x"}, {u"a b", u"x"}, {u"x", u"a\nb"}, {u"x", u"\u00e4"}}) {
        expectFailure(ErrorKind::Misuse, {"the parameter"}, [&, n = name, v = value] { type.addParameter(n, v); });
    }
    EXPECT_EQ(3U, type.getParameters().size());
}

}  // namespace
}  // namespace opc::model
