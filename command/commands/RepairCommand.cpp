#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "kit/package/Salvage.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

constexpr char kRepairFooter[] =
    "Takes what is whole of a damaged file into a new one: entries are found without the index, content\n"
    "types and relationships that are gone are made anew from names. Standard error tells what was saved\n"
    "and what was not. Ends with 0 when all was saved, with 1 when something was not, with 4 when nothing was.\n\n"
    "Example:\n"
    "  flowbook repair damaged.tqx -o saved.tqx";

struct RepairOptions {
    std::string file;
    std::string output;
    bool force = false;
};

void tell(Console& console, const char* what, const std::vector<std::string>& all) {
    for (const std::string& each : all) {
        console.say(what + printable(each));
    }
}

void repair(Console& console, const RepairOptions& options) {
    const kit::Salvaged salvaged = kit::salvage(readBytes(options.file, opc::Limits().maxPackageSize));
    tell(console, "saved: ", salvaged.saved);
    tell(console, "made anew: ", salvaged.rebuilt);
    tell(console, "lost: ", salvaged.lost);
    if (!salvaged.flowbook) {
        throw Failure(ExitCode::Damaged, options.file, "nothing of it can be saved");
    }
    putFile(console.out(), options.output, *salvaged.flowbook, options.force);
    console.note(salvaged.lost.empty() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

}  // namespace

void addRepairCommand(CommandLine& line, Console& console) {
    Arguments command = line.add("repair", "Save what is whole of a damaged flowbook", kRepairFooter);
    const auto options = std::make_shared<RepairOptions>();
    command.require("FILE", options->file, "Damaged flowbook; not changed");
    command.allow("-o,--output", options->output, "Where the result goes; '-' is standard output");
    command.flag("--force", options->force, "Replace a file that is there");
    command.run([options, &console] {
        attempt(console, options->file, [&] {
            if (options->output.empty()) {
                throw Failure(ExitCode::Usage, "'repair' takes -o NEW, where the result goes");
            }
            repair(console, *options);
        });
    });
}

}  // namespace flowbook::tool
