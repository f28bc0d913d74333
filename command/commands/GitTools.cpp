#include "commands/GitTools.hpp"

#include "commands/ChangePages.hpp"
#include "commands/CodeEditing.hpp"
#include "commands/GitSetup.hpp"
#include "commands/PageOf.hpp"
#include "io/FlowbookName.hpp"
#include "io/Program.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <filesystem>
#include <set>

namespace flowbook::tool {

namespace {

/// What git's own tools run another tool with; the arguments are the tool and the files.
// git's own scripts know how each tool is called. They are run with the texts in the place of the flowbooks.
constexpr char kRunMergeTool[] = R"(TOOL_MODE=merge
. "$(git --exec-path)/git-mergetool--lib" || exit 3
tool=$1 BASE=$2 LOCAL=$3 REMOTE=$4 MERGED=$5 BACKUP=$5.before
cp "$MERGED" "$BACKUP" || exit 3
test -n "$tool" || tool=$(guess_merge_tool) || exit 3
! command -v initialize_merge_tool >/dev/null || initialize_merge_tool "$tool" || exit 3
run_merge_tool "$tool" true)";

constexpr char kRunDiffTool[] = R"(TOOL_MODE=diff
. "$(git --exec-path)/git-mergetool--lib" || exit 3
tool=$1 LOCAL=$2 REMOTE=$3 MERGED=$4 BASE=$4
test -n "$tool" || tool=$(guess_merge_tool) || exit 3
! command -v initialize_merge_tool >/dev/null || initialize_merge_tool "$tool" || exit 3
run_merge_tool "$tool" false)";

/// The text that a merge tool shows of a version; empty when there is none.
std::string textOfVersion(const std::string& file) {
    return std::filesystem::file_size(file) == 0 ? "" : CodeEditing(Input(file, Input::Purpose::Update), false).text();
}

int runOwnTool(const MergeFiles& files) {
    return runProgram({"sh", "-c", kRunMergeTool, "flowbook", formerTool("merge.tool"), files.base, files.local,
                       files.remote, files.merged});
}

std::string ownDiffTool() {
    const std::string tool = formerTool("diff.tool");
    // git takes the merge tool where no other is configured for showing differences.
    return tool.empty() ? formerTool("merge.tool") : tool;
}

/// The files below a folder by their places in it.
std::set<std::string> filesIn(const std::filesystem::path& folder) {
    std::set<std::string> files;
    for (const auto& each : std::filesystem::recursive_directory_iterator(folder)) {
        if (!each.is_directory()) {
            files.insert(each.path().lexically_relative(folder).string());
        }
    }
    return files;
}

/// @returns whether there are files beside the flowbooks.
bool showFolders(const std::filesystem::path& local, const std::filesystem::path& remote) {
    const std::set<std::string> before = filesIn(local);
    const std::set<std::string> after = filesIn(remote);
    std::set<std::string> all = before;
    all.insert(after.begin(), after.end());
    const auto fileIn = [](const std::filesystem::path& folder, const std::set<std::string>& files,
                           const std::string& name) {
        return files.count(name) == 0 ? "/dev/null" : (folder / name).string();
    };
    for (const std::string& name : all) {
        if (isFlowbookName(name)) {
            // With --dir-diff git hands over two folders, in which a file that is in one of them only was added or
            // removed.
            showInBrowser(changesBetween(name, fileIn(local, before, name), fileIn(remote, after, name)).html);
        }
    }
    return !std::all_of(all.begin(), all.end(), isFlowbookName);
}

/// Keeps the merged text when it cannot be saved, as it may be the work of hours.
void saveMerged(const Input& merged, const CodeEditing& editing, const std::string& text, TemporaryFolder& folder) {
    const Bytes edited = readBytes(text, std::numeric_limits<std::uint64_t>::max());
    try {
        editing.save(edited, text);
    } catch (const Interrupted&) {
        folder.keep();
        throw;
    } catch (const std::exception&) {
        folder.keep();
        const Diagnosis diagnosis = diagnose();
        throw Failure(diagnosis.code, merged.argument(),
                      merged.inWords(diagnosis.message) + "; the merged text is kept in " + text);
    }
}

}  // namespace

void runMergeTool(Console& console, const MergeFiles& files) {
    // git asks the configured tool for all files; those that are no flowbooks go to the tool that the user had before.
    if (!isFlowbookName(files.merged)) {
        console.note(runOwnTool(files) == 0 ? ExitCode::Fine : ExitCode::NegativeFinding);
        return;
    }
    for (const std::string& file : {files.base, files.local, files.remote}) {
        if (!std::filesystem::exists(file)) {
            throw Failure(ExitCode::InputOutput, files.merged, "git names a version '" + file + "' that is not there");
        }
    }
    const Input merged(files.merged, Input::Purpose::Update);
    const CodeEditing editing(merged, false);
    TemporaryFolder folder;
    const MergeFiles texts{
        folder.put("base.txt", textOfVersion(files.base)), folder.put("local.txt", textOfVersion(files.local)),
        folder.put("remote.txt", textOfVersion(files.remote)), folder.put("merged.txt", editing.text())};
    if (runOwnTool(texts) != 0) {
        throw Failure(ExitCode::NegativeFinding, files.merged, "the merge tool did not end well; nothing is changed");
    }
    saveMerged(merged, editing, texts.merged, folder);
}

void runDiffTool(Console& console, const std::string& local, const std::string& remote, const std::string& merged) {
    const bool isFolder = std::filesystem::is_directory(local) && std::filesystem::is_directory(remote);
    if (!isFolder && isFlowbookName(merged)) {
        showInBrowser(changesBetween(merged, local, remote).html);
    } else if (!isFolder || showFolders(local, remote)) {
        const int code = runProgram({"sh", "-c", kRunDiffTool, "flowbook", ownDiffTool(), local, remote, merged});
        console.note(code == 0 ? ExitCode::Fine : ExitCode::NegativeFinding);
    }
}

}  // namespace flowbook::tool
