// Finds the files that a command works on. A file that is named is taken under any name; in a folder only names of
// flowbooks count. What cannot be looked at becomes an input with a problem, so that it is reported in its place and
// counted in the exit code, while the others are worked on.
#include "io/InputOptions.hpp"

#include "io/FlowbookName.hpp"
#include "io/Input.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <cerrno>
#include <fts.h>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <system_error>

namespace flowbook::tool {

namespace {

// Millions of paths; a larger list is more likely to be another file than a list.
constexpr std::uint64_t kLongestList = std::uint64_t{1} << 30;
constexpr char kEmptyFolder[] = "no flowbook is in this folder; --allow-empty lets that pass";
constexpr char kEmptyList[] = "this list names no file; --allow-empty lets that pass";

using Walk = std::unique_ptr<FTS, int (*)(FTS*)>;

InputName unreadable(const std::string& path, int error) {
    return {path, "",
            Diagnosis{ExitCode::InputOutput, FlowbookErrorKind::InputOutput, "",
                      "cannot read: " + std::generic_category().message(error)}};
}

/// A link counts as what it leads to, unless that is a folder; one that leads nowhere is reported.
bool isFile(const FTSENT& entry) {
    struct stat status {};
    return entry.fts_info == FTS_F ||
           (entry.fts_info == FTS_SL && (::stat(entry.fts_accpath, &status) != 0 || S_ISREG(status.st_mode)));
}

/// The path of a file below the folder that was searched.
std::string placeBelow(const std::string& root, const std::string& path) {
    return path.substr(std::min(path.find_first_not_of('/', root.size()), path.size()));
}

std::string ownName(const std::string& argument) {
    return argument == "-" ? "stdin.tqx" : argument.substr(argument.find_last_of('/') + 1);
}

/// Of a folder that can be listed but not entered, nothing is known about what is in it: the folder is reported, once.
void addFolderOf(const FTSENT& entry, std::vector<InputName>& names) {
    const std::string path(entry.fts_path, entry.fts_pathlen - entry.fts_namelen);
    const std::string folder = path.size() > 1 ? path.substr(0, path.size() - 1) : path;
    if (names.empty() || !names.back().problem || names.back().path != folder) {
        names.push_back(unreadable(folder, entry.fts_errno));
    }
}

void take(FTS* walk, FTSENT& entry, const std::string& root, std::vector<InputName>& names) {
    // A folder that is named itself may begin with a dot, such as "." or "..".
    const bool isHidden = entry.fts_level > 0 && entry.fts_name[0] == '.';
    if (isHidden) {
        fts_set(walk, &entry, FTS_SKIP);
    } else if (entry.fts_info == FTS_DNR || entry.fts_info == FTS_ERR) {
        names.push_back(unreadable(entry.fts_path, entry.fts_errno));
    } else if (entry.fts_info == FTS_NS) {
        addFolderOf(entry, names);
    } else if (isFlowbookName(entry.fts_name) && isFile(entry)) {
        names.push_back({entry.fts_path, placeBelow(root, entry.fts_path), std::nullopt});
    }
}

/// Links to folders are not followed, as they may lead in a circle; files are sorted, so that every run prints the
/// same.
void addFolder(std::vector<InputName>& names, std::string folder) {
    char* roots[] = {folder.data(), nullptr};
    const Walk walk(fts_open(roots, FTS_PHYSICAL | FTS_COMFOLLOW | FTS_NOCHDIR, nullptr), &fts_close);
    if (walk == nullptr) {
        names.push_back(unreadable(folder, errno));
        return;
    }
    const auto first = static_cast<std::ptrdiff_t>(names.size());
    errno = 0;
    while (FTSENT* entry = fts_read(walk.get())) {
        take(walk.get(), *entry, folder, names);
        errno = 0;
    }
    if (errno != 0) {
        names.push_back(unreadable(folder, errno));
    }
    std::sort(names.begin() + first, names.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
}

void add(std::vector<InputName>& names, const std::string& argument, bool allowEmpty) {
    if (argument != "-" && isFolder(argument)) {
        const std::size_t before = names.size();
        addFolder(names, argument);
        if (names.size() == before && !allowEmpty) {
            names.push_back(
                {argument, "", Diagnosis{ExitCode::InputOutput, FlowbookErrorKind::Absent, "", kEmptyFolder}});
        }
    } else {
        names.push_back({argument, ownName(argument), std::nullopt});
    }
}

/// Empty lines name nothing and are passed over.
std::vector<std::string> split(const Bytes& list, char separator) {
    std::vector<std::string> names;
    for (auto at = list.begin(); at != list.end();) {
        const auto end = std::find(at, list.end(), static_cast<unsigned char>(separator));
        if (end != at) {
            names.emplace_back(at, end);
        }
        at = end == list.end() ? end : end + 1;
    }
    return names;
}

}  // namespace

bool isFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::vector<InputName> InputOptions::names() const {
    if (files.empty() && filesFrom.empty()) {
        throw Failure(ExitCode::Usage, "no file is named");
    }
    std::vector<InputName> names;
    for (const std::string& argument : files) {
        add(names, argument, allowEmpty);
    }
    for (const std::string& list : filesFrom) {
        const auto listed = split(readBytes(list, kLongestList), separatedByNul ? '\0' : '\n');
        if (listed.empty() && !allowEmpty) {
            throw Failure(ExitCode::InputOutput, list, kEmptyList, FlowbookErrorKind::Absent);
        }
        for (const std::string& name : listed) {
            add(names, name, allowEmpty);
        }
    }
    return names;
}

/// Two inputs of one name would overwrite each other in the folder; the second one is refused before any is written.
std::vector<InputName> namesForFolder(const InputOptions& inputs) {
    std::vector<InputName> names = inputs.names();
    std::map<std::string, std::string> taken;
    for (InputName& name : names) {
        const auto [first, isNew] = taken.emplace(name.nameInFolder, name.path);
        if (!name.problem && !isNew) {
            name.problem = Diagnosis{ExitCode::InputOutput, FlowbookErrorKind::Conflict, "",
                                     "would have the same name in the folder as '" + first->second + "'"};
        }
    }
    return names;
}

std::vector<InputName> onlyInput(const InputOptions& inputs) {
    std::vector<InputName> names = inputs.names();
    if (names.size() > 1) {
        throw Failure(ExitCode::Usage, "several flowbooks take a folder for what is made of them; name it with -d");
    }
    return names;
}

}  // namespace flowbook::tool
