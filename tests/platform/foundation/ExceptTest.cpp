#include "foundation/core/except/detail/AnonymousInternalException.hpp"

#include <gtest/gtest.h>

using namespace foundation::core::except;

namespace {

struct Failure : std::runtime_error {
    Failure() : std::runtime_error("caf\xC3\xA9 \xFF ") {}
    int code = 7;
};

TEST(Exception, IsCaughtByEveryInterfaceAndClonesWhole) {
    detail::AnonymousInternalException<Failure> wrapped((Failure()));
    EXPECT_EQ(wrapped.throwLine(), -1);
    EXPECT_EQ(wrapped.toUstring(), u"caf\u00E9 \uFFFD ");
    wrapped.code = 9;
    wrapped.setThrowLocation("function", "file", 3);
    wrapped.setErrorInfo(std::make_shared<ErrorInfoContainer>());
    const auto clone = wrapped.clone();
    EXPECT_THROW(clone->rethrow(), std::exception);
    EXPECT_THROW(clone->rethrow(), IInternalException);
    try {
        clone->rethrow();
    } catch (const IException& copy) {
        EXPECT_STREQ(copy.throwFunction(), "function");
        EXPECT_STREQ(copy.throwFile(), "file");
        EXPECT_EQ(copy.throwLine(), 3);
        EXPECT_EQ(copy.errorInfo(), wrapped.errorInfo()) << "shared, not copied";
        const auto& failure = dynamic_cast<const Failure&>(copy);
        EXPECT_STREQ(failure.what(), "caf\xC3\xA9 \xFF ");
        EXPECT_EQ(failure.code, 9);
    }
}

}  // namespace
