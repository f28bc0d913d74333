#include "Commands.hpp"

#include <iterator>

namespace flowbook::tool {

CommandList allCommands() {
    static constexpr const Command* kAll[] = {&kCat,   &kGrep,   &kInfo,   &kLs,    &kParts,   &kExtract, &kHtml,
                                              &kShow,  &kNew,    &kImport, &kSet,   &kReplace, &kEdit,    &kPack,
                                              &kCopy,  &kDigest, &kDiff,   &kMerge, &kResolve, &kGit,     &kCheck,
                                              &kCanon, &kStrip,  &kRepair, &kHelp};
    return {kAll, std::size(kAll)};
}

}  // namespace flowbook::tool
