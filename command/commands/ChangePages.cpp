// Pages of what changed between commits. git finds out which files changed, by records that end in NUL, since names of
// files may hold anything else; the contents come from one `git cat-file` for all of them.
#include "commands/ChangePages.hpp"

#include "commands/GitSetup.hpp"
#include "commands/PageFolder.hpp"
#include "commands/PageOf.hpp"
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
#include <charconv>
#include <set>

namespace flowbook::tool {

namespace {

constexpr char kNoFile[] = "/dev/null";

/// A version of a flowbook, in memory.
class ShownVersion {
public:
    /// @param bytes  nothing when there is no such version.
    ShownVersion(const std::string& name, const std::optional<Bytes>& bytes) {
        side_.name = name;
        if (bytes) {
            try {
                document_.emplace(*bytes);
                side_.document = &*document_;
                // The package may open though its code cannot be inflated; the page then shows what repair can save of
                // it.
                requireCode(*document_);
            } catch (const std::bad_alloc&) {
                throw;
            } catch (const std::exception&) {
                save(*bytes, diagnose());
            }
        }
    }
    ShownVersion(const ShownVersion&) = delete;
    ShownVersion& operator=(const ShownVersion&) = delete;
    ~ShownVersion() = default;

    const kit::ChangesSide& side() const { return side_; }

private:
    /// Of a damaged file what can be saved stands for it.
    void save(const Bytes& bytes, const Diagnosis& diagnosis) {
        if (diagnosis.code == ExitCode::Damaged) {
            saved_ = kit::saveVersion(bytes, u"flowbook", diagnosis.message);
        }
        if (saved_) {
            side_.document = &saved_->document;
            side_.damage = &saved_->damage;
            // A package that opened is shown as far as it can be read.
        } else if (side_.document == nullptr) {
            side_.fault = diagnosis.message;
        }
    }

    std::optional<kit::Document> document_;
    std::optional<kit::SavedVersion> saved_;
    kit::ChangesSide side_;
};

std::optional<Bytes> bytesOf(const std::string& file) {
    return file == kNoFile ? std::nullopt : std::make_optional(readBytes(file, opc::Limits().maxPackageSize));
}

/// A record of `git diff --raw -z`.
struct GitChange {
    struct Side {
        std::string mode;
        std::string id;  ///< zeros for the working tree
        std::string path;

        /// Symbolic links and submodules are no files, and neither is what is not there.
        bool isFile() const { return mode.compare(0, 3, "100") == 0; }
    };

    Side before;
    Side after;
    char kind;
};

std::string askGitFor(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "git");
    Answer answer = askProgram(std::move(arguments));
    if (answer.code != 0) {
        throw Failure(ExitCode::InputOutput, "git failed with exit code " + std::to_string(answer.code));
    }
    return std::move(answer.output);
}

std::vector<std::string> fieldsOf(const std::string& text, char end) {
    std::vector<std::string> fields;
    std::size_t begin = 0;
    for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end, begin)) {
        fields.push_back(text.substr(begin, at - begin));
        begin = at + 1;
    }
    return fields;
}

std::vector<GitChange> parseChanges(const std::string& output) {
    const std::vector<std::string> fields = fieldsOf(output, '\0');
    std::vector<GitChange> changes;
    for (std::size_t at = 0; at + 1 < fields.size();) {
        // ":100644 100644 <old id> <new id> M", then one path, or two of a file that was renamed or copied.
        const std::vector<std::string> head = fieldsOf(fields[at].substr(1) + " ", ' ');
        if (head.size() != 5 || head[4].empty()) {
            throw Failure(ExitCode::InputOutput, "git reports a change in a way that is not known: " + fields[at]);
        }
        const char kind = head[4].front();
        // A file that was renamed or copied has its old path first.
        const bool hasTwoPaths = (kind == 'R' || kind == 'C') && at + 2 < fields.size();
        changes.push_back(
            {{head[0], head[2], fields[at + 1]}, {head[1], head[3], fields[at + (hasTwoPaths ? 2 : 1)]}, kind});
        at += hasTwoPaths ? 3 : 2;
    }
    return changes;
}

/// The revisions to compare. A merge commit written as COMMIT^! has several parents: it is compared with the first, to
/// which it brought what it merged; git itself would leave out what merged without a conflict.
std::vector<std::string> revisionsOf(const std::string& range) {
    std::vector<std::string> found = fieldsOf(askGitFor({"rev-parse", "--revs-only", range, "--"}), '\n');
    const auto firstParent =
        std::stable_partition(found.begin(), found.end(), [](const std::string& each) { return each.front() != '^'; });
    const bool isMerge = firstParent - found.begin() == 1 && found.end() - firstParent > 1;
    if (found.size() == 1 && !askGit({"rev-parse", "--show-toplevel"})) {
        throw Failure(ExitCode::InputOutput, "there is no git working tree here to compare '" + range + "' with; '" +
                                                 range + "^!' and A..B compare commits");
    }
    if (!isMerge || range.find("...") != std::string::npos) {
        return {range};
    }
    return {firstParent->substr(1), found.front()};
}

std::vector<GitChange> changesIn(const GitChanges& wanted) {
    if (wanted.range.empty() || wanted.range.front() == '-') {
        throw Failure(ExitCode::Usage, "'" + wanted.range + "' is no range of commits");
    }
    // The user's configuration must not change the records: no external program, and paths from the top.
    std::vector<std::string> arguments{"diff", "--raw", "-z", "--no-abbrev", "-M", "--no-ext-diff", "--no-relative"};
    for (std::string& revision : revisionsOf(wanted.range)) {
        arguments.push_back(std::move(revision));
    }
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), wanted.paths.begin(), wanted.paths.end());
    std::vector<GitChange> changes = parseChanges(askGitFor(std::move(arguments)));
    const auto isFlowbook = [](const GitChange::Side& side) { return side.isFile() && isFlowbookName(side.path); };
    changes.erase(
        std::remove_if(changes.begin(), changes.end(),
                       [&](const GitChange& each) { return !isFlowbook(each.before) && !isFlowbook(each.after); }),
        changes.end());
    return changes;
}

/// Takes versions from git's objects, by one process for all of them, and from the working tree, which has no ids.
class GitVersions {
public:
    GitVersions() : objects_({"git", "cat-file", "--batch"}) {}

    /// @returns nothing where there is no file. @throws Failure.
    std::optional<Bytes> read(const GitChange::Side& side) {
        if (!side.isFile()) {
            return std::nullopt;
        }
        // git writes zeros where a version has no object yet.
        const bool isInTree = side.id.find_first_not_of('0') == std::string::npos;
        return isInTree ? readBytes(top() + "/" + side.path, kMost) : readObject(side.id);
    }

private:
    /// A repository without a working tree has none, and needs none for two commits.
    const std::string& top() {
        if (top_.empty()) {
            top_ = askGitFor({"rev-parse", "--show-toplevel"});
            top_.pop_back();
        }
        return top_;
    }

    static constexpr std::uint64_t kMost = opc::Limits().maxPackageSize;

    Bytes readObject(const std::string& id) {
        objects_.send(id + "\n");
        const std::vector<std::string> head = fieldsOf(objects_.readLine() + " ", ' ');  // "<id> blob <size>"
        std::uint64_t size = 0;
        const bool isObject = head.size() == 3 &&
                              std::from_chars(head[2].data(), head[2].data() + head[2].size(), size).ec == std::errc();
        if (!isObject) {
            throw Failure(ExitCode::InputOutput, "git has no object " + id);
        }
        Bytes content = objects_.read(size, kMost);
        objects_.read(1, 1);  // a line feed ends the object
        // All of the object has been read by then, so that the next answer of git begins where it is expected.
        if (size > kMost) {
            throw Failure(ExitCode::LimitExceeded, "object " + id + " of git has " + std::to_string(size) +
                                                       " bytes, more than a package may have");
        }
        return content;
    }

    std::string top_;
    Conversation objects_;
};

std::string wordFor(const GitChange& change) {
    const char kind = change.kind;
    return !change.before.isFile()  ? "added"
           : !change.after.isFile() ? "removed"
           : kind == 'R'            ? "renamed"
           : kind == 'C'            ? "copied"
                                    : "changed";
}

}  // namespace

kit::ChangesPage changesBetween(const std::string& title, const std::string& before, const std::string& after) {
    const ShownVersion a(before, bytesOf(before));
    const ShownVersion b(after, bytesOf(after));
    return kit::makeChangesPage(title, a.side(), b.side(), "");
}

void writeGitChanges(Console& console, const GitChanges& wanted) {
    requireRepository();
    const std::vector<GitChange> changes = changesIn(wanted);
    SafeFolder folder(wanted.folder, true);
    folder.lock();
    requireIndexOf(folder, wanted.folder, IndexKind::Changes, wanted.replace);
    GitVersions versions;
    std::set<std::string> names;
    std::vector<kit::ChangesRow> rows;
    for (const GitChange& change : changes) {
        const std::string& path = change.after.path;
        const std::string name = kit::pageNameOf(path);
        names.insert(name);
        attempt(console, path, [&] {
            const ShownVersion a(change.before.path, versions.read(change.before));
            const ShownVersion b(path, versions.read(change.after));
            const kit::ChangesPage page = kit::makeChangesPage(path, a.side(), b.side(), "index.html");
            putPage(folder, wanted.folder, name, page.html, wanted.replace);
            rows.push_back({name, path, wordFor(change), page.count, page.isDamaged});
        });
    }
    for (const auto& [name, mark] : pagesIn(folder, wanted.folder)) {
        if (mark.isOfChanges && names.count(name) == 0) {
            dropPage(console, folder, wanted.folder, name, "its flowbook did not change", wanted.prune, wanted.replace);
        }
    }
    putPage(folder, wanted.folder, "index.html", kit::makeChangesIndex(wanted.range, rows), wanted.replace);
    folder.sync();
}

}  // namespace flowbook::tool
