// Finds the files that a command works on. A file that is named is taken under any name; in a folder only names of
// flowbooks count. What cannot be looked at becomes an input with a problem, so that it is reported in its place and
// counted in the exit code, while the others are worked on.
#include "io/InputOptions.hpp"

#include "io/FlowbookName.hpp"
#include "io/Input.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <sys/stat.h>
#include <system_error>

namespace flowbook::tool {

namespace {

namespace fs = std::filesystem;

// Millions of paths; a larger list is more likely to be another file than a list.
constexpr std::uint64_t kLongestList = std::uint64_t{1} << 30;
constexpr char kEmptyFolder[] = "no flowbook is in this folder; --allow-empty lets that pass";
constexpr char kEmptyList[] = "this list names no file; --allow-empty lets that pass";

InputName unreadable(const std::string& path, int error) {
    return {path, "",
            Diagnosis{ExitCode::InputOutput, FlowbookErrorKind::InputOutput, "",
                      "cannot read: " + std::generic_category().message(error)}};
}

/// A link counts as what it leads to, unless that is a folder; one that leads nowhere is reported.
bool isFile(const std::string& path, fs::file_status status) {
    std::error_code failure;
    return fs::is_regular_file(status) ||
           (fs::is_symlink(status) && (fs::is_regular_file(fs::status(path, failure)) || failure));
}

/// The path of a file below the folder that was searched.
std::string placeBelow(const std::string& root, const std::string& path) {
    return path.substr(std::min(path.find_first_not_of('/', root.size()), path.size()));
}

std::string ownName(const std::string& argument) {
    return argument == "-" ? "stdin.tqx" : argument.substr(argument.find_last_of('/') + 1);
}

/// Looks for flowbooks in a folder and those below it. Links to folders are not followed, as they may lead in a circle.
class Walk {
public:
    Walk(const std::string& root, std::vector<InputName>& names) : root_(root), names_(&names), folders_{root} {}

    void operator()() {
        while (!folders_.empty()) {
            const std::string folder = std::move(folders_.back());
            folders_.pop_back();
            list(folder);
        }
    }

private:
    /// What could be read of a list that breaks off is worked on, and the failure is reported.
    void list(const std::string& folder) {
        std::error_code failure;
        fs::directory_iterator at(folder, failure);
        while (!failure && at != fs::directory_iterator()) {
            if (!take(at->path().string(), at->path().filename().string(), failure)) {
                break;
            }
            at.increment(failure);
        }
        if (failure) {
            names_->push_back(unreadable(folder, failure.value()));
        }
    }

    /// @returns false when the folder can be listed but not entered: nothing is known then about what is in it.
    bool take(const std::string& path, const std::string& name, std::error_code& failure) {
        // Hidden files and folders hold what programs keep for themselves, such as git's objects.
        if (name.front() == '.') {
            return true;
        }
        const fs::file_status status = fs::symlink_status(path, failure);
        if (failure == std::errc::no_such_file_or_directory) {
            failure.clear();  // It was removed after the folder had been listed.
        } else if (failure) {
            return false;
        } else if (fs::is_directory(status)) {
            folders_.push_back(path);
        } else if (isFlowbookName(name) && isFile(path, status)) {
            names_->push_back({path, placeBelow(root_, path), std::nullopt});
        }
        return true;
    }

    std::string root_;
    std::vector<InputName>* names_;
    std::vector<std::string> folders_;  ///< that are left to be listed
};

/// Files are sorted, so that every run prints the same.
void addFolder(std::vector<InputName>& names, const std::string& folder) {
    const auto first = static_cast<std::ptrdiff_t>(names.size());
    Walk(folder, names)();
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
