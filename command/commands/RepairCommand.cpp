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
    if (salvaged.flowbook) {
        putFile(console.out(), options.output, *salvaged.flowbook, options.permission);
    }
    tell(console, "saved: ", salvaged.saved);
    tell(console, "made anew: ", salvaged.rebuilt);
    tell(console, "lost: ", salvaged.lost);
    if (!salvaged.flowbook) {
        throw Failure(salvaged.isOverLimit ? ExitCode::LimitExceeded : ExitCode::Damaged, options.file,
                      "nothing of it can be saved");
    }
    const bool isAsItWas = salvaged.lost.empty() && salvaged.rebuilt.empty();
    console.note(isAsItWas ? ExitCode::Fine : ExitCode::NegativeFinding);
    console.note(salvaged.isOverLimit ? ExitCode::LimitExceeded : ExitCode::Fine);
}

constexpr char kRepairDescription[] =
    "Takes what is whole of a damaged file into a new one. Where the index of the file is whole, it tells what there "
    "was; elsewhere entries are looked for. Content types and relationships that are gone are made anew from names, "
    "which is a guess; what is left of a damaged part goes below /damaged/, as does code or a list of properties whose "
    "XML is damaged. A file in which nothing is damaged stays as it is, byte for byte. Standard error tells what was "
    "saved and what was not. Ends with 0 when all is as it was, with 1 when something is lost or made anew, with 4 "
    "when nothing "
    "can be saved, with 6 when what was found is more than the limits permit: what fits is saved.";

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
