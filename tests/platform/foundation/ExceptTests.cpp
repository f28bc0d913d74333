#include "foundation/core/except/detail/AnonymousInternalException.hpp"

#include <gtest/gtest.h>

using namespace foundation::core::except;

namespace {

struct Failure : std::runtime_error {
    Failure() : std::runtime_error("caf\xC3\xA9 \xFF ") {}
    int code = 7;
};

using Wrapped = detail::AnonymousInternalException<Failure>;

TEST(Exception, IsCaughtByEveryInterface) {
    const Wrapped wrapped((Failure()));
    EXPECT_THROW(wrapped.rethrow(), Failure);
    EXPECT_THROW(wrapped.rethrow(), std::exception);
    EXPECT_THROW(wrapped.rethrow(), IInternalException);
    EXPECT_THROW(wrapped.rethrow(), IException);
}

TEST(Exception, BeginsEmpty) {
    const Wrapped wrapped((Failure()));
    EXPECT_EQ(wrapped.throwFunction(), nullptr);
    EXPECT_EQ(wrapped.throwFile(), nullptr);
    EXPECT_EQ(wrapped.throwLine(), -1);
    EXPECT_EQ(wrapped.errorInfo(), nullptr);
    EXPECT_EQ(wrapped.toUstring(), u"caf\u00E9 \uFFFD ");
}

TEST(Exception, ClonesAndRethrowsWhole) {
    Wrapped wrapped((Failure()));
    wrapped.code = 9;
    wrapped.setThrowLocation("function", "file", 3);
    wrapped.setErrorInfo(std::make_shared<ErrorInfoContainer>());
    try {
        wrapped.clone()->rethrow();
    } catch (const Wrapped& copy) {
        EXPECT_STREQ(copy.what(), "caf\xC3\xA9 \xFF ");
        EXPECT_STREQ(copy.throwFunction(), "function");
        EXPECT_STREQ(copy.throwFile(), "file");
        EXPECT_EQ(copy.throwLine(), 3);
        EXPECT_EQ(copy.errorInfo(), wrapped.errorInfo()) << "shared, not copied";
        EXPECT_EQ(copy.code, 9);
    }
}

}  // namespace
