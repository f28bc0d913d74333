#pragma once

#include "Lock.hpp"
#include "Source.hpp"
#include "Turns.hpp"

#include <stdexcept>
#include <string>

namespace flowbook::python {

/// What this binding refuses of its own accord.
class Refusal : public std::runtime_error {
public:
    Refusal(std::string kind, const std::string& words) : std::runtime_error(words), kind_(std::move(kind)) {}

    const std::string& kind() const noexcept { return kind_; }

private:
    std::string kind_;
};

/// What is told of a failure: its kind, which decides the class, and words, UTF-8.
struct Words {
    std::string kind;
    std::string text;
};

/// Text for Python; a malformed sequence becomes U+FFFD.
pybind11::str toText(const std::string& utf8);

/// A message of the library, with the user's name of the flowbook in the place of kName.
std::string withName(std::string words, const std::string& file);

/// Judges the exception that is being handled.
/// @param file  the user's name of the flowbook, UTF-8.
Words judge(const std::string& file);

/// Raises the exception that is being handled in Python, as the class of flowbook's errors that its kind asks for.
/// @param file  the user's name of the flowbook, UTF-8.
[[noreturn]] void raise(const std::string& file);

/// Raises what the file object of a source raised, if it did.
void raiseOf(const Source& source);

/// Does `work` without the interpreter lock, alone on what `turns` guards. Throws Python's exceptions only.
template <class Work>
auto inTurn(Turns& turns, const Source& source, const std::string& file, Work work) -> decltype(work()) {
    try {
        auto result = [&] {
            const Unlocked unlocked;
            const Turns::Turn turn(turns);
            return work();
        }();
        raiseOf(source);
        return result;
    } catch (const pybind11::error_already_set&) {
        throw;
    } catch (...) {
        raiseOf(source);
        raise(file);
    }
}

}  // namespace flowbook::python
