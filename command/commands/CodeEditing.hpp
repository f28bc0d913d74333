#pragma once

#include "commands/NewContent.hpp"
#include "io/Input.hpp"

#include <string>

namespace flowbook::tool {

/// The code of one flowbook as a text that can be edited: plain code as it is, rich code in the form of
/// kit::editText().
class CodeEditing {
public:
    /// @param input    for Purpose::Update; outlives the object.
    /// @param flatten  whether rich code is to become plain. @throws what the library throws, also for encrypted code.
    CodeEditing(const Input& input, bool flatten);

    const std::string& text() const noexcept { return text_; }

    /// Saves an edited text, unless the code was changed since. @param file  where the text is, for messages.
    /// @throws Failure: a negative finding for a text that is none, a conflict; what the library throws.
    void save(const Bytes& edited, const std::string& file) const;

private:
    Bytes documentOf(const std::u16string& text) const;

    const Input& input_;
    bool flatten_;
    bool isRich_ = false;
    Bytes stored_;
    std::u16string code_;
    std::string text_;
};

}  // namespace flowbook::tool
