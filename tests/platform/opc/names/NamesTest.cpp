#include "platform/opc/model/PackageTesting.hpp"

namespace opc::model {
namespace {

using namespace tests;
using fl::i18n::to_string;
using fl::i18n::to_ustring;

TEST(PartNameTest, Grammar) {
    for (const std::string& name : split("/a|/a/b.xml|/.rels|/a..b/!$&'()*+,;=:@-._~|/%5B1%5D|/%e4")) {
        EXPECT_TRUE(PartName::isValid(name)) << name;
        EXPECT_EQ(name, to_string(PartName(to_ustring(name)).toString()));
    }
    using namespace std::string_literals;
    expectRefusals(ErrorKind::Misuse, "is no part name",
                   {{"M1.1", "|"},
                    {"M1.4", "a"},
                    {"M1.5", "/|/a/"},
                    {"M1.3", "//a|/a//b"},
                    {"M1.6", "/a b|/a\\b|/a?b|/a#b|/[Content_Types].xml|/\u00e4|/a\0b|/%|/%4|/%g0"s},
                    {"M1.7", "/a%2Fb|/a%5cb"},
                    {"M1.8", "/%41|/%7e"},
                    {"M1.9", "/a./b|/a."},
                    {"M1.10", "/.|/a/../b|/.../b"}},
                   [](const std::string& name) {
                       EXPECT_FALSE(PartName::isValid(name));
                       PartName(to_ustring(name));
                   });
}

TEST(PartNameTest, OfUri) {
    EXPECT_EQ("/a/b~.xml", PartName(URI(u"/%61/b%7E.xml#frag")).ascii());
    EXPECT_EQ("/a%20b%C3%A4%5B1%5D", PartName(URI(u"/a b\u00e4[1]")).ascii());
    expectRefusals(ErrorKind::Damaged, "",
                   {{"is no part name", "a.xml|http://h/a|//h/a|/a?q|#f|/a/%2e%2e/b|/a\\b|/a%2fb|/a/"}},
                   [](const std::string& text) { PartName{URI(to_ustring(text))}; });
}

// RFC 3986, 5.4, and what its examples leave out.
TEST(UriTest, ResolvesReferences) {
    std::istringstream cases(R"(
        g:h       g:h                    g          http://a/b/c/g         ./g         http://a/b/c/g
        g/        http://a/b/c/g/        /g         http://a/g             //g         http://g
        ?y        http://a/b/c/d;p?y     #s         http://a/b/c/d;p?q#s   g;x?y#s     http://a/b/c/g;x?y#s
        .         http://a/b/c/          ./         http://a/b/c/          ..          http://a/b/
        ../       http://a/b/            ../g       http://a/b/g           ../..       http://a/
        ../../g   http://a/g             /./g       http://a/g             ../../../g  http://a/g
        /../g     http://a/g             g.         http://a/b/c/g.        .g          http://a/b/c/.g
        g..       http://a/b/c/g..       ..g        http://a/b/c/..g       ./../g      http://a/b/g
        ./g/.     http://a/b/c/g/        g/./h      http://a/b/c/g/h       g/../h      http://a/b/c/h
        g;x=1/./y http://a/b/c/g;x=1/y   g?y/./x    http://a/b/c/g?y/./x   g#s/../x    http://a/b/c/g#s/../x
        http:g    http:g                 http:../g  http:g                 g;x=1/../y  http://a/b/c/y
        g?        http://a/b/c/g?        g#         http://a/b/c/g#        /           http://a/
        http:..   http:                  http:.     http:                  http:./..g  http:..g)");
    const URI base(u"http://a/b/c/d;p?q");
    for (std::string reference, resolved; cases >> reference >> resolved;) {
        EXPECT_EQ(resolved, to_string(URI(to_ustring(reference)).resolvedAgainst(base).toString())) << reference;
    }
    EXPECT_EQ(base.toString(), URI(u"").resolvedAgainst(base).toString());
    EXPECT_EQ(u"/.//b", URI(u"a/..//b").resolvedAgainst(URI(u"/")).toString()) << "must not become an authority";
    EXPECT_EQ(u"./c:d", URI(u"./c:d").resolvedAgainst(URI(u"../b")).toString()) << "must not become a scheme";
}

TEST(UriTest, EncodesWhatAUriCannotHoldAndRefusesTheRest) {
    EXPECT_EQ(u"a%20b%C3%A9%F0%9F%98%80%5C%22", URI(u"a b\u00e9\U0001F600\\\"").toString());
    EXPECT_EQ(u"http://[::1]/%5Bx%5D#a%23b", URI(u"http://[::1]/[x]#a#b").toString());
    expectRefusals(ErrorKind::Misuse, "", {{"is no URI reference", "a\nb|a\x7f|%4|%zz|1a:b|:"}},
                   [](const std::string& text) { URI(to_ustring(text)); });
    expectFailure(ErrorKind::Misuse, {"is no URI reference"}, [] { URI(std::u16string(1, u'\xD800')); });
}

TEST(ContentTypeTest, Grammar) {
    for (const std::string& text : split("text/xml|a/b;c=d|a/b ; c=d;\te=\"f;g\"|application/x+y.z-1")) {
        EXPECT_EQ(text, to_string(ContentType(to_ustring(text)).toString()));
    }
    expectRefusals(ErrorKind::Misuse, "in the content type",
                   {{"a token is missing", "|text/|/xml| text/xml|text/xml;|a/b;=d|a/b;c=|a/b;c= d|a/\u00e4"},
                    {"'/' is missing", "text|text /xml"},
                    {"';' is missing", "text/xml |a/b;c=\"d\"e|a/b c=d|a/b (comment)"},
                    {"'=' is missing", "a/b;c|a/b;c =d"},
                    {"'\"' is missing", "a/b;c=\"d"},
                    {"printable ASCII is missing", "a/b;c=\"\\|a/b;c=\"\u00e4\""},
                    {"'c' is there twice", "a/b;c=1;c=2"}},
                   [](const std::string& text) { ContentType(to_ustring(text)); });
}

TEST(ContentTypeTest, ComparesTypeInAnyCaseAndParametersExactly) {
    const ContentType type(u"Text/XML;a=1; b=\"x\\\"y\"");
    EXPECT_EQ(u"text/xml", type.getMediaType());
    EXPECT_EQ(u"x\"y", type.getParameterValue(u"b"));
    EXPECT_EQ(type, ContentType(u"text/xml;b=\"x\\\"y\" ;a=\"1\""));
    for (const std::string& other : split("xml;a=1|xml;A=1;b=\"x\\\"y\"|xml;a=1;b=\"X\\\"y\"|plain;a=1;b=\"x\\\"y\"")) {
        EXPECT_NE(type, ContentType(u"text/" + to_ustring(other))) << other;
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
    expectRefusals(ErrorKind::Misuse, "the parameter", {{"is there already", "plain"}, {"no token", "|a b"}},
                   [&](const std::string& name) { type.addParameter(to_ustring(name), u"x"); });
    expectRefusals(ErrorKind::Misuse, "the parameter 'x'", {{"control or non-ASCII", "a\nb|\u00e4"}},
                   [&](const std::string& value) { type.addParameter(u"x", to_ustring(value)); });
    EXPECT_EQ(3U, type.getParameters().size());
}

}  // namespace
}  // namespace opc::model
