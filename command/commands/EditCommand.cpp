#include "Commands.hpp"
#include "commands/Change.hpp"
#include "io/CodeText.hpp"
#include "io/ForEachInput.hpp"
#include "io/OpenDocument.hpp"
#include "io/Program.hpp"
#include "io/SharedOptions.hpp"
#include "io/TemporaryFolder.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <csignal>
#include <cstdlib>

namespace flowbook::tool {

namespace {

struct EditOptions {
    std::string file;
    bool flatten = false;
};

std::string editor() {
    for (const char* const variable : {"VISUAL", "EDITOR"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return "vi";
}

/// What is typed to interrupt something in the editor reaches this process, too.
class UntroubledBySignals {
public:
    UntroubledBySignals() : interrupt_(std::signal(SIGINT, ignore)), quit_(std::signal(SIGQUIT, ignore)) {}
    UntroubledBySignals(const UntroubledBySignals&) = delete;
    UntroubledBySignals& operator=(const UntroubledBySignals&) = delete;
    ~UntroubledBySignals() {
        std::signal(SIGINT, interrupt_);
        std::signal(SIGQUIT, quit_);
    }

private:
    /// Not SIG_IGN, which the editor would inherit.
    static void ignore(int) {}

    void (*interrupt_)(int);
    void (*quit_)(int);
};

void runEditor(const std::string& file) {
    const UntroubledBySignals untroubled;
    const int code = runProgram({"sh", "-c", editor() + " \"$@\"", "flowbook", file});
    if (code != 0) {
        throw Failure(ExitCode::InputOutput, "the editor ended with " + std::to_string(code));
    }
}

/// The edited text as code: a line feed at its end that only the file in the editor had is taken off.
std::u16string codeFrom(Bytes text, const std::u16string& before, const std::string& file) {
    if (!text.empty() && text.back() == '\n' && (before.empty() || before.back() != u'\n')) {
        text.pop_back();
    }
    return fromUtf8(text, file);
}

void save(const Input& input, const Bytes& text, const std::u16string& before, const EditOptions& options) {
    if (input.openReader().getTARMICCode() != before) {
        throw Failure(ExitCode::InputOutput, "", "the code was changed meanwhile", "conflict");
    }
    Change change;
    change.code = codeFrom(text, before, options.file);
    change.flatten = options.flatten;
    apply(change, input);
}

void edit(const Input& input, const EditOptions& options) {
    if (!options.flatten) {
        requireOnlyCode(openDocument(input));
    }
    const FlowbookFileReader reader = input.openReader();
    const std::string text = readCodeText(reader);
    TemporaryFolder folder;
    const std::string file = folder.put("code.txt", text);
    try {
        runEditor(file);
        const Bytes edited = readBytes(file, opc::Limits().maxPartSize);
        if (toText(edited) != text) {
            save(input, edited, reader.getTARMICCode(), options);
        }
    } catch (const Interrupted&) {
        folder.keep();
        throw;
    } catch (const std::exception&) {
        folder.keep();
        const Diagnosis diagnosis = diagnose();
        throw Failure(diagnosis.code, diagnosis.file,
                      input.inWords(diagnosis.message) + "; the edited text is kept in " + file);
    }
}

constexpr char kEditDescription[] =
    "Opens the code in the editor that VISUAL or EDITOR names, else in vi, and saves it when it was "
    "changed. A flowbook that something else changed meanwhile is not overwritten. When saving fails, the "
    "text is kept, and the message names its place. Code that would lose what is around it is refused "
    "with 1, unless --flatten is given.";

constexpr char kEditExamples[] = "EDITOR='sed -i s/mean/median/' flowbook edit analysis.tqx";

constexpr auto kEditOptions =
    optionTable(place<&EditOptions::file>("FILE", "Flowbook"),
                flag<&EditOptions::flatten>("--flatten", '\0', "Drop what is around the code, if need be"));

void editIn(Console& console, EditOptions& options) {
    forInput(
        console, options.file, [&](const Input& input, Report&) { edit(input, options); }, Input::Purpose::Update);
}

}  // namespace

const Command kEdit = makeCommand<EditOptions, kEditOptions, editIn>(
    {"edit", "Change the code of a flowbook in an editor", kEditDescription, kEditExamples});

}  // namespace flowbook::tool
