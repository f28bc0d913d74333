// Finds and reads the file of settings. A file that cannot be used counts as none: settings are preferences, and no
// save may fail because of them. The reason is logged, and can be asked for by programs that show it to their users.
#include "settings/standalone/SettingsRoot.hpp"

#include "fl/filesystem/NativePath.hpp"
#include "fl/i18n/Conversion.hpp"
#include "foundation/log/basic_diagnostic_logger.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/ReadableFile.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <array>
#include <boost/json/parser.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace settings::standalone {
namespace {

namespace json = boost::json;
using core::Settings;

/// Thrown within this file when the settings file cannot be used.
struct Unusable {
    std::string reason;
};

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// Returns an empty path when the environment does not say where the file is.
std::string settingsPath() {
    if (std::string named = environment("PX_SETTINGS_FILE"); !named.empty()) {
        return named;
    }
    const std::string inFolder = "/tarmic/settings.json";
    // The XDG Base Directory Specification has relative paths ignored.
    if (const std::string folder = environment("XDG_CONFIG_HOME"); !folder.empty() && folder.front() == '/') {
        return folder + inFolder;
    }
    const std::string home = environment("HOME");
    return home.empty() ? "" : home + "/.config" + inFolder;
}

/// Far more than any settings; reading a larger file would only hold up the caller.
constexpr std::uint64_t kLargest = std::uint64_t{1} << 20;

/// Returns none when there is no such file. @throws Unusable.
std::optional<std::string> readWhole(const std::string& path) try {
    const foundation::storage::vfs::LocalStorage storage;
    const std::u16string name = fl::filesystem::fromNativePath(path);
    if (!storage.exists(name)) {
        return std::nullopt;
    }
    const auto file = storage.openForReading(name);
    if (file->size() > kLargest) {
        throw Unusable{'"' + path + "\" is larger than 1 MiB"};
    }
    std::string text(file->size(), '\0');
    file->read(0, text.data(), text.size());
    return text;
} catch (const foundation::storage::vfs::StorageError& failure) {
    throw Unusable{failure.what()};
}

// JSON's own way of writing 1.5 is not that of the JSON library, which gives 1.5E0.
std::string shortestText(double number) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

std::u16string valueText(const json::value& value) {
    if (const json::string* const text = value.if_string()) {
        return fl::i18n::utf8_to_ustring(std::string_view(text->data(), text->size()));
    }
    const double* const number = value.if_double();
    return fl::i18n::utf8_to_ustring(number != nullptr ? shortestText(*number) : json::serialize(value));
}

/// Recurses no deeper than the JSON library has parsed, which is 32 levels.
std::shared_ptr<const Settings> makeNode(const json::object& object) {
    Settings::Values values;
    Settings::Children children;
    for (const auto& [key, value] : object) {
        const std::string name(key.data(), key.size());
        if (const json::object* const child = value.if_object()) {
            children.emplace(name, makeNode(*child));
        } else if (!value.is_null()) {
            values.emplace(name, valueText(value));
        }
    }
    return std::make_shared<const Settings>(std::move(values), std::move(children));
}

json::value parse(const std::string& text, const std::string& path) {
    json::parser parser;
    json::error_code error;
    const std::size_t offset = parser.write_some(text, error);
    if (!error && text.find_first_not_of(" \t\r\n", offset) != std::string::npos) {
        error = json::error::extra_data;
    }
    if (error) {
        throw Unusable{'"' + path + "\" is not JSON at byte " + std::to_string(offset) + ": " + error.message()};
    }
    return parser.release();
}

/// @throws Unusable
std::shared_ptr<const Settings> readSettings() {
    const std::string path = settingsPath();
    const auto text = path.empty() ? std::nullopt : readWhole(path);
    if (!text) {
        return nullptr;
    }
    const json::value root = parse(*text, path);
    if (!root.is_object()) {
        throw Unusable{'"' + path + "\" is not an object of JSON"};
    }
    return makeNode(root.get_object());
}

constexpr const char* kCountsAsNone = "the settings file counts as none: ";

}  // namespace

std::shared_ptr<const Settings> getSettingsRoot() try { return readSettings(); } catch (const Unusable& unusable) {
    static auto& logger = *new foundation::log::basic_diagnostic_logger("settings");
    constexpr unsigned kFailure = 512;
    if (auto record = logger.open(kFailure)) {
        record.stream() << kCountsAsNone << unusable.reason;
    }
    return nullptr;
}

std::string whySettingsCountAsNone() try {
    readSettings();
    return "";
} catch (const Unusable& unusable) {
    return kCountsAsNone + unusable.reason;
}

}  // namespace settings::standalone
