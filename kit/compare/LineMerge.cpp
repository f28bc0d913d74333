// Merges three lists of numbers by git, which merges lines better than what would be written here, and in the way that
// its users know. The texts are in memory only (memfd_create), so nothing of them is left on a disk.
#include "kit/compare/LineMerge.hpp"

#include "opc/Exception.hpp"

#include <cerrno>
#include <cstdlib>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace flowbook::kit {

namespace {

/// The last line of all texts: where it is missing from the result, git has not merged to the end.
constexpr std::string_view kLastLine = "end\n";

[[noreturn]] void fail(const std::string& words) {
    throw opc::Exception(opc::ErrorKind::InputOutput, "cannot merge lines: " + words);
}

[[noreturn]] void failFor(const char* call, int error) {
    fail(std::string(call) + ": " + std::generic_category().message(error));
}

/// A file without a name, which another program reads by the path of its descriptor.
class MemoryFile {
public:
    MemoryFile() : descriptor_(memfd_create("flowbook-lines", MFD_CLOEXEC)) {
        if (descriptor_ < 0) {
            failFor("memfd_create", errno);
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(descriptor_); }

    void write(std::string_view text) {
        while (!text.empty()) {
            const ssize_t count = ::write(descriptor_, text.data(), text.size());
            if (count < 0 && errno != EINTR) {
                failFor("write", errno);
            }
            text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
        }
    }

    std::string read() const {
        std::string text(static_cast<std::size_t>(::lseek(descriptor_, 0, SEEK_END)), '\0');
        std::size_t at = 0;
        while (at < text.size()) {
            const ssize_t count = ::pread(descriptor_, &text[at], text.size() - at, static_cast<off_t>(at));
            if (count == 0 || (count < 0 && errno != EINTR)) {
                failFor("read", errno);
            }
            at += count < 0 ? 0 : static_cast<std::size_t>(count);
        }
        return text;
    }

    int descriptor() const noexcept { return descriptor_; }
    std::string path() const { return "/dev/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    posix_spawn_file_actions_t* get() noexcept { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

/// What git wrote shows how it merged, so its exit code is not needed, which is lost where the caller has its
/// children reaped by the system.
void waitFor(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
}

void runGit(std::vector<std::string> command, const MemoryFile (&inputs)[3], const MemoryFile& output) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    SpawnActions actions;
    for (const MemoryFile& input : inputs) {  // Onto itself, so that it stays open in git alone.
        posix_spawn_file_actions_adddup2(actions.get(), input.descriptor(), input.descriptor());
    }
    posix_spawn_file_actions_adddup2(actions.get(), output.descriptor(), STDOUT_FILENO);
    pid_t process = 0;
    const int error = posix_spawnp(&process, "git", actions.get(), nullptr, arguments.data(), environ);
    if (error != 0) {
        failFor("git", error);
    }
    waitFor(process);
}

std::string textOf(const LineNumbers& lines) {
    std::string text;
    for (const std::size_t line : lines) {
        text += std::to_string(line) + "\n";
    }
    return text += kLastLine;
}

/// Every line is a number or a marker.
std::vector<Hunk> hunksOf(const std::string& text) {
    std::vector<Hunk> hunks(1);
    bool isTheirs = false;
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        const char first = text[at];
        if (first == '<' || first == '>') {
            hunks.emplace_back();
            hunks.back().isConflict = first == '<';
            isTheirs = false;
        } else if (first == '=') {
            isTheirs = true;
        } else {
            LineNumbers& lines = isTheirs ? hunks.back().theirs : hunks.back().lines;
            lines.push_back(std::strtoull(&text[at], nullptr, 10));
        }
    }
    return hunks;
}

}  // namespace

std::vector<Hunk> mergeLines(const LineNumbers& base, const LineNumbers& ours, const LineNumbers& theirs) {
    MemoryFile files[3];
    files[0].write(textOf(ours));
    files[1].write(textOf(base));
    files[2].write(textOf(theirs));
    const MemoryFile output;
    // The user's settings may ask for markers of another form.
    runGit({"git", "-c", "merge.conflictStyle=merge", "merge-file", "--quiet", "--stdout", files[0].path(),
            files[1].path(), files[2].path()},
           files, output);
    std::string merged = output.read();
    if (merged.size() < kLastLine.size() ||
        merged.compare(merged.size() - kLastLine.size(), kLastLine.size(), kLastLine) != 0) {
        fail("git merge-file failed");
    }
    merged.resize(merged.size() - kLastLine.size());
    return hunksOf(merged);
}

}  // namespace flowbook::kit
