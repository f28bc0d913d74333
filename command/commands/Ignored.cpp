// Finds out what .gitignore and .ignore leave out, by asking git: the rules of patterns are many, and only git's own
// answer is what users of git expect.
#include "commands/Ignored.hpp"

#include "io/Program.hpp"
#include "io/TemporaryFolder.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <filesystem>
#include <set>

namespace flowbook::tool {

namespace {

std::set<std::string> splitAtNul(const std::string& list) {
    std::set<std::string> names;
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t end = std::min(list.find('\0', begin), list.size());
        names.insert(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return names;
}

/// The paths below a folder that the .gitignore files of its repository name; none when it lies in no repository.
std::set<std::string> ignoredByGit(const std::string& folder, const std::string& paths) {
    const TemporaryFolder scratch;
    // A file and not a pipe: git answers while it still reads, and both could wait for each other.
    const std::string list = scratch.put("paths", paths);
    const Answer answer =
        askProgram({"sh", "-c", "git -C \"$1\" check-ignore -z --stdin <\"$2\" 2>/dev/null", "sh", folder, list});
    return answer.code == 0 ? splitAtNul(answer.output) : std::set<std::string>();
}

/// The paths below a folder that are not named by its .ignore files, as a repository without any commit sees them.
std::set<std::string> keptByIgnoreFiles(const std::string& folder) {
    const TemporaryFolder scratch;
    // A repository of its own, as .ignore counts also outside of any, and must not mix with .gitignore.
    const std::string repository = scratch.path() + "/git";
    if (askProgram({"git", "init", "-q", "--bare", repository}).code != 0) {
        throw Failure(ExitCode::InputOutput, "git init failed; --gitignore takes git");
    }
    const Answer answer = askProgram({"git", "--git-dir=" + repository, "--work-tree=" + folder, "-C", folder,
                                      "ls-files", "-z", "--others", "--exclude-per-directory=.ignore"});
    std::filesystem::remove_all(repository);
    if (answer.code != 0) {
        throw Failure(ExitCode::InputOutput, folder, "git ls-files failed");
    }
    return splitAtNul(answer.output);
}

bool hasIgnoreFile(const std::string& folder) {
    using std::filesystem::recursive_directory_iterator;
    const auto skip = std::filesystem::directory_options::skip_permission_denied;
    const auto end = recursive_directory_iterator();
    return std::any_of(recursive_directory_iterator(folder, skip), end,
                       [](const auto& entry) { return entry.path().filename() == ".ignore"; });
}

}  // namespace

void removeIgnored(std::vector<InputName>& names, const std::vector<std::string>& arguments) {
    for (const std::string& folder : arguments) {
        if (folder == "-" || !std::filesystem::is_directory(folder)) {
            continue;
        }
        const auto isBelow = [&](const InputName& name) {
            return !name.problem && name.path.size() > name.nameInFolder.size() &&
                   std::filesystem::path(folder) / name.nameInFolder == std::filesystem::path(name.path);
        };
        std::string paths;
        for (const InputName& name : names) {
            paths += isBelow(name) ? name.nameInFolder + '\0' : "";
        }
        const std::set<std::string> ignored = ignoredByGit(folder, paths);
        const bool hasFile = hasIgnoreFile(folder);
        const std::set<std::string> kept = hasFile ? keptByIgnoreFiles(folder) : std::set<std::string>();
        const auto isIgnored = [&](const InputName& name) {
            return isBelow(name) &&
                   (ignored.count(name.nameInFolder) != 0 || (hasFile && kept.count(name.nameInFolder) == 0));
        };
        names.erase(std::remove_if(names.begin(), names.end(), isIgnored), names.end());
    }
}

}  // namespace flowbook::tool
