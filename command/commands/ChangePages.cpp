#include "commands/ChangePages.hpp"

#include "commands/PageFolder.hpp"
#include "fl/i18n/Conversion.hpp"
#include "io/FlowbookName.hpp"
#include "io/ForEachInput.hpp"
#include "io/Input.hpp"
#include "io/Program.hpp"
#include "kit/document/Document.hpp"
#include "kit/page/Index.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

constexpr char kNoFile[] = "/dev/null";

/// A version of a flowbook, in memory.
class ShownVersion {
public:
    /// @param bytes  nothing when there is no such version.
    ShownVersion(const std::string& name, std::optional<Bytes> bytes) {
        side_.name = name;
        if (bytes) {
            try {
                document_.emplace(std::move(*bytes));
                side_.document = &*document_;
            } catch (const std::bad_alloc&) {
                throw;
            } catch (const std::exception&) {
                side_.fault = diagnose().message;
            }
        }
    }
    ShownVersion(const ShownVersion&) = delete;
    ShownVersion& operator=(const ShownVersion&) = delete;
    ~ShownVersion() = default;

    const kit::ChangesSide& side() const { return side_; }

private:
    std::optional<kit::Document> document_;
    kit::ChangesSide side_;
};

std::optional<Bytes> bytesOf(const std::string& file) {
    return file == kNoFile ? std::nullopt : std::make_optional(readBytes(file, opc::Limits().maxPackageSize));
}

/// A record of `git diff --raw -z`.
struct GitChange {
    std::string oldId;
    std::string newId;
    char kind;
    std::string oldPath;
    std::string newPath;
};

std::string askGitFor(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "git");
    Answer answer = askProgram(std::move(arguments));
    if (answer.code != 0) {
        throw Failure(ExitCode::InputOutput, "git failed with exit code " + std::to_string(answer.code));
    }
    return std::move(answer.output);
}

std::vector<std::string> fieldsOf(const std::string& text) {
    std::vector<std::string> fields;
    std::size_t at = 0;
    for (std::size_t end = text.find('\0'); end != std::string::npos; end = text.find('\0', at)) {
        fields.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return fields;
}

std::vector<GitChange> parseChanges(const std::string& output) {
    const std::vector<std::string> fields = fieldsOf(output);
    std::vector<GitChange> changes;
    for (std::size_t at = 0; at + 1 < fields.size();) {
        // ":100644 100644 <old id> <new id> M", then one path, or two of a file that was renamed or copied.
        const std::string& head = fields[at];
        const std::size_t oldId = head.find(' ', head.find(' ') + 1) + 1;
        const std::size_t newId = head.find(' ', oldId) + 1;
        const std::size_t kind = head.find(' ', newId) + 1;
        GitChange change{head.substr(oldId, newId - oldId - 1), head.substr(newId, kind - newId - 1), head[kind],
                         fields[at + 1], fields[at + 1]};
        at += 2;
        if ((change.kind == 'R' || change.kind == 'C') && at < fields.size()) {
            change.newPath = fields[at++];
        }
        changes.push_back(std::move(change));
    }
    return changes;
}

std::vector<GitChange> changesIn(const GitChanges& wanted) {
    if (wanted.range.empty() || wanted.range.front() == '-') {
        throw Failure(ExitCode::Usage, "'" + wanted.range + "' is no range of commits");
    }
    std::vector<std::string> arguments{"diff", "--raw", "-z", "--no-abbrev", "-M", "--no-ext-diff", wanted.range, "--"};
    arguments.insert(arguments.end(), wanted.paths.begin(), wanted.paths.end());
    std::vector<GitChange> changes = parseChanges(askGitFor(std::move(arguments)));
    changes.erase(std::remove_if(changes.begin(), changes.end(),
                                 [](const GitChange& each) {
                                     return !isFlowbookName(each.oldPath) && !isFlowbookName(each.newPath);
                                 }),
                  changes.end());
    return changes;
}

bool isNone(const std::string& id) { return id.find_first_not_of('0') == std::string::npos; }

/// A version from git's objects, or from the working tree, which has no id.
std::optional<Bytes> versionOf(const std::string& id, bool isThere, const std::string& top, const std::string& path) {
    if (!isThere) {
        return std::nullopt;
    }
    if (isNone(id)) {
        return readBytes(top + "/" + path, opc::Limits().maxPackageSize);
    }
    const std::string blob = askGitFor({"cat-file", "blob", id});
    return Bytes(blob.begin(), blob.end());
}

std::string wordFor(char kind) {
    return kind == 'A'   ? "added"
           : kind == 'D' ? "removed"
           : kind == 'R' ? "renamed"
           : kind == 'C' ? "copied"
                         : "changed";
}

}  // namespace

kit::ChangesPage changesBetween(const std::string& title, const std::string& before, const std::string& after) {
    const ShownVersion a(before, bytesOf(before));
    const ShownVersion b(after, bytesOf(after));
    return kit::makeChangesPage(title, a.side(), b.side(), "");
}

void writeGitChanges(Console& console, const GitChanges& wanted) {
    std::string top = askGitFor({"rev-parse", "--show-toplevel"});
    top.pop_back();
    const std::vector<GitChange> changes = changesIn(wanted);
    SafeFolder folder(wanted.folder, true);
    std::vector<kit::ChangesRow> rows;
    for (const GitChange& change : changes) {
        attempt(console, change.newPath, [&] {
            const ShownVersion a(change.oldPath, versionOf(change.oldId, change.kind != 'A', top, change.oldPath));
            const ShownVersion b(change.newPath, versionOf(change.newId, change.kind != 'D', top, change.newPath));
            const kit::ChangesPage page = kit::makeChangesPage(change.newPath, a.side(), b.side(), "index.html");
            const std::string name = kit::pageNameOf(change.newPath);
            putPage(folder, wanted.folder, name, page.html, wanted.replace);
            rows.push_back({name, change.newPath, wordFor(change.kind), page.count});
        });
    }
    putPage(folder, wanted.folder, "index.html", kit::makeChangesIndex(wanted.range, rows), wanted.replace);
}

}  // namespace flowbook::tool
