// Prints help from the tables of options: for people, and as JSON lines from which the man page, the completions and
// README's list are made.
#include "terminal/Help.hpp"

#include "terminal/Failure.hpp"
#include "terminal/Json.hpp"
#include "terminal/Suggestion.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

constexpr std::size_t kLineWidth = 80;
constexpr std::size_t kOptionColumn = 26;

constexpr std::string_view kExitCodes = "Exit codes: 0 fine, 1 a negative finding, 2 usage, 3 input or output, "
                                        "4 not a flowbook or damaged, 5 encrypted, 6 over a limit. "
                                        "With several files the highest counts.";

/// Breaks a paragraph into lines of at most kLineWidth characters. Sources are ASCII, so a byte is a column.
void printWrapped(Sink& out, std::string line, std::string_view text, std::size_t indent) {
    // A line that has nothing but its indentation, or its option, takes any word: a longer one has no better place.
    const std::size_t empty = line.size();
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find_first_of(" \n"));
        if (line.size() > indent && line.size() > empty && line.size() + 1 + word.size() > kLineWidth) {
            out.line(line);
            line = std::string(indent, ' ');
        }
        line += (line.size() == indent || line.size() == empty ? "" : " ") + std::string(word);
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    out.line(line);
}

/// Calls `each` with what stands between two occurrences of the separator.
template <class Each>
void split(std::string_view text, std::string_view separator, Each each) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find(separator));
        each(piece);
        text.remove_prefix(std::min(piece.size() + separator.size(), text.size()));
    }
}

std::string spelling(const Option& option) {
    if (option.isPlace()) {
        return "  " + std::string(option.name);
    }
    const std::string letter = option.letter == '\0' ? "    " : std::string("-") + option.letter + ", ";
    return "  " + letter + std::string(option.name) + (option.isFlag() ? "" : "=" + std::string(option.value));
}

void printOption(Sink& out, const Option& option) {
    std::string left = spelling(option);
    if (left.size() + 2 > kOptionColumn) {
        out.line(left);
        left.clear();
    }
    left.resize(kOptionColumn, ' ');
    const std::string standard = option.standard.empty() ? "" : " (" + std::string(option.standard) + ")";
    const std::string details = option.details.empty() ? "" : ". " + std::string(option.details);
    printWrapped(out, left, std::string(option.help) + standard + details, kOptionColumn);
}

template <class Belongs>
void printGroup(Sink& out, const Command& command, std::string_view title, Belongs belongs) {
    bool isFirst = true;
    for (const Option& option : command) {
        if (!option.isHidden && belongs(option)) {
            if (isFirst) {
                out.line("");
                out.line(title);
                isFirst = false;
            }
            printOption(out, option);
        }
    }
}

std::string usage(const Command& command) {
    std::string line = "usage: flowbook " + std::string(command.name) + " [OPTION]...";
    for (const Option& option : command) {
        if (!option.isPlace() && option.isRequired) {
            line += " " + std::string(option.name) + "=" + std::string(option.value);
        }
    }
    for (const Option& option : command) {
        if (option.isPlace()) {
            const std::string name(option.name);
            // Brackets are for what may be missing; the dots of a repeatable place say so already.
            line += option.isRequired || option.isRepeatable ? " " + name : " [" + name + "]";
        }
    }
    return line;
}

void writeOption(Json& json, const Option& option) {
    static constexpr std::string_view kGroups[] = {"command", "inputs", "output"};
    const std::string letter(option.letter == '\0' ? 0U : 1U, option.letter);
    json.openObject().field("name", option.name).field("letter", letter).field("value", option.value);
    json.field("help", option.help).field("default", option.standard).field("details", option.details);
    json.field("without", option.without).field("with", option.with);
    json.field("group", kGroups[static_cast<std::size_t>(option.group)]);
    json.count("required", option.isRequired ? 1 : 0).count("repeatable", option.isRepeatable ? 1 : 0);
    json.count("hidden", option.isHidden ? 1 : 0).closeObject();
}

}  // namespace

const Command* CommandList::find(std::string_view name) const {
    const auto* const found = std::find_if(begin(), end(), [&](const Command* each) { return each->name == name; });
    return found == end() ? nullptr : *found;
}

const Command& CommandList::get(std::string_view name) const {
    if (const Command* const command = find(name)) {
        return *command;
    }
    std::vector<std::string> names;
    for (const Command* const each : *this) {
        names.emplace_back(each->name);
    }
    const std::string word(name);
    throw Failure(ExitCode::Usage,
                  word.rfind('-', 0) == 0
                      ? "there is no option '" + word + "' without a command (see flowbook help)"
                      : "there is no command '" + word + "'" + suggestion(word, names) + " (see flowbook help)");
}

void printHelp(Sink& out, const Command& command) {
    out.line(usage(command));
    out.line("");
    printWrapped(out, "", std::string(command.summary) + ".", 0);
    split(command.description, "\n\n", [&](std::string_view paragraph) {
        out.line("");
        printWrapped(out, "", paragraph, 0);
    });
    printGroup(out, command, "Arguments:", [](const Option& option) { return option.isPlace(); });
    const std::pair<OptionGroup, std::string_view> groups[] = {
        {OptionGroup::Command, "Options:"}, {OptionGroup::Inputs, "Inputs:"}, {OptionGroup::Output, "Output:"}};
    for (const auto& [group, title] : groups) {
        printGroup(out, command, title,
                   [wanted = group](const Option& option) { return !option.isPlace() && option.group == wanted; });
    }
    out.line("");
    out.line("Examples:");
    split(command.examples, "\n", [&](std::string_view line) { out.line("  " + std::string(line)); });
}

void printOverview(Sink& out, const CommandList& commands) {
    out.line("usage: flowbook COMMAND [OPTION]... [ARGUMENT]...");
    out.line("");
    out.line("Reads and writes flowbook files (.tqx, .tqapp).");
    out.line("");
    out.line("Commands:");
    for (const Command* const command : commands) {
        std::string line = "  " + std::string(command->name);
        line.resize(12, ' ');
        out.line(line + std::string(command->summary));
    }
    out.line("");
    out.line("'flowbook help COMMAND' or 'flowbook COMMAND --help' explains a command,");
    out.line("'flowbook --version' prints the version. '-' names standard input or output.");
    out.line("");
    printWrapped(out, "", kExitCodes, 0);
}

void printTable(Sink& out, const CommandList& commands) {
    for (const Command* const command : commands) {
        Json json(out);
        json.openObject().field("name", command->name).field("summary", command->summary);
        json.field("description", command->description).field("examples", command->examples);
        json.key("options").openArray();
        for (const Option& option : *command) {
            writeOption(json, option);
        }
        json.closeArray().closeObject();
        out.line("");
    }
}

}  // namespace flowbook::tool
