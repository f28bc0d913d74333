// Writes what git needs to know into its configuration, attributes and hooks, and takes it away again without a loss.
// Each value that is in the way is kept under a key of its own and comes back with --undo; what the user changed after
// the setup is the user's and stays.
#include "commands/GitSetup.hpp"

#include "io/Input.hpp"
#include "io/NewFile.hpp"
#include "io/Program.hpp"
#include "kit/compare/TextForm.hpp"
#include "kit/document/Characters.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <unistd.h>
#include <utility>

namespace flowbook::tool {

namespace {

using Setting = std::pair<std::string, std::string>;

// git compares names with case, unless core.ignoreCase is set, so both cases of each letter are named.
constexpr const char* kPatterns[] = {"*.[tT][qQ][xX]", "*.[tT][qQ][aA][pP][pP]"};
// Where git keeps the texts that it caches for "git diff" (cachetextconv).
constexpr char kNotes[] = "refs/notes/textconv/flowbook";
constexpr char kFormer[] = "flowbook.before.";  // opens the key under which a setting of the user's is kept
constexpr char kFormerEnd[] = "flowbook.before.attributes";
constexpr char kHookMark[] = "# flowbook git setup --hook wrote this file; --undo removes it.";

/// How a value that this command writes is distinguished from one of the user's: a piece of it, or, for values that say
/// nothing by themselves, the key whose value does.
struct Trait {
    const char* key;
    const char* piece;
    const char* partner;
};

constexpr Trait kTraits[] = {{"diff.flowbook.textconv", " git textconv", nullptr},
                             {"diff.flowbook.cachetextconv", nullptr, "diff.flowbook.textconv"},
                             {"merge.flowbook.name", "flowbooks by paragraph", nullptr},
                             {"merge.flowbook.driver", " merge ", nullptr},
                             {"mergetool.flowbook.cmd", " git mergetool", nullptr},
                             {"mergetool.flowbook.trustExitCode", nullptr, "mergetool.flowbook.cmd"},
                             {"merge.tool", "flowbook", nullptr},
                             {"difftool.flowbook.cmd", R"( -- "$LOCAL" "$REMOTE")", nullptr},
                             {"filter.flowbook.process", " git filter", nullptr},
                             {"filter.flowbook.required", nullptr, "filter.flowbook.process"}};

std::string environmentOr(const char* name, const std::string& otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == '\0' ? otherwise : value;
}

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(at, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

/// In quotes of a POSIX shell.
std::string inShellQuotes(const std::string& word) {
    std::string result = "'";
    for (const char c : word) {
        result += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return result + "'";
}

/// git's configuration, of this repository or of the user.
class Config {
public:
    explicit Config(bool isGlobal) : scope_(isGlobal ? "--global" : "--local") {}

    // -z, as a value may hold line feeds.
    std::vector<std::string> values(const std::string& key) const {
        const auto answer = askGit({"config", scope_, "-z", "--get-all", key});
        return answer ? split(*answer, '\0') : std::vector<std::string>();
    }

    void set(Console& console, const std::string& key, const std::string& value) const {
        // The key may have several values, and git refuses to set such a key without this option.
        requireGit({"config", scope_, "--replace-all", key, value});
        console.out().line("git config " + scope_ + " " + key + " " + inShellQuotes(printable(value)));
    }

    void add(const std::string& key, const std::string& value) const {
        requireGit({"config", scope_, "--add", key, value});
    }

    void restore(Console& console, const std::string& key, const std::string& value) const {
        add(key, value);
        console.out().line("git config " + scope_ + " --add " + key + " " + inShellQuotes(printable(value)));
    }

    void unset(const std::string& key) const { requireGit({"config", scope_, "--unset-all", key}); }

    void unset(Console& console, const std::string& key) const {
        unset(key);
        console.out().line("git config " + scope_ + " --unset-all " + key);
    }

    /// Whether this command wrote what a key has.
    bool isOurs(const Trait& trait) const {
        if (trait.partner != nullptr) {
            const auto partner = std::find_if(std::begin(kTraits), std::end(kTraits), [&](const Trait& each) {
                return std::string(each.key) == trait.partner;
            });
            return isOurs(*partner);
        }
        const std::vector<std::string> all = values(trait.key);
        return all.size() == 1 && all.front().find(trait.piece) != std::string::npos;
    }

private:
    std::string scope_;
};

/// A word for a POSIX shell.
std::string quoted(const std::string& word) {
    constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+./,@";
    if (word.find_first_not_of(kPlain) == std::string::npos) {
        return word;
    }
    return inShellQuotes(word);
}

bool isOnPath(const std::string& program) {
    for (const std::string& folder : split(environmentOr("PATH", ""), ':')) {
        if (::access(((folder.empty() ? "." : folder) + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

/// What git is to call: the name if the path leads to it, else where this program lies.
std::string ownCommand(Console& console) {
    if (isOnPath("flowbook")) {
        return "flowbook";
    }
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").string();
    console.say("'flowbook' is not on the path, so git will call " + printable(own));
    return quoted(own);
}

/// git takes a percent sign in a driver's command for one of its placeholders.
std::string doubled(const std::string& text, char what) {
    std::string result;
    for (const char c : text) {
        result.append(c == what ? 2 : 1, c);
    }
    return result;
}

/// The number that a version such as "2.39.5" or "git version 2.39.5" begins with: 239.
unsigned gitVersion() {
    unsigned major = 0;
    unsigned minor = 0;
    const std::string version = requireGit({"version"});
    return std::sscanf(version.c_str(), "git version %u.%u", &major, &minor) == 2 ? major * 100 + minor : 0;
}

std::string textconvOf(const std::string& command) {
    return command + " git textconv --form=" + std::to_string(kit::kTextFormVersion) + " --";
}

std::vector<Setting> settingsOf(const GitSetup& setup, const std::string& command) {
    // Earlier versions of git do not pass the names of the sides, which merge looks for elsewhere then.
    constexpr unsigned kTellsLabels = 244;
    const std::string labels = gitVersion() < kTellsLabels ? "" : " --base-label=%S --ours-label=%X --theirs-label=%Y";
    // The texts are cached by git until the command that makes them changes, so the form's version stands in it.
    std::vector<Setting> settings{
        {"diff.flowbook.textconv", textconvOf(command)},
        {"diff.flowbook.cachetextconv", "true"},
        {"merge.flowbook.name", "flowbooks by paragraph, property and part"},
        {"merge.flowbook.driver", doubled(command, '%') + " merge --file=%P --marker-size=%L" + labels + " %O %A %B"},
        {"mergetool.flowbook.cmd", command + " git mergetool -- \"$BASE\" \"$LOCAL\" \"$REMOTE\" \"$MERGED\""},
        {"mergetool.flowbook.trustExitCode", "true"},
        {"merge.tool", "flowbook"},
        {"difftool.flowbook.cmd", command + " git difftool -- \"$LOCAL\" \"$REMOTE\" \"$MERGED\""}};
    if (setup.filter) {
        settings.emplace_back("filter.flowbook.process",
                              command + " git filter" + (setup.stripOutputs ? " --strip-outputs" : ""));
        // Otherwise git goes on where the filter dies, and makes files empty that it had left with the filter.
        settings.emplace_back("filter.flowbook.required", "true");
    }
    return settings;
}

/// Keeps what the user has under a key, unless this command wrote it.
void keepFormer(const Config& config, const std::string& key) {
    const auto* const trait =
        std::find_if(std::begin(kTraits), std::end(kTraits), [&](const Trait& each) { return each.key == key; });
    const std::vector<std::string> present = config.values(key);
    // What was kept before is the user's own value. Running setup twice must not put ours in its place.
    if (present.empty() || config.isOurs(*trait) || !config.values(kFormer + key).empty()) {
        return;
    }
    for (const std::string& value : present) {
        config.add(kFormer + key, value);
    }
}

bool isBare() { return askGit({"rev-parse", "--is-bare-repository"}) == "true"; }

std::string topOfTree() {
    const std::optional<std::string> top = askGit({"rev-parse", "--show-toplevel"});
    if (!top) {
        throw Failure(ExitCode::InputOutput, "there is no git working tree here; --global sets up all of yours");
    }
    return *top;
}

std::string attributesFile(bool isGlobal) {
    if (!isGlobal) {
        // A bare repository has no tree to put a file into; elsewhere the file is committed, so that all who clone have
        // it.
        return isBare() ? requireGit({"rev-parse", "--git-path", "info/attributes"}) : topOfTree() + "/.gitattributes";
    }
    return askGit({"config", "--global", "--type=path", "--get", "core.attributesFile"})
        .value_or(environmentOr("XDG_CONFIG_HOME", environmentOr("HOME", "") + "/.config") + "/git/attributes");
}

std::vector<std::string> readLines(const std::string& file) {
    if (!std::filesystem::exists(file)) {
        return {};
    }
    const Bytes bytes = readBytes(file, opc::Limits().maxPackageXmlSize);
    return split(std::string(bytes.begin(), bytes.end()), '\n');
}

/// @param isEnded  whether a line feed ends the last line.
void writeLines(Console& console, const std::string& file, const std::vector<std::string>& lines, bool isEnded = true) {
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    // The file was not ended by a line feed before the setup, and gets the very same bytes back.
    text.resize(text.size() - (isEnded || text.empty() ? 0 : 1));
    putFile(console.out(), file, Bytes(text.begin(), text.end()), {true, false});
}

std::string attributeLine(const std::string& pattern, bool filter) {
    return pattern + " diff=flowbook merge=flowbook" + (filter ? " filter=flowbook" : "");
}

bool isOurAttribute(const std::string& line, const std::string& pattern) {
    return line == attributeLine(pattern, false) || line == attributeLine(pattern, true);
}

/// What undoing has to know of a file of attributes besides its lines: whether it was empty, or not ended by a line
/// feed; nothing of any other.
std::string endOf(const std::string& file) {
    std::error_code gone;
    const std::uintmax_t size = std::filesystem::file_size(file, gone);
    if (gone || size == 0) {
        return gone ? "" : "empty";
    }
    return readBytes(file, opc::Limits().maxPackageXmlSize).back() == '\n' ? "" : "unended";
}

/// Puts the lines for flowbooks into the attributes, in the place of those of an earlier setup.
void addAttributes(Console& console, const Config& config, const std::string& file, bool filter) {
    const std::vector<std::string> old = readLines(file);
    const std::string end = endOf(file);
    std::vector<std::string> lines = old;
    for (const char* const pattern : kPatterns) {
        const std::string wanted = attributeLine(pattern, filter);
        const auto present = std::find_if(lines.begin(), lines.end(),
                                          [&](const std::string& line) { return isOurAttribute(line, pattern); });
        if (present != lines.end() && *present == wanted) {
            continue;
        }
        // A line of an earlier setup is changed where it stands, since of several lines the last that matches decides.
        if (present == lines.end()) {
            lines.push_back(wanted);
        } else {
            *present = wanted;
        }
        console.out().line(printable(file) + ": " + wanted);
    }
    if (lines == old) {
        return;
    }
    // It is noted before the file is written: a setup that is interrupted in between can be undone all the same.
    if (!end.empty() && config.values(kFormerEnd).empty()) {
        config.add(kFormerEnd, end);
    }
    writeLines(console, file, lines);
}

void removeAttributes(Console& console, const Config& config, const std::string& file) {
    const std::vector<std::string> ends = config.values(kFormerEnd);
    const std::string end = ends.empty() ? "" : ends.front();
    if (!ends.empty()) {
        config.unset(kFormerEnd);
    }
    std::vector<std::string> lines = readLines(file);
    const std::size_t before = lines.size();
    const bool isLast = std::any_of(std::begin(kPatterns), std::end(kPatterns), [&](const char* pattern) {
        return !lines.empty() && isOurAttribute(lines.back(), pattern);
    });
    for (const char* const pattern : kPatterns) {
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [&](const std::string& line) { return isOurAttribute(line, pattern); }),
                    lines.end());
    }
    if (lines.size() == before) {
        return;
    }
    // The file gets the end that it had: without a line feed, if our lines are still the last ones.
    const bool isCutAgain = end == "unended" && isLast;
    if (lines.empty() && end != "empty") {
        std::filesystem::remove(file);
    } else {
        writeLines(console, file, lines, !isCutAgain);
    }
    console.out().line(printable(file) + ": the lines of flowbooks removed");
}

/// The file that git runs before a commit.
std::string hookFile() {
    const std::optional<std::string> configured = askGit({"config", "--type=path", "--get", "core.hooksPath"});
    if (!configured) {
        return requireGit({"rev-parse", "--git-path", "hooks"}) + "/pre-commit";
    }
    // git runs hooks at the top of the tree, or in a bare repository in its folder, and takes relative paths from
    // there.
    const bool isRelative = !kit::startsWith(*configured, "/");
    return (isRelative && !isBare() ? topOfTree() + "/" : "") + *configured + "/pre-commit";
}

bool isOurHook(const std::string& file) {
    const std::vector<std::string> lines = readLines(file);
    return std::count(lines.begin(), lines.end(), kHookMark) != 0;
}

void addHook(Console& console, const std::string& command) {
    const std::string file = hookFile();
    const std::string call = command + " git hook";
    // A hook of the user's may be of any language, so nothing is added to it.
    if (std::filesystem::exists(file) && !isOurHook(file)) {
        throw Failure(ExitCode::NegativeFinding, file,
                      "there is a hook already, which is left alone; '" + call + "' in it checks what is staged");
    }
    const std::vector<std::string> lines{"#!/bin/sh", kHookMark, "exec " + call};
    if (readLines(file) == lines) {
        return;
    }
    writeLines(console, file, lines);
    // git passes over a hook that is not executable without a word.
    std::filesystem::permissions(file, std::filesystem::perms(0755));
    console.out().line(printable(file) + ": a hook that checks the flowbooks of a commit");
}

void removeHook(Console& console) {
    const std::string file = hookFile();
    if (isOurHook(file)) {
        std::filesystem::remove(file);
        console.out().line(printable(file) + ": removed");
    }
}

/// The user's configuration, where undoing has left nothing in it.
void removeEmptyConfig() {
    const std::string home = environmentOr("HOME", "");
    const std::string usual = home + "/.gitconfig";
    const std::string other = environmentOr("XDG_CONFIG_HOME", home + "/.config") + "/git/config";
    const std::string file = environmentOr("GIT_CONFIG_GLOBAL", std::filesystem::exists(usual) ? usual : other);
    std::error_code gone;
    if (std::filesystem::is_regular_file(file, gone) && std::filesystem::file_size(file, gone) == 0) {
        std::filesystem::remove(file, gone);
    }
}

bool isRepository() { return askGit({"rev-parse", "--git-dir"}).has_value(); }

/// Makes sure that git has a place for what is asked.
void requirePlace(bool isGlobal) {
    requireGit({"version"});
    if (isGlobal && environmentOr("HOME", "").empty() && environmentOr("GIT_CONFIG_GLOBAL", "").empty()) {
        throw Failure(ExitCode::InputOutput, "HOME is not set, so git has no configuration of yours");
    }
    if (!isGlobal && !isRepository()) {
        throw Failure(ExitCode::InputOutput, "there is no git repository here; --global sets up all of yours");
    }
}

/// The filter stays as an earlier setup had it.
GitSetup withFormerFilter(const Config& config, GitSetup setup) {
    const std::vector<std::string> process = config.values("filter.flowbook.process");
    if (!setup.filter && process.size() == 1 && process.front().find(" git filter") != std::string::npos) {
        setup.filter = true;
        setup.stripOutputs = kit::endsWith(process.front(), " --strip-outputs");
    }
    return setup;
}

/// What git makes of a file of that name: pairs of an attribute and its value.
std::vector<Setting> attributesOf(const std::string& name) {
    const std::vector<std::string> answer =
        split(requireGit({"check-attr", "-z", "diff", "merge", "filter", "--", name}), '\0');
    std::vector<Setting> attributes;
    // The answer has three fields for each attribute: the path, the attribute, the value.
    for (std::size_t i = 2; i < answer.size(); i += 3) {
        attributes.emplace_back(answer[i - 1], answer[i]);
    }
    return attributes;
}

/// Finds out what setup would have to write.
class SetupCheck {
public:
    explicit SetupCheck(Console& console) : console_(console) {}

    bool run() {
        // One name of each extension and of each case; other lines of the attributes may match only one of them.
        for (const char* const name : {"a.tqx", "a.TQAPP"}) {
            for (const auto& [attribute, value] : attributesOf(name)) {
                checkAttribute(name, attribute, value);
            }
        }
        checkSetting("diff.flowbook.textconv", " git textconv");
        checkSetting("merge.flowbook.driver", " --marker-size=%L ");
        if (hasFilter_) {
            checkSetting("filter.flowbook.process", " git filter");
        }
        checkForm();
        if (constexpr unsigned kWithFilters = 211; gitVersion() < kWithFilters) {
            find(requireGit({"version"}) + " is too old: it needs 2.11 for filters that stay");
        }
        return isFine_;
    }

private:
    void find(const std::string& words) {
        isFine_ = false;
        console_.out().line(printable(words));
    }

    void checkAttribute(const std::string& name, const std::string& attribute, const std::string& value) {
        if (attribute == "filter") {
            hasFilter_ = hasFilter_ || value == "flowbook";
        } else if (value != "flowbook") {
            find("the attribute " + attribute + " of " + name + " is '" + value + "', not 'flowbook'");
        }
    }

    void checkSetting(const std::string& key, const std::string& piece) {
        const std::string value = askGit({"config", "--get", key}).value_or("");
        if (value.find(piece) == std::string::npos) {
            find(key + (value.empty() ? " is not set" : " is '" + value + "', which is not this command's") +
                 "; 'flowbook git setup' writes it");
        } else if (kit::startsWith(value, "flowbook ") && !isOnPath("flowbook")) {
            find(key + " calls 'flowbook', which is not on the path");
        }
    }

    void checkForm() {
        const std::string value = askGit({"config", "--get", "diff.flowbook.textconv"}).value_or("");
        if (value.find(" git textconv") != std::string::npos && !kit::endsWith(value, textconvOf(""))) {
            find("diff.flowbook.textconv is of an older form, and cached texts too; 'flowbook git setup' renews it");
        }
    }

    Console& console_;
    bool isFine_ = true;
    bool hasFilter_ = false;
};

}  // namespace

std::optional<std::string> askGit(std::vector<std::string> arguments) {
    // A shell drops git's message; it is replaced by git, so no further process waits for git's end.
    const std::vector<std::string> silently{"sh", "-c", "exec git \"$@\" 2>/dev/null", "flowbook"};
    arguments.insert(arguments.begin(), silently.begin(), silently.end());
    Answer answer = askProgram(std::move(arguments));
    if (answer.code != 0) {
        return std::nullopt;
    }
    if (kit::endsWith(answer.output, "\n")) {
        answer.output.pop_back();
    }
    return std::move(answer.output);
}

std::string requireGit(std::vector<std::string> arguments) {
    const std::string what = "git " + arguments.front();
    arguments.insert(arguments.begin(), "git");
    Answer answer = askProgram(std::move(arguments));
    if (answer.code != 0) {
        throw Failure(ExitCode::InputOutput, what + " failed with exit code " + std::to_string(answer.code));
    }
    if (kit::endsWith(answer.output, "\n")) {
        answer.output.pop_back();
    }
    return std::move(answer.output);
}

void requireRepository() {
    requireGit({"version"});
    if (!isRepository()) {
        throw Failure(ExitCode::InputOutput, "there is no git repository here");
    }
}

std::string formerTool(const std::string& key) {
    std::string tool;
    for (const std::string& each : {key, kFormer + key}) {
        const auto answer = askGit({"config", "-z", "--get-all", each});
        for (const std::string& value : answer ? split(*answer, '\0') : std::vector<std::string>()) {
            // The last value that is not ours counts, as git has it.
            tool = value == "flowbook" ? tool : value;
        }
    }
    return tool;
}

void setUpGit(Console& console, const GitSetup& asked) {
    requirePlace(asked.isGlobal);
    const std::string file = attributesFile(asked.isGlobal);
    const Config config(asked.isGlobal);
    GitSetup setup = withFormerFilter(config, asked);
    setup.filter = setup.filter || setup.stripOutputs;
    const std::string command = ownCommand(console);
    const std::vector<Setting> settings = settingsOf(setup, command);
    // All former values are kept before the first is replaced, so an interruption in between loses none.
    for (const auto& [key, value] : settings) {
        keepFormer(config, key);
    }
    for (const auto& [key, value] : settings) {
        if (config.values(key) != std::vector<std::string>{value}) {
            config.set(console, key, value);
        }
    }
    addAttributes(console, config, file, setup.filter);
    if (setup.hook) {
        addHook(console, command);
    }
}

namespace {

/// Takes the settings of this command away, and puts back what was in their place.
void undoSettings(Console& console, const Config& config) {
    std::vector<std::string> ours;
    for (const Trait& trait : kTraits) {
        if (!config.values(trait.key).empty() && config.isOurs(trait)) {
            ours.emplace_back(trait.key);
        }
    }
    for (const std::string& key : ours) {
        config.unset(console, key);
    }
    for (const Trait& trait : kTraits) {
        const std::vector<std::string> former = config.values(std::string(kFormer) + trait.key);
        for (const std::string& value : config.values(trait.key).empty() ? former : std::vector<std::string>()) {
            config.restore(console, trait.key, value);
        }
        if (!former.empty()) {
            config.unset(std::string(kFormer) + trait.key);
        }
    }
}

}  // namespace

void undoGitSetup(Console& console, const GitSetup& setup) {
    requirePlace(setup.isGlobal);
    const std::string file = attributesFile(setup.isGlobal);
    const Config config(setup.isGlobal);
    undoSettings(console, config);
    removeAttributes(console, config, file);
    if (!setup.isGlobal) {
        removeHook(console);
    }
    // The cached texts are of no use to git without the command that made them.
    if (isRepository() && askProgram({"git", "show-ref", "--verify", "--quiet", kNotes}).code == 0) {
        requireGit({"update-ref", "-d", kNotes});
        console.out().line(std::string("git update-ref -d ") + kNotes);
    }
    if (setup.isGlobal) {
        removeEmptyConfig();
    }
}

bool checkGitSetup(Console& console) {
    requirePlace(false);
    attributesFile(false);  // It throws where there is no working tree to ask about.
    return SetupCheck(console).run();
}

}  // namespace flowbook::tool
