// Checks what a commit is going to hold, which may differ from the files of the working tree.
#include "commands/GitHook.hpp"

#include "commands/Findings.hpp"
#include "commands/GitSetup.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/FlowbookName.hpp"
#include "io/Program.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

std::vector<std::string> stagedFlowbooks() {
    const std::string all = requireGit({"diff", "--cached", "--name-only", "-z", "--no-renames", "--diff-filter=ACMT"});
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin < all.size();) {
        const std::size_t end = std::min(all.find('\0', begin), all.size());
        if (const std::string name = all.substr(begin, end - begin); isFlowbookName(name)) {
            names.push_back(name);
        }
        begin = end + 1;
    }
    return names;
}

/// What is staged under a name, which is relative to the top of the tree.
std::vector<kit::Finding> checkStaged(const std::string& name) {
    Answer staged = askProgram({"git", "cat-file", "blob", ":0:" + name});
    if (staged.code != 0) {
        throw Failure(ExitCode::InputOutput, name, "git cannot say what is staged of it");
    }
    const std::u16string memoryName = u"flowbook";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(memoryName, Bytes(staged.output.begin(), staged.output.end()));
    return kit::check(memoryName, foundation::storage::vfs::StorageSystemReference(memory));
}

}  // namespace

void checkStagedFlowbooks(Console& console) {
    requireRepository();
    for (const std::string& name : stagedFlowbooks()) {
        for (const kit::Finding& finding : checkStaged(name)) {
            console.out().line(describe(name, finding));
            console.note(ExitCode::NegativeFinding);
        }
    }
}

}  // namespace flowbook::tool
