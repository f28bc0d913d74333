#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "zipTesting.hpp"

#include <sstream>

namespace opc {
namespace {

using zippackage::noiseOf;
using zippackage::toBytes;
using zippackage::toText;

/// Hands out its bytes in pieces, by the means that every stream has.
class PiecewiseStream : public InputStream {
public:
    explicit PiecewiseStream(InputStream& in) : in_(in) {}
    std::size_t read(void* to, std::size_t count) override { return in_.read(to, std::min<std::size_t>(count, 777)); }

private:
    InputStream& in_;
};

TEST(ZipStreamTest, CopiesAllThatIsLeft) {
    for (const std::size_t size : {1, 40000}) {
        for (const bool piecewise : {false, true}) {
            const auto bytes = toBytes(noiseOf(size));
            ByteArrayInAdaptor first(bytes), second(bytes);
            PiecewiseStream firstPieces(first), secondPieces(second);
            std::vector<unsigned char> copy(1);
            EXPECT_EQ(first.read(copy.data(), 1), 1U);
            ByteArrayOutAdaptor out(copy);
            EXPECT_TRUE(
                StreamHelper::copyStreamToStream(piecewise ? firstPieces : static_cast<InputStream&>(first), out));
            EXPECT_EQ(copy, bytes);
            EXPECT_EQ(first.read(copy.data(), 1), 0U);
            std::ostringstream standard;
            InputStream& in = piecewise ? secondPieces : static_cast<InputStream&>(second);
            EXPECT_TRUE(StreamHelper::copyStreamToStream(in, standard));
            EXPECT_EQ(standard.str(), toText(bytes));
            standard.setstate(std::ios::badbit);
            EXPECT_FALSE(StreamHelper::copyStreamToStream(in, standard));
        }
    }
}

}  // namespace
}  // namespace opc
