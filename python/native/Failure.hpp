#pragma once

#include "Call.hpp"

#include <stdexcept>
#include <string>

namespace flowbook::python {

/// What this binding refuses of its own accord.
class Refusal : public std::runtime_error {
public:
    Refusal(std::string kind, const std::string& words, std::string part = {})
        : std::runtime_error(words), kind_(std::move(kind)), part_(std::move(part)) {}

    const std::string& kind() const noexcept { return kind_; }
    const std::string& part() const noexcept { return part_; }

private:
    std::string kind_;
    std::string part_;
};

/// A failure as Python's errors have it, UTF-8.
struct Words {
    std::string kind;  ///< decides the class
    std::string text;
    std::string part{};  ///< the name of the part concerned; empty when there is none
};

/// Text for Python; a malformed sequence becomes U+FFFD.
pybind11::str toText(const std::string& utf8);

/// A message of the library, with the user's name of the flowbook in the place of kName.
std::string withName(std::string words, const std::string& file);

/// Judges the exception that is being handled.
/// @param file  the user's name of the flowbook, UTF-8.
Words judge(const std::string& file);

/// Raises a failure of a call in Python, as the class of flowbook's errors that its kind asks for.
/// @param file  the user's name of the flowbook, UTF-8.
[[noreturn]] void raise(const std::exception_ptr& failure, const std::string& file);

/// Does `work` as a call from Python, whose failures are raised there; see Call. What `work` refers to must live as
/// long as it does itself, as the caller may leave before the work ends.
/// @param file   the user's name of the flowbook, UTF-8.
/// @param apart  whether it may take long.
template <class Work>
auto runCall(const std::string& file, bool apart, Work work) -> decltype(work()) {
    const auto call = std::make_shared<CallOf<Work>>(std::move(work));
    call->run(apart);
    call->raiseKept();
    if (call->failure()) {
        raise(call->failure(), file);
    }
    return call->take();
}

}  // namespace flowbook::python
