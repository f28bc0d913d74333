#pragma once

#include "fl/Bytes.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace flowbook::kit {

/// A running SHA-256 (FIPS 180-4).
class Sha256 {
public:
    Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    ~Sha256();

    Sha256& add(std::string_view bytes);
    Sha256& add(const fl::Bytes& bytes);

    /// The bytes behind their number, so that where one value ends and the next begins counts too.
    Sha256& addField(std::string_view bytes);
    Sha256& addField(const fl::Bytes& bytes);

    /// In lower-case hexadecimal digits. The sum begins anew.
    std::string take();

    /// As above, but in base64 (RFC 4648), as content security policies have digests.
    std::string takeBase64();

private:
    struct State;
    std::unique_ptr<State> state_;
};

std::string sha256(const fl::Bytes& bytes);

}  // namespace flowbook::kit
