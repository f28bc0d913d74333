#pragma once

#include "terminal/Output.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace flowbook::tool {

/// Writes one JSON text as it goes, so that its length costs no memory.
class Json {
public:
    explicit Json(Sink& sink) : sink_(&sink) {}

    Json& openObject() { return open('{'); }
    Json& closeObject() { return close('}'); }
    Json& openArray() { return open('['); }
    Json& closeArray() { return close(']'); }

    /// The name of what comes next.
    Json& key(std::string_view name);

    /// @param utf8  what is malformed in it becomes U+FFFD.
    Json& text(std::string_view utf8);
    Json& number(std::uint64_t value);
    Json& null();
    Json& truth(bool value);

    Json& field(std::string_view name, std::string_view utf8) { return key(name).text(utf8); }
    Json& optionalField(std::string_view name, const std::optional<std::string>& utf8) {
        return utf8 ? field(name, *utf8) : key(name).null();
    }
    Json& count(std::string_view name, std::uint64_t value) { return key(name).number(value); }
    Json& truth(std::string_view name, bool value) { return key(name).truth(value); }

private:
    Json& open(char bracket);
    Json& close(char bracket);
    void separate();

    Sink* sink_;
    bool needsComma_ = false;
};

}  // namespace flowbook::tool
