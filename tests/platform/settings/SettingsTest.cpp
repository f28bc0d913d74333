#include "settings/standalone/SettingsRoot.hpp"
#include "support/Flowbooks.hpp"
#include "support/LogCapture.hpp"
#include "support/TempDir.hpp"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

class SettingsTest : public testing::Test {
protected:
    SettingsTest() {
        ::setenv("HOME", path_.c_str(), 1);
        ::unsetenv("XDG_CONFIG_HOME");
        ::unsetenv("PX_SETTINGS_FILE");
    }

    /// The text of "v" at `node`; "none" when there is no such node.
    static std::u16string value(const std::string& node) {
        const auto root = settings::standalone::getSettingsRoot();
        const auto found = root == nullptr ? nullptr : root->getSettingsByFullName(node);
        return found == nullptr ? u"none" : found->get<std::u16string>("v", "fallback");
    }

    std::u16string valueIn(const std::string& json, const std::string& node) const {
        folder_.put("settings.json", json);
        ::setenv("PX_SETTINGS_FILE", (path_ + "/settings.json").c_str(), 1);
        return value(node);
    }

    support::TempDir folder_;
    const std::string path_ = folder_.path();
};

TEST_F(SettingsTest, FindsValuesOfNodes) {
    const std::tuple<const char*, const char*, const char16_t*> cases[] = {
        {R"({"a":{"b":{"c":{"v":"\u00e4 text"}}}})", "a.b.c", u"\u00E4 text"},
        {R"({"a":{"v":12}})", "a", u"12"},
        {R"({"a":{"v":-1.5}})", "a", u"-1.5"},
        {R"({"a":{"v":true}})", "a", u"true"},
        {R"({"a":{"v":null}})", "a", u"fallback"},
        {R"({"a":{"v":{}}})", "a", u"fallback"},
        {R"({"a":{"v":"x"}} )", "a.b", u"none"},
        {R"({"a":{"v":"x"}})", "a.v", u"none"},
        {R"({"a":{"v":"x"}})", "a.", u"none"},
    };
    for (const auto& [json, node, expected] : cases) {
        EXPECT_EQ(valueIn(json, node), expected) << json << " " << node;
    }
}

TEST_F(SettingsTest, TellsWhatItCannotUseAndGoesOnWithout) {
    const std::string start = "the settings file counts as none: ";
    const std::string file = '"' + path_ + "/settings.json\"";
    const std::pair<std::string, std::string> cases[] = {
        {"", file + " is not JSON at byte 0:"},
        {R"({"a":})", file + " is not JSON at byte 5:"},
        {R"({"a":1} x)", file + " is not JSON at byte 8:"},
        {"[1]", file + " is not an object of JSON"},
        {"{\"a\":\"\xFF\"}", file + " is not JSON at byte 6:"},
        {std::string(100000, '['), file + " is not JSON at byte 32:"},
        {std::string((1 << 20) + 1, ' '), file + " is larger than 1 MiB"},
    };
    for (const auto& [json, finding] : cases) {
        const support::LogCapture log(512, "settings");
        EXPECT_EQ(valueIn(json, "a"), u"none");
        const std::string told = settings::standalone::whySettingsCountAsNone();
        EXPECT_PRED2(support::matches, start + finding + "*", told);
        EXPECT_EQ(log.lines(), std::vector<std::string>{"512 " + told});
    }
}

TEST_F(SettingsTest, LooksInTheFoldersOfTheUser) {
    EXPECT_EQ(settings::standalone::getSettingsRoot(), nullptr);
    std::filesystem::create_directories(path_ + "/.config/tarmic");
    std::filesystem::create_directories(path_ + "/xdg/tarmic");
    folder_.put(".config/tarmic/settings.json", R"({"a":{"v":"home"}})");
    folder_.put("xdg/tarmic/settings.json", R"({"a":{"v":"xdg"}})");
    EXPECT_EQ(value("a"), u"home");
    ::setenv("XDG_CONFIG_HOME", "xdg", 1);
    EXPECT_EQ(value("a"), u"home") << "a relative path counts";
    ::setenv("XDG_CONFIG_HOME", (path_ + "/xdg").c_str(), 1);
    EXPECT_EQ(value("a"), u"xdg");
    ::setenv("PX_SETTINGS_FILE", path_.c_str(), 1);
    EXPECT_EQ(settings::standalone::getSettingsRoot(), nullptr) << "a folder cannot be read";
    std::filesystem::create_symlink("loop", path_ + "/loop");
    ::setenv("PX_SETTINGS_FILE", (path_ + "/loop").c_str(), 1);
    EXPECT_EQ(settings::standalone::getSettingsRoot(), nullptr) << "it cannot be opened";
    ASSERT_EQ(::mkfifo((path_ + "/fifo").c_str(), 0600), 0);
    ::setenv("PX_SETTINGS_FILE", (path_ + "/fifo").c_str(), 1);
    EXPECT_EQ(settings::standalone::getSettingsRoot(), nullptr) << "a reader would wait for a writer";
}

}  // namespace
