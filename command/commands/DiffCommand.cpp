#include "Commands.hpp"
#include "commands/TextOf.hpp"
#include "io/ForEachInput.hpp"
#include "io/Program.hpp"
#include "io/SharedOptions.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"

#include <cstdlib>

namespace flowbook::tool {

namespace {

struct DiffOptions {
    std::string a;
    std::string b;
    bool noOutputs = false;
};

void diff(Console& console, const DiffOptions& options) {
    const TemporaryFolder folder;
    const std::string a = folder.put("a", textOf(options.a, !options.noOutputs));
    const std::string b = folder.put("b", textOf(options.b, !options.noOutputs));
    const char* const noColour = std::getenv("NO_COLOR");
    const std::string colour = noColour != nullptr && *noColour != '\0' ? "never" : "auto";
    const int code = runProgram({"diff", "-u", "--color=" + colour, "--label", options.a, "--label", options.b, a, b});
    if (code > 1) {
        throw Failure(ExitCode::InputOutput, "diff failed with exit code " + std::to_string(code));
    }
    console.note(code == 0 ? ExitCode::Fine : ExitCode::NegativeFinding);
}

constexpr char kDiffDescription[] =
    "Compares what 'flowbook git textconv' prints, by diff(1). Ends with 0 when the contents are the "
    "same, with 1 when they differ. Colours appear on a terminal, unless NO_COLOR is set.";

constexpr char kDiffExamples[] = "flowbook diff old.tqx new.tqx";

constexpr auto kDiffOptions =
    optionTable(place<&DiffOptions::a>("A", "Flowbook"), place<&DiffOptions::b>("B", "Flowbook to compare with it"),
                flag<&DiffOptions::noOutputs>("--no-outputs", '\0', "Leave outputs out, but for their digests"));

void diffBoth(Console& console, DiffOptions& options) { diff(console, options); }

}  // namespace

const Command kDiff = makeCommand<DiffOptions, kDiffOptions, diffBoth>(
    {"diff", "Show how two flowbooks differ", kDiffDescription, kDiffExamples});

}  // namespace flowbook::tool
