#include "kit/compare/Sha256.hpp"

#include <nettle/base16.h>
#include <nettle/base64.h>
#include <nettle/sha2.h>

namespace flowbook::kit {

struct Sha256::State {
    sha256_ctx context;
};

Sha256::Sha256() : state_(std::make_unique<State>()) { sha256_init(&state_->context); }

Sha256::~Sha256() = default;

Sha256& Sha256::add(std::string_view bytes) {
    sha256_update(&state_->context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
    return *this;
}

Sha256& Sha256::add(const fl::Bytes& bytes) {
    sha256_update(&state_->context, bytes.size(), bytes.data());
    return *this;
}

Sha256& Sha256::addField(std::string_view bytes) { return add(std::to_string(bytes.size())).add(":").add(bytes); }

Sha256& Sha256::addField(const fl::Bytes& bytes) { return add(std::to_string(bytes.size())).add(":").add(bytes); }

std::string Sha256::take() {
    std::uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&state_->context, sizeof digest, digest);
    std::string digits(BASE16_ENCODE_LENGTH(sizeof digest), '\0');
    base16_encode_update(digits.data(), sizeof digest, digest);
    return digits;
}

std::string Sha256::takeBase64() {
    std::uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&state_->context, sizeof digest, digest);
    std::string text(BASE64_ENCODE_RAW_LENGTH(sizeof digest), '\0');
    base64_encode_raw(text.data(), sizeof digest, digest);
    return text;
}

std::string sha256(const fl::Bytes& bytes) { return Sha256().add(bytes).take(); }

}  // namespace flowbook::kit
