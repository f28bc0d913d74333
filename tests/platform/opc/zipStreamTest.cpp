#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "zipTesting.hpp"

#include <sstream>

namespace opc {
namespace {

/// Hands out its bytes in pieces, by the means that every stream has.
struct PiecewiseStream : InputStream {
    explicit PiecewiseStream(const std::vector<unsigned char>& bytes) : in(bytes) {}
    std::size_t read(void* to, std::size_t count) override { return in.read(to, std::min<std::size_t>(count, 777)); }
    ByteArrayInAdaptor in;
};

template <class Stream>
void expectCopies() {
    const auto bytes = zippackage::toBytes(zippackage::noiseOf(40000));
    Stream first(bytes), second(bytes);
    std::vector<unsigned char> copy(1);
    EXPECT_EQ(first.read(copy.data(), 1), 1U);
    ByteArrayOutAdaptor out(copy);
    EXPECT_TRUE(StreamHelper::copyStreamToStream(first, out));
    EXPECT_EQ(copy, bytes);
    EXPECT_EQ(first.read(copy.data(), 1), 0U);
    std::ostringstream standard;
    EXPECT_TRUE(StreamHelper::copyStreamToStream(second, standard));
    EXPECT_EQ(standard.str(), zippackage::toText(bytes));
    standard.setstate(std::ios::badbit);
    EXPECT_FALSE(StreamHelper::copyStreamToStream(second, standard));
}

TEST(ZipStreamTest, CopiesAllThatIsLeft) {
    expectCopies<ByteArrayInAdaptor>();
    expectCopies<PiecewiseStream>();
}

}  // namespace
}  // namespace opc
