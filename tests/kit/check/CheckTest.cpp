#include "kit/check/Check.hpp"

#include "kit/KitTesting.hpp"
#include "opc/Exception.hpp"
#include "support/ZipBuilder.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>

namespace flowbook::kit::testing {
namespace {

using support::Lines;

/// Each finding as "id part place", sorted.
Lines findingsOf(const support::Bytes& content) {
    support::Book book(content);
    Lines lines;
    for (const Finding& finding : check(support::Book::kName, book.storage())) {
        EXPECT_FALSE(finding.words.empty()) << finding.id;
        EXPECT_TRUE(std::any_of(std::begin(kFindingKinds), std::end(kFindingKinds), [&](const FindingKind& kind) {
            return kind.id == finding.id;
        })) << finding.id;
        const char* const mark = finding.severity == Severity::Error ? "! " : " ";
        lines.push_back(finding.id + mark + finding.part + (finding.place.empty() ? "" : " " + finding.place));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

const std::string kRels = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
const std::string kBase = "http://schemas.pellarion.com/tarmic/code/2013/relationships/";

std::string relationship(const std::string& id, const std::string& type, const std::string& target) {
    return "<Relationship Id=\"" + id + "\" Type=\"" + kBase + type + "\" Target=\"" + target + "\"/>";
}

/// A package whose entries differ from those of a sound one in what is given.
support::Bytes package(const std::map<std::string, std::string>& changes) {
    const std::string coreType = "application/vnd.openxmlformats-package.core-properties+xml";
    std::map<std::string, std::string> entries = {
        {"[Content_Types].xml",
         "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
         "<Default Extension=\"rels\" ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
         "<Default Extension=\"png\" ContentType=\"image/png\"/><Default Extension=\"core\" ContentType=\"" +
             coreType + "\"/><Override PartName=\"/d.xml\" ContentType=\"text/xml\"/></Types>"},
        {"_rels/.rels", kRels + relationship("a", "document", "/d.xml") + "</Relationships>"},
        {"_rels/d.xml.rels", kRels + relationship("i", "image", "/i.png") + "</Relationships>"},
        {"d.xml", richCode(codeParagraph("a"))},
        {"i.png", "data:image/png;base64,AAEC"}};
    for (const auto& [name, content] : changes) {
        entries[name] = content;
    }
    support::ZipFile zip;
    for (const auto& [name, content] : entries) {
        if (content != "-") {
            zip.entries.emplace_back(name, content);
        }
    }
    return support::bytes(zip.bytes());
}

TEST(Check, TellsWhatReadingRefusesAndWhatItLetsPass) {
    const std::string end = "</Relationships>";
    const std::pair<std::map<std::string, std::string>, Lines> cases[] = {
        {{}, {}},
        {{{"d.xml", "-"}}, {"part.unreached /i.png", "relationship.dangling! / a", "type.unused /d.xml"}},
        {{{"_rels/.rels", kRels + end}}, {"code.missing! /", "part.unreached /d.xml", "part.unreached /i.png"}},
        {{{"_rels/.rels",
           kRels + relationship("a", "document", "/d.xml") + relationship("b", "document", "/i.png") + end}},
         {"code.several /"}},
        {{{"i.png", "PNG"}}, {"picture.no-data-uri /i.png"}},
        {{{"i.png", "data:image/png;base64,?"}}, {"picture.malformed! /i.png"}},
        {{{"i.png", "data:image/gif;base64,AAEC"}}, {"picture.type /i.png"}},
        {{{"_rels/d.xml.rels", "<"}}, {"part.unreached /i.png", "relationships.malformed! /"}},
        {{{"x.unknown", ""}}, {"part.untyped /x.unknown"}},
        {{{"d.xml", "<"}}, {"code.malformed! /d.xml"}},
        {{{"d.xml", "\xFF"}}, {"code.malformed! /d.xml"}},
        {{{"d.xml", richCode(codeParagraph("a\nb\xE2\x80\x8B"))}}, {"code.replaced /d.xml line 2, column 2"}},
        {{{"d.xml", richCode("<w:p r:id='i'/><w:p r:id=''/><w:p r:link='j'/>")}}, {"reference.dangling /d.xml j"}},
        {{{"d.xml",
           richCode(codeParagraph("&lt;&lt;&lt;&lt;&lt;&lt;&lt;\na\n=======\nb") + codeParagraph(">>>>>>> t"))}},
         {"code.conflict /d.xml line 1"}},
        {{{"d.xml", richCode(codeParagraph("&lt;&lt;&lt;&lt;&lt;&lt;&lt;&lt; b\n>>>>>>> t"))}},
         {"code.conflict /d.xml line 2"}},
        {{{"d.xml", richCode("<w:p><w:pPr><w:pStyle w:val='code'/></w:pPr><w:r><w:t>a</w:t></w:r>"
                             "<w:r><w:t>b</w:t></w:r></w:p>")}},
         {"code.unread /d.xml paragraph 1"}},
    };
    for (const auto& [changes, expected] : cases) {
        EXPECT_EQ(findingsOf(package(changes)), expected) << (changes.empty() ? "" : changes.begin()->first);
    }
    EXPECT_EQ(findingsOf(support::bytes("no package")), (Lines{"package.unreadable! /"}));
    EXPECT_THROW(check(u"absent", support::Book().storage()), opc::Exception);
}

TEST(Check, TellsFaultyPropertiesAndUnreadableParts) {
    const std::string wanted = "property.faulty! / title";
    const Lines found = findingsOf(support::fixture("core_faulty"));
    EXPECT_EQ(std::count(found.begin(), found.end(), wanted), 1);
    support::Bytes content = package({});
    const std::string picture = "base64,AAEC";
    *std::search(content.begin(), content.end(), picture.begin(), picture.end()) = 'B';
    EXPECT_EQ(findingsOf(content), (Lines{"part.unreadable! /i.png"}));
}

}  // namespace
}  // namespace flowbook::kit::testing
