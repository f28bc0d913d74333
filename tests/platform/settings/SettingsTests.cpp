#include "settings/standalone/SettingsRoot.hpp"
#include "support/TempDir.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

/// Sets or removes an environment variable as long as it lives.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::optional<std::string>& value) : name_(name) {
        if (const char* const old = std::getenv(name)) {
            old_ = old;
        }
        set(value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { set(old_); }

private:
    void set(const std::optional<std::string>& value) {
        value.has_value() ? ::setenv(name_, value->c_str(), 1) : ::unsetenv(name_);
    }

    const char* name_;
    std::optional<std::string> old_;
};

class SettingsTest : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& text) {
        const fs::path path = fs::path(folder_.path()) / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    /// The text of `name` at `node` in settings made of `json`; "none" when there is no such node.
    std::u16string value(const std::string& json, const std::string& node, const std::string& name) {
        const ScopedVariable file("PX_SETTINGS_FILE", write("settings.json", json));
        const auto root = settings::standalone::getSettingsRoot();
        const auto found = root == nullptr ? nullptr : root->getSettingsByFullName(node);
        return found == nullptr ? u"none" : found->get<std::u16string>(name, "fallback");
    }

    support::TempDir folder_;
};

TEST_F(SettingsTest, FindsValuesOfNodes) {
    struct Case {
        std::string json;
        std::string node;
        std::u16string value;
    };
    const Case cases[] = {
        {R"({"a":{"b":{"c":{"v":"\u00e4 text"}}}})", "a.b.c", u"\u00E4 text"},
        {R"({"a":{"v":12}})", "a", u"12"},
        {R"({"a":{"v":-1.5}})", "a", u"-1.5"},
        {R"({"a":{"v":true}})", "a", u"true"},
        {R"({"a":{"v":""}})", "a", u""},
        {R"({"a":{"v":null}})", "a", u"fallback"},
        {R"({"a":{"v":{}}})", "a", u"fallback"},
        {R"({"a":{}})", "a", u"fallback"},
        {R"({"a":{"v":"x"}} )", "a.b", u"none"},
        {R"({"a":{"v":"x"}})", "a.v", u"none"},
        {R"({"a":{"v":"x"}})", "", u"none"},
        {R"({"a":{"v":"x"}})", "a.", u"none"},
        {R"({"a":1})", "a", u"none"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(value(each.json, each.node, "v"), each.value) << each.json << " " << each.node;
    }
}

TEST_F(SettingsTest, RefusesWhatIsNotAnObjectOfJson) {
    struct Case {
        std::string json;
        std::string finding;
    };
    const Case cases[] = {
        {"", "at byte 0"},
        {R"({"a":})", "at byte 5"},
        {R"({"a":1} x)", "at byte 8"},
        {R"({"a":{)", "at byte 6"},
        {"[1]", "not an object"},
        {"{\"a\":\"\xFF\"}", "at byte 6"},
        {std::string(100000, '['), "at byte 32"},
    };
    for (const Case& each : cases) {
        try {
            value(each.json, "a", "v");
            ADD_FAILURE() << "accepted " << each.json.substr(0, 40);
        } catch (const std::runtime_error& error) {
            const std::string what = error.what();
            EXPECT_NE(what.find("/settings.json\": "), std::string::npos) << what;
            EXPECT_NE(what.find(each.finding), std::string::npos) << each.json.substr(0, 40) << "\n  -> " << what;
        }
    }
}

TEST_F(SettingsTest, LooksInTheFoldersOfTheUser) {
    const ScopedVariable noFile("PX_SETTINGS_FILE", std::nullopt);
    const ScopedVariable home("HOME", folder_.path());
    const ScopedVariable noXdg("XDG_CONFIG_HOME", std::nullopt);
    const auto nodeOf = [](const char* name) {
        const auto root = settings::standalone::getSettingsRoot();
        return root != nullptr && root->getSettingsByFullName(name) != nullptr;
    };
    EXPECT_EQ(settings::standalone::getSettingsRoot(), nullptr);
    write(".config/tarmic/settings.json", R"({"home":{}})");
    write("xdg/tarmic/settings.json", R"({"xdg":{}})");
    EXPECT_TRUE(nodeOf("home"));
    {
        const ScopedVariable relative("XDG_CONFIG_HOME", "xdg");
        EXPECT_TRUE(nodeOf("home"));
    }
    const ScopedVariable xdg("XDG_CONFIG_HOME", fs::path(folder_.path()) / "xdg");
    EXPECT_TRUE(nodeOf("xdg"));
    const ScopedVariable isFolder("PX_SETTINGS_FILE", folder_.path());
    EXPECT_THROW(settings::standalone::getSettingsRoot(), std::runtime_error);
}

}  // namespace
