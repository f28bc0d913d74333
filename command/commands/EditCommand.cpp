// Has the user's editor change the code. The text that was typed is worth more than anything else here: where it cannot
// be saved, for any reason, it is kept in a file that the message names.
#include "Commands.hpp"
#include "commands/CodeEditing.hpp"
#include "io/ForEachInput.hpp"
#include "io/Program.hpp"
#include "io/SharedOptions.hpp"
#include "io/TemporaryFolder.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace flowbook::tool {

namespace {

struct EditOptions {
    std::string file;
    bool flatten = false;
    bool force = false;
};

std::string editor() {
    for (const char* const variable : {"VISUAL", "EDITOR"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDOUT_FILENO) == 0) {
        throw Failure(ExitCode::Usage, "neither VISUAL nor EDITOR names an editor, and there is no terminal for vi");
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

/// A command of a shell that becomes the editor, where that is a single program: signals then reach it.
std::string editorCommand() {
    constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 _-+./,@%";
    const std::string command = editor();
    const bool isPlain = command.find_first_not_of(kPlain) == std::string::npos;
    return (isPlain ? "exec " : "") + command + " \"$@\"";
}

void runEditor(const std::string& file) {
    // Signals are the editor's as long as it runs; this process ends when the editor does.
    const UntroubledBySignals untroubled;
    Interruption::check();
    const int code = runProgram({"sh", "-c", editorCommand(), "flowbook", file});
    if (code != 0) {
        throw Failure(ExitCode::InputOutput, "the editor ended with " + std::to_string(code));
    }
}

/// Keeps the folder if the user has changed the text in it, or if that is not known.
/// @returns whether it is kept.
bool keepIfChanged(TemporaryFolder& folder, const std::string& file, const std::string& text) {
    bool isChanged = false;
    try {
        isChanged = toText(readBytes(file, opc::Limits().maxPartSize)) != text;
    } catch (const std::exception&) {
        isChanged = std::filesystem::exists(file);
    }
    if (isChanged) {
        folder.keep();
    }
    return isChanged;
}

/// Saves the text; with --force also into what the name leads to by now, if something else was saved meanwhile.
void save(const CodeEditing& editing, const std::string& file, const EditOptions& options) {
    const Bytes edited = readBytes(file, opc::Limits().maxPartSize);
    if (toText(edited) == editing.text()) {
        return;
    }
    try {
        editing.save(edited, file);
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception&) {
        if (!options.force || diagnose().kind != FlowbookErrorKind::Conflict) {
            throw;
        }
        const Input now(options.file, Input::Purpose::Update);
        CodeEditing(now, options.flatten).save(edited, file);
    }
}

void edit(Console& console, const Input& input, const EditOptions& options) {
    const CodeEditing editing(input, options.flatten);
    TemporaryFolder folder;
    const std::string file = folder.put("code.txt", editing.text());
    try {
        runEditor(file);
        save(editing, file, options);
    } catch (const Interrupted&) {
        if (keepIfChanged(folder, file, editing.text())) {
            console.say(input.argument() + ": interrupted, and left as it was; the edited text is kept in " + file);
        }
        throw;
    } catch (const std::exception&) {
        if (!keepIfChanged(folder, file, editing.text())) {
            throw;
        }
        const Diagnosis diagnosis = diagnose();
        throw Failure(diagnosis.code, diagnosis.file,
                      input.inWords(diagnosis.message) + "; the edited text is kept in " + file);
    }
}

constexpr char kEditDescription[] =
    "Opens the code in the editor that VISUAL or EDITOR names, else in vi, and saves it when it was "
    "changed.\n\n"
    "Of rich code, each code paragraph is a line, or stands between '::{' and '::}'. Other lines that begin "
    "with '::' are prose, which is kept as it is; removing such a line removes what it stands for, and one "
    "that was changed is refused with its number and 1. With --flatten the code alone is opened, and what "
    "is around it is dropped.\n\n"
    "A flowbook that something else changed meanwhile is not overwritten, nor saved under another name "
    "than the one given. When saving fails, the text is kept, and the message names its place. With --force the text "
    "takes the place of the code that the name leads to by then; all else that was changed meanwhile stays.";

constexpr char kEditExamples[] = "EDITOR='sed -i s/mean/median/' flowbook edit analysis.tqx";

constexpr auto kEditOptions =
    optionTable(place<&EditOptions::file>("FILE", "Flowbook"),
                flag<&EditOptions::flatten>("--flatten", '\0', "Drop what is around the code, if need be"),
                flag<&EditOptions::force>("--force", '\0', "Replace code that something else has saved meanwhile"));

void editIn(Console& console, EditOptions& options) {
    forInput(
        console, options.file, [&](const Input& input, Report&) { edit(console, input, options); },
        Input::Purpose::Update);
}

}  // namespace

const Command kEdit = makeCommand<EditOptions, kEditOptions, editIn>(
    {"edit", "Change the code of a flowbook in an editor", kEditDescription, kEditExamples});

}  // namespace flowbook::tool
