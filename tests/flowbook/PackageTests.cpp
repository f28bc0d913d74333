#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

namespace flowbook {
namespace {

using support::bytes;
using support::text;
using Lines = std::vector<std::string>;

const std::string kDocumentType = " application/vnd.pellarion.tarmic.code.document+xml ";
const std::string kOutputStart = "/tarmic/output.xml text/xml <?xml*";

/// Points the settings at a file of its own; without content there is no such file.
class Settings {
public:
    explicit Settings(const std::optional<std::string>& content) {
        if (content) {
            folder_.put("settings.json", *content);
        }
        setenv("PX_SETTINGS_FILE", folder_.path("settings.json").c_str(), 1);
    }
    ~Settings() { unsetenv("PX_SETTINGS_FILE"); }

private:
    support::TempDir folder_;
};

TEST(NewPackage, HasTheStandardPartsAndRelationships) {
    const Settings none(std::nullopt);
    support::Bytes content = bytes("\xFF<"), empty;
    const std::pair<FlowbookFilePackage, std::string> cases[] = {
        {FlowbookFilePackage(), "<?xml*"}, {FlowbookFilePackage(content), "\xFF<"}, {FlowbookFilePackage(empty), ""}};
    for (const auto& [package, document] : cases) {
        EXPECT_PRED2(support::allMatch,
                     (Lines{"/tarmic/document.xml" + kDocumentType + document, kOutputStart,
                            "/ rId1 document /tarmic/document.xml", "/ rId2 output /tarmic/output.xml"}),
                     support::listing(package));
    }
    std::vector<FlowbookFilePackage::Part> noParts;
    std::vector<FlowbookFilePackage::Relationship> noRelationships;
    EXPECT_EQ(support::listing({noParts, noRelationships}), Lines());
    Lines types;
    for (const std::u16string& type : FlowbookFilePackage::getPackageRelationshipTypes()) {
        types.push_back(support::shortType(type));
    }
    EXPECT_EQ(types, (Lines{"document", "output", "documentation", "styles"}));
}

TEST(NewPackage, TakesTheLayoutFromTheSettings) {
    const auto withView = [](const std::string& view) {
        return "{\"tarmic\":{\"editor\":{\"displaysettings\":{\"DefaultView\":" + view + "}}}}";
    };
    const std::pair<std::optional<std::string>, std::string> cases[] = {
        {std::nullopt, "code"},
        {"{}", "code"},
        {"{\"tarmic\":{\"editor\":{\"displaysettings\":{}}}}", "code"},
        {withView("\"\""), "code"},
        {withView("\"<\u00E4 & \\u00df>\""), "<\u00E4 & \u00DF>"},
    };
    for (const auto& [json, layout] : cases) {
        const Settings settings(json);
        const std::string xml = text(FlowbookFilePackage::createEmptyOutputPart().content);
        EXPECT_NE(xml.find("<layoutState>" + layout + "</layoutState>"), std::string::npos) << xml;
    }
    const Settings broken("not JSON");
    support::Bytes content;
    Lines images;
    EXPECT_THROW(FlowbookFilePackage(), std::runtime_error);
    EXPECT_THROW(FlowbookFilePackage{content}, std::runtime_error);
    EXPECT_THROW((FlowbookFilePackage{content, images}), std::runtime_error);
    EXPECT_NO_THROW(FlowbookFilePackage::createEmptyDocumentPart());
}

TEST(Images, BecomePartsNumberedPerExtension) {
    const Settings none(std::nullopt);
    support::Bytes content = bytes("doc");
    const std::pair<std::string, std::string> cases[] = {
        {"data:image/png;base64,AAAA", "image1.png image/png"},
        {"data:image/jpeg;base64,BBBB", "image1.jpeg image/jpeg"},
        {"data:image/png;base64,CCCC", "image2.png image/png"},
        {"image/png;base64,AAAA", "image3.png image/png"},
        {"data:image/png,AAAA", "image1.png,AAAA image/png,AAAA"},
        {"data:png;base64,AAAA", "image4.png png"},
        {"data:image/svg+xml;base64,AAAA", "image1.svg+xml image/svg+xml"},
        {"data:image/PNG;base64,AAAA", "image1.PNG image/PNG"},
        {"a;base64:b/c;base64", "image1.c;base64 b/c;base64"},
        {"", "image1. "},
        {"data:a/b/c;base64,x:y", "image1.b/c a/b/c"},
    };
    Lines images, expected, relationships;
    for (const auto& [image, part] : cases) {
        images.push_back(image);
        expected.push_back("/media/" + part + " " + image);
        relationships.push_back("/tarmic/document.xml rId" + std::to_string(images.size()) + " image /media/" +
                                part.substr(0, part.find(' ')));
    }
    expected.push_back("/tarmic/document.xml" + kDocumentType + "doc");
    expected.insert(expected.end(), relationships.begin(), relationships.end());
    expected.insert(expected.end(),
                    {kOutputStart, "/ rId1 document /tarmic/document.xml", "/ rId2 output /tarmic/output.xml"});
    EXPECT_PRED2(support::allMatch, expected, support::listing({content, images}));

    Lines noImages;
    EXPECT_EQ(support::listing({content, noImages}), support::listing(FlowbookFilePackage(content)));
    std::string extension = "\u00E4";
    const auto odd = FlowbookFilePackage::createImageRelationship(-1, extension, -2);
    EXPECT_EQ(text(odd.id) + " " + text(odd.target), "rId-1 /media/image-2.\u00E4");
    std::string malformed = "\xFF";
    EXPECT_THROW(FlowbookFilePackage::createImageRelationship(1, malformed, 1), fl::i18n::ConversionError);
}

}  // namespace
}  // namespace flowbook
