#include "opc/ByteArrayInAdaptor.hpp"
#include "platform/opc/OpcTesting.hpp"

#include <type_traits>

namespace opc {
namespace {

static_assert(!std::is_constructible_v<ByteArrayInAdaptor, fl::Bytes>, "it would read what is gone");

TEST(ByteArrayInAdaptorTest, ReadsOnFromWhereItStopped) {
    const fl::Bytes bytes = tests::toBytes("abcde");
    ByteArrayInAdaptor in(bytes);
    for (const std::string piece : {"ab", "cd", "e", ""}) {
        char read[] = "??";
        EXPECT_EQ(piece.size(), in.read(read, 2));
        EXPECT_EQ(piece + std::string("??").substr(piece.size()), read);
    }
}

}  // namespace
}  // namespace opc
