#include "Commands.hpp"
#include "io/ForEachInput.hpp"
#include "io/NewFile.hpp"
#include "io/SharedOptions.hpp"
#include "kit/package/Salvage.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

struct RepairOptions {
    std::string file;
    std::string output;
    Permission permission;
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
    putFile(console.out(), options.output, *salvaged.flowbook, options.permission);
    console.note(salvaged.lost.empty() ? ExitCode::Fine : ExitCode::NegativeFinding);
}

constexpr char kRepairDescription[] =
    "Takes what is whole of a damaged file into a new one: entries are found without the index, content "
    "types and relationships that are gone are made anew from names. Standard error tells what was saved "
    "and what was not. Ends with 0 when all was saved, with 1 when something was not, with 4 when nothing "
    "was.";

constexpr char kRepairExamples[] = "flowbook repair damaged.tqx -o saved.tqx";

constexpr auto kRepairOptions =
    optionTable(place<&RepairOptions::file>("FILE", "Damaged flowbook; not changed"),
                kOutput<&RepairOptions::output>.required(), kPermission<&RepairOptions::permission>);

void repairFile(Console& console, RepairOptions& options) {
    attempt(console, options.file, [&] { repair(console, options); });
}

}  // namespace

const Command kRepair = makeCommand<RepairOptions, kRepairOptions, repairFile>(
    {"repair", "Save what is whole of a damaged flowbook", kRepairDescription, kRepairExamples});

}  // namespace flowbook::tool
