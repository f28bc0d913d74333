#include "foundation/core/except/detail/AnonymousInternalException.hpp"

#include <gtest/gtest.h>

using namespace foundation::core::except;

namespace {

struct Failure : std::runtime_error {
    Failure(const std::string& message, int givenCode) : std::runtime_error(message), code(givenCode) {}
    int code;
};

using Wrapped = detail::AnonymousInternalException<Failure>;
const std::string kMessage = "caf\xC3\xA9 \xFF ";

Wrapped makeWrapped() {
    Wrapped wrapped(Failure(kMessage, 7));
    wrapped.setThrowLocation("function", "file", 3);
    wrapped.setErrorInfo(std::make_shared<ErrorInfoContainer>());
    return wrapped;
}

template <class Caught>
void expectCaughtAs() {
    try {
        throw Wrapped(Failure(kMessage, 7));
    } catch (const Caught& error) {
        EXPECT_EQ(error.what(), kMessage);
        return;
    } catch (...) {
    }
    ADD_FAILURE() << "not caught as " << typeid(Caught).name();
}

TEST(Exception, IsCaughtByEveryInterface) {
    expectCaughtAs<Wrapped>();
    expectCaughtAs<Failure>();
    expectCaughtAs<std::runtime_error>();
    expectCaughtAs<std::exception>();
    expectCaughtAs<IInternalException>();
    expectCaughtAs<IException>();
}

TEST(Exception, BeginsEmpty) {
    const Wrapped wrapped(Failure(kMessage, 7));
    EXPECT_EQ(wrapped.throwFunction(), nullptr);
    EXPECT_EQ(wrapped.throwFile(), nullptr);
    EXPECT_EQ(wrapped.throwLine(), -1);
    EXPECT_EQ(wrapped.errorInfo(), nullptr);
    EXPECT_EQ(wrapped.toUstring(), u"caf\u00E9 \uFFFD ");
}

void expectCopyOf(const IException& original, const IException& copy) {
    EXPECT_NE(&copy, &original);
    EXPECT_EQ(copy.what(), kMessage);
    EXPECT_STREQ(copy.throwFunction(), "function");
    EXPECT_STREQ(copy.throwFile(), "file");
    EXPECT_EQ(copy.throwLine(), 3);
    EXPECT_EQ(copy.errorInfo(), original.errorInfo()) << "shared, not copied";
    EXPECT_EQ(dynamic_cast<const Failure&>(copy).code, 7);
}

TEST(Exception, ClonesAndRethrowsWhole) {
    const Wrapped wrapped = makeWrapped();
    const IException& original = wrapped;
    const std::unique_ptr<IException> clone = original.clone();
    expectCopyOf(original, *clone);
    try {
        clone->rethrow();
    } catch (const Wrapped& thrown) {
        expectCopyOf(*clone, thrown);
    }
}

}  // namespace
