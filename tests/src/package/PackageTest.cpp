#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"

#include <cstdlib>
#include <gtest/gtest.h>

namespace flowbook {
namespace {

using support::bytes;
using support::Lines;
using support::text;

const std::string kDocument = "/tarmic/document.xml application/vnd.pellarion.tarmic.code.document+xml ";
const Lines kRest = {"/tarmic/output.xml text/xml <?xml*", "/ rId1 document /tarmic/document.xml",
                     "/ rId2 output /tarmic/output.xml"};

void expectListing(Lines expected, const FlowbookFilePackage& package) {
    expected.insert(expected.end(), kRest.begin(), kRest.end());
    EXPECT_PRED2(support::allMatch, expected, support::listing(package));
}

TEST(NewPackage, HasTheStandardPartsAndRelationships) {
    support::Bytes content = bytes("\xFF<"), empty;
    Lines noImages;
    expectListing({kDocument + "<?xml*"}, FlowbookFilePackage());
    expectListing({kDocument + "\xFF<"}, FlowbookFilePackage(content));
    expectListing({kDocument + "\xFF<"}, FlowbookFilePackage(content, noImages));
    expectListing({kDocument}, FlowbookFilePackage(empty));
    Lines types;
    for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
        types.push_back(support::shortType(type));
    }
    EXPECT_EQ(types, (Lines{"document", "output", "documentation", "styles"}));
}

TEST(NewPackage, TakesTheLayoutFromTheSettings) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({})", "code"},
        {R"({"tarmic":{"editor":{"displaysettings":{}}}})", "code"},
        {R"({"tarmic":{"editor":{"displaysettings":{"DefaultView":""}}}})", "code"},
        {R"({"tarmic":{"editor":{"displaysettings":{"DefaultView":"<& \u00df>"}}}})", "<& \u00DF>"},
    };
    const support::TempDir folder;
    setenv("PX_SETTINGS_FILE", folder.path("settings.json").c_str(), 1);
    for (const auto& [json, layout] : cases) {
        folder.put("settings.json", json);
        const std::string xml = text(FlowbookFilePackage::createEmptyOutputPart().content);
        EXPECT_NE(xml.find("<layoutState>" + layout + "</layoutState>"), std::string::npos) << xml;
    }
    folder.put("settings.json", "not JSON");
    const std::string xml = text(FlowbookFilePackage::createEmptyOutputPart().content);
    EXPECT_NE(xml.find("<layoutState>code</layoutState>"), std::string::npos) << xml;
    unsetenv("PX_SETTINGS_FILE");
}

TEST(Images, BecomePartsNumberedPerExtension) {
    const std::pair<std::string, std::string> cases[] = {
        {"data:image/png;base64,AAAA", "image1.png image/png"},
        {"data:image/jpeg;base64,BBBB", "image1.jpeg image/jpeg"},
        {"image/png;base64,AAAA", "image2.png image/png"},
        {"data:image/png,AAAA", "image1.png,AAAA image/png,AAAA"},
        {"data:png;base64,AAAA", "image3.png png"},
        {"data:image/PNG;base64,AAAA", "image1.PNG image/PNG"},
        {"a;base64:b/c;base64", "image1.c;base64 b/c;base64"},
        {"", "image1. "},
        {"data:a/b/c;base64,x:y", "image1.b/c a/b/c"},
    };
    support::Bytes content = bytes("doc");
    Lines images, expected, relationships = {kDocument + "doc"};
    for (const auto& [image, part] : cases) {
        images.push_back(image);
        expected.push_back("/media/" + part + " " + image);
        relationships.push_back("/tarmic/document.xml rId" + std::to_string(images.size()) + " image /media/" +
                                part.substr(0, part.find(' ')));
    }
    expected.insert(expected.end(), relationships.begin(), relationships.end());
    expectListing(expected, {content, images});

    std::string malformed = "\xFF";
    EXPECT_THROW(FlowbookFilePackage::createImageRelationship(1, malformed, 1), fl::i18n::ConversionError);
}

}  // namespace
}  // namespace flowbook
