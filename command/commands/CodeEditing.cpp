// Code on its way to an editor or a merge tool, and back. The flowbook is looked at again before the text is saved,
// because hours may have passed, and what another program saved meanwhile must not be lost.
#include "commands/CodeEditing.hpp"

#include "fl/i18n/Conversion.hpp"
#include "io/CodeText.hpp"
#include "io/OpenDocument.hpp"
#include "kit/document/EditText.hpp"
#include "opc/Exception.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

/// The edited text as code: a line feed at its end that only the file in the editor had is taken off.
std::u16string codeFrom(std::u16string text, const std::u16string& before) {
    if (!text.empty() && text.back() == u'\n' && (before.empty() || before.back() != u'\n')) {
        text.pop_back();
    }
    return text;
}

}  // namespace

CodeEditing::CodeEditing(const Input& input, bool flatten) : input_(input), flatten_(flatten) {
    const kit::Document document = openDocument(input);
    stored_ = document.storedCode();
    isRich_ = !flatten && document.form() == kit::CodeForm::Rich;
    if (isRich_) {
        text_ = kit::editText(stored_);
    } else {
        code_ = readCode(input);
        text_ = readCodeText(input);
    }
}

void CodeEditing::save(const Bytes& edited, const std::string& file) const {
    const std::u16string text = fromUtf8(edited, file);
    if (openDocument(input_).storedCode() != stored_) {
        throw Failure(ExitCode::InputOutput, "", "the code was changed meanwhile", FlowbookErrorKind::Conflict);
    }
    NewContent content;
    content.flatten = flatten_;
    if (isRich_) {
        content.rich = documentOf(text);
    } else {
        content.code = codeFrom(text, code_);
    }
    apply(content, input_, false);
}

Bytes CodeEditing::documentOf(const std::u16string& text) const {
    try {
        return kit::withEditText(stored_, fl::i18n::to_string(text));
    } catch (const opc::Exception& refusal) {
        throw Failure(ExitCode::NegativeFinding, refusal.what());
    }
}

}  // namespace flowbook::tool
