#include "commands/GitHook.hpp"

#include "commands/CodeEditing.hpp"
#include "commands/Findings.hpp"
#include "commands/GitSetup.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/FlowbookName.hpp"
#include "io/Program.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <filesystem>

namespace flowbook::tool {

namespace {

/// The file that git's own tool runs another tool with; its arguments are the tool and the four files.
constexpr char kRunTool[] = R"(TOOL_MODE=merge
. "$(git --exec-path)/git-mergetool--lib" || exit 3
tool=$1 BASE=$2 LOCAL=$3 REMOTE=$4 MERGED=$5 BACKUP=$5.before
cp "$MERGED" "$BACKUP" || exit 3
test -n "$tool" || tool=$(guess_merge_tool) || exit 3
! command -v initialize_merge_tool >/dev/null || initialize_merge_tool "$tool" || exit 3
run_merge_tool "$tool" true)";

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
        throw Failure(ExitCode::InputOutput, name, "git cannot tell what is staged of it");
    }
    const std::u16string memoryName = u"flowbook";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(memoryName, Bytes(staged.output.begin(), staged.output.end()));
    return kit::check(memoryName, foundation::storage::vfs::StorageSystemReference(memory));
}

/// The text that a merge tool shows of a version; empty when there is none.
std::string textOfVersion(const std::string& file) {
    std::error_code gone;
    if (std::filesystem::file_size(file, gone) == 0 || gone) {
        return "";
    }
    return CodeEditing(Input(file, Input::Purpose::Update), false).text();
}

int runTool(const MergeFiles& files) {
    return runProgram(
        {"sh", "-c", kRunTool, "flowbook", formerMergeTool(), files.base, files.local, files.remote, files.merged});
}

}  // namespace

void checkStagedFlowbooks(Console& console) {
    for (const std::string& name : stagedFlowbooks()) {
        for (const kit::Finding& finding : checkStaged(name)) {
            console.out().line(describe(name, finding));
            console.note(ExitCode::NegativeFinding);
        }
    }
}

void runMergeTool(Console& console, const MergeFiles& files) {
    if (!isFlowbookName(files.merged)) {
        console.note(runTool(files) == 0 ? ExitCode::Fine : ExitCode::NegativeFinding);
        return;
    }
    const Input merged(files.merged, Input::Purpose::Update);
    const CodeEditing editing(merged, false);
    TemporaryFolder folder;
    const MergeFiles texts{
        folder.put("base.txt", textOfVersion(files.base)), folder.put("local.txt", textOfVersion(files.local)),
        folder.put("remote.txt", textOfVersion(files.remote)), folder.put("merged.txt", editing.text())};
    if (runTool(texts) != 0) {
        throw Failure(ExitCode::NegativeFinding, files.merged, "the merge tool did not end well; nothing is changed");
    }
    const Bytes edited = readBytes(texts.merged, std::numeric_limits<std::uint64_t>::max());
    try {
        editing.save(edited, texts.merged);
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception&) {
        folder.keep();
        const Diagnosis diagnosis = diagnose();
        throw Failure(diagnosis.code, files.merged,
                      merged.inWords(diagnosis.message) + "; the merged text is kept in " + texts.merged);
    }
}

}  // namespace flowbook::tool
