#include "settings/standalone/SettingsRoot.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/log/basic_diagnostic_logger.hpp"

#include <array>
#include <boost/json/parser.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace settings::standalone {
namespace {

namespace json = boost::json;
using core::Settings;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw std::runtime_error("cannot read the settings file \"" + path + "\": " + reason);
}

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

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Logs that a file cannot be read; the user works on without it.
void logFailure(const std::string& path, int error) {
    static auto& logger = *new foundation::log::basic_diagnostic_logger("settings");
    constexpr unsigned kFailure = 512;
    if (error == ENOMEM) {
        throw std::bad_alloc();
    }
    if (auto record = logger.open(kFailure)) {
        record.stream() << "cannot read the settings file \"" << path
                        << "\": " << std::generic_category().message(error) << "; it counts as none";
    }
}

/// Null when there is no such file.
File openSettings(const std::string& path) {
    File file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr && errno != ENOENT && errno != ENOTDIR) {
        logFailure(path, errno);
    }
    return file;
}

/// None when the file cannot be read.
std::optional<std::string> readWhole(std::FILE& file, const std::string& path) {
    std::string text;
    std::array<char, 4096> chunk{};
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), &file)) {
        text.append(chunk.data(), count);
    }
    if (std::ferror(&file) != 0) {
        logFailure(path, errno);
        return std::nullopt;
    }
    return text;
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
        fail(path, "not JSON at byte " + std::to_string(offset) + ": " + error.message());
    }
    return parser.release();
}

}  // namespace

std::shared_ptr<const Settings> getSettingsRoot() {
    const std::string path = settingsPath();
    const File file = path.empty() ? nullptr : openSettings(path);
    const auto text = file == nullptr ? std::nullopt : readWhole(*file, path);
    if (!text) {
        return nullptr;
    }
    const json::value root = parse(*text, path);
    if (!root.is_object()) {
        fail(path, "its outermost value is not an object");
    }
    return makeNode(root.get_object());
}

}  // namespace settings::standalone
