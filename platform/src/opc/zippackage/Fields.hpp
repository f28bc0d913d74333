#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace opc::zippackage {

/// Reads little-endian fields one after the other. The caller has seen that they are there.
class FieldReader {
public:
    explicit FieldReader(std::string_view bytes) : rest_(bytes) {}

    template <class Number>
    Number next() {
        Number value = 0;
        for (std::size_t i = 0; i < sizeof(Number); ++i) {
            const auto byte = static_cast<Number>(static_cast<unsigned char>(rest_[i]));
            value = static_cast<Number>(value | static_cast<Number>(byte << (8 * i)));
        }
        rest_.remove_prefix(sizeof(Number));
        return value;
    }

    std::uint16_t u16() { return next<std::uint16_t>(); }
    std::uint32_t u32() { return next<std::uint32_t>(); }
    std::uint64_t u64() { return next<std::uint64_t>(); }

    std::string_view bytes(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::size_t remaining() const { return rest_.size(); }

private:
    std::string_view rest_;
};

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
