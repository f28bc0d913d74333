#include "commands/GitSetup.hpp"

#include "io/Input.hpp"
#include "io/NewFile.hpp"
#include "io/Program.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

namespace flowbook::tool {

namespace {

const std::pair<std::string, std::string> kSettings[] = {
    {"diff.flowbook.textconv", "flowbook git textconv"},
    {"diff.flowbook.cachetextconv", "true"},
    {"merge.flowbook.name", "flowbooks by paragraph, property and part"},
    {"merge.flowbook.driver", "flowbook merge %O %A %B"}};

const std::string kAttributes[] = {"*.[tT][qQ][xX] diff=flowbook merge=flowbook",
                                   "*.[tT][qQ][aA][pP][pP] diff=flowbook merge=flowbook"};

/// What a git command prints, less the line feed at its end; nothing when it ends with another code than 0.
std::optional<std::string> askGit(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"git"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Answer answer = askProgram(std::move(command));
    if (answer.code != 0) {
        return std::nullopt;
    }
    if (!answer.output.empty() && answer.output.back() == '\n') {
        answer.output.pop_back();
    }
    return std::move(answer.output);
}

std::string optionOf(GitScope scope) { return scope == GitScope::Global ? "--global" : "--local"; }

std::string environmentOr(const char* name, const std::string& otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == '\0' ? otherwise : value;
}

std::string attributesFile(GitScope scope) {
    if (scope == GitScope::Local) {
        const std::optional<std::string> top = askGit({"rev-parse", "--show-toplevel"});
        if (!top) {
            throw Failure(ExitCode::InputOutput, "there is no git working tree here; --global sets up all of yours");
        }
        return *top + "/.gitattributes";
    }
    const std::string home = environmentOr("HOME", "");
    return askGit({"config", "--global", "--type=path", "--get", "core.attributesFile"})
        .value_or(environmentOr("XDG_CONFIG_HOME", home + "/.config") + "/git/attributes");
}

std::vector<std::string> readLines(const std::string& file) {
    std::vector<std::string> lines;
    const Bytes bytes = std::filesystem::exists(file) ? readBytes(file, opc::Limits().maxPackageXmlSize) : Bytes();
    std::string line;
    for (const unsigned char byte : bytes) {
        if (byte == '\n') {
            lines.push_back(std::exchange(line, {}));
        } else {
            line += static_cast<char>(byte);
        }
    }
    if (!line.empty()) {
        lines.push_back(line);
    }
    return lines;
}

void writeLines(Console& console, const std::string& file, const std::vector<std::string>& lines) {
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    putFile(console.out(), file, Bytes(text.begin(), text.end()), {true, false});
}

void requireDone(int code, const std::string& what) {
    if (code != 0) {
        throw Failure(ExitCode::InputOutput, what + " failed with exit code " + std::to_string(code));
    }
}

/// Removes the lines that this command writes. @returns whether there were any.
bool removeAttributes(std::vector<std::string>& lines) {
    const std::size_t before = lines.size();
    for (const std::string& attribute : kAttributes) {
        lines.erase(std::remove(lines.begin(), lines.end(), attribute), lines.end());
    }
    return lines.size() != before;
}

void configure(Console& console, GitScope scope, const std::string& key, const std::string& value) {
    if (askGit({"config", optionOf(scope), "--get", key}) != value) {
        requireDone(runProgram({"git", "config", optionOf(scope), key, value}), "git config");
        console.out().line("git config " + optionOf(scope) + " " + key + " '" + value + "'");
    }
}

void addAttribute(Console& console, const std::string& file, std::vector<std::string>& lines,
                  const std::string& attribute) {
    if (std::count(lines.begin(), lines.end(), attribute) == 0) {
        lines.push_back(attribute);
        console.out().line(file + ": " + attribute);
    }
}

}  // namespace

void setUpGit(Console& console, GitScope scope) {
    const std::string file = attributesFile(scope);
    for (const auto& [key, value] : kSettings) {
        configure(console, scope, key, value);
    }
    const std::vector<std::string> old = readLines(file);
    std::vector<std::string> lines = old;
    for (const std::string& attribute : kAttributes) {
        addAttribute(console, file, lines, attribute);
    }
    if (lines != old) {
        writeLines(console, file, lines);
    }
}

void undoGitSetup(Console& console, GitScope scope) {
    const std::string file = attributesFile(scope);
    for (const auto& [key, value] : kSettings) {
        if (askGit({"config", optionOf(scope), "--get", key})) {
            requireDone(runProgram({"git", "config", optionOf(scope), "--unset-all", key}), "git config");
            console.out().line("git config " + optionOf(scope) + " --unset-all " + key);
        }
    }
    std::vector<std::string> lines = readLines(file);
    if (removeAttributes(lines)) {
        writeLines(console, file, lines);
        console.out().line(file + ": the lines of flowbooks removed");
    }
}

}  // namespace flowbook::tool
