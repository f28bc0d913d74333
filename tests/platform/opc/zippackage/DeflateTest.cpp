#include "opc/zippackage/DeflateCodec.hpp"
#include "opc/zippackage/LiteralDeflate.hpp"
#include "platform/opc/zippackage/ZipTesting.hpp"

#include <libdeflate.h>

namespace opc::zippackage {
namespace {

std::string base64Of(std::size_t size, std::uint32_t seed) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::mt19937 random(seed);
    std::string text(size, '\0');
    std::generate(text.begin(), text.end(), [&] { return kDigits[random() % 64]; });
    return text;
}

std::string repeated(const std::string& text, std::size_t size) {
    std::string all;
    while (all.size() < size) {
        all += text;
    }
    return all;
}

/// Bytes that are evenly spread, or rare beyond the longest code, or nearly all one, by the seed.
std::string shaped(std::uint32_t seed) {
    std::mt19937 random(seed);
    std::string text(1 + random() % (seed % 16 == 0 ? 1500000 : 40000), '\0');
    for (char& each : text) {
        const auto number = static_cast<std::uint32_t>(random());
        const unsigned rare = number == 0 ? 31 : static_cast<unsigned>(__builtin_ctz(number));
        const unsigned shapes[] = {number & 255U, rare, number % 1000 == 0 ? number >> 24U : 'q',
                                   number & 63U & number >> 8U};
        each = static_cast<char>(shapes[seed % 4]);
    }
    return text;
}

void expectInflates(const std::string& content, std::string_view packed) {
    fl::Bytes inflated(content.size());
    const auto result = DeflateCodec::inflate(packed, inflated);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->consumed, packed.size());
    EXPECT_EQ(result->produced, content.size());
    EXPECT_TRUE(toText(inflated) == content);
}

TEST(DeflateTest, LiteralsComeBackForBytesOfAnyShape) {
    for (std::uint32_t seed = 0; seed != 96; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const std::string content = shaped(seed);
        std::string packed(2 * content.size() + 300, '\0');
        const std::size_t size = deflateLiterals(content, packed.data(), packed.size() - 8);
        expectInflates(content, std::string_view(packed).substr(0, size));
        EXPECT_EQ(deflateLiterals(content, packed.data(), size), size);
        EXPECT_EQ(deflateLiterals(content, packed.data(), size - 1), 0U);
    }
}

TEST(DeflateTest, NoContentGetsLargerByMoreThanAHundredth) {
    const std::string prose = proseOf(600000);
    const std::string contents[] = {base64Of(64 << 10, 1),
                                    base64Of(700000, 2),
                                    prose,
                                    base64Of(600000, 3) + prose,
                                    prose + base64Of(600000, 4) + prose,
                                    repeated(base64Of(16384, 8) + prose.substr(0, 16384), 2000000),
                                    repeated(base64Of(76, 5) + '\n', 300000),
                                    repeated(base64Of(30000, 6), 1 << 20),
                                    repeated("<p>" + base64Of(2000, 7) + "</p>", 1 << 20),
                                    noiseOf(200000),
                                    noiseOf(200000) + std::string(200000, '\0')};
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(6), &libdeflate_free_compressor);
    DeflateCodec codec;
    for (const std::string& content : contents) {
        SCOPED_TRACE(content.substr(0, 20) + "... " + std::to_string(content.size()));
        std::string searched(content.size() - 1, '\0');
        const std::size_t size = libdeflate_deflate_compress(compressor.get(), content.data(), content.size(),
                                                             searched.data(), searched.size());
        const std::string_view packed = codec.deflate(content);
        EXPECT_EQ(packed.empty(), size == 0);
        EXPECT_LE(packed.size(), size + size / 100);
        if (!packed.empty()) {
            expectInflates(content, packed);
        }
    }
}

}  // namespace
}  // namespace opc::zippackage
