#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace opc::zippackage {

/// Appends little-endian fields to a string.
class FieldWriter {
public:
    /// @param to  outlives the object.
    explicit FieldWriter(std::string& to) : to_(to) {}

    FieldWriter& u16(std::uint16_t number) { return put(number); }
    FieldWriter& u32(std::uint32_t number) { return put(number); }
    FieldWriter& u64(std::uint64_t number) { return put(number); }

    FieldWriter& bytes(std::string_view bytes) {
        to_ += bytes;
        return *this;
    }

private:
    template <class Number>
    FieldWriter& put(Number number) {
        for (std::size_t i = 0; i < sizeof(Number); ++i) {
            to_ += static_cast<char>(number >> (8 * i) & 0xFF);
        }
        return *this;
    }

    std::string& to_;
};

}  // namespace opc::zippackage
