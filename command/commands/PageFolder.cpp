// Pages of many flowbooks in one folder, where earlier runs have left pages that people have linked to. A page says in
// its start which flowbook it shows, so the folder itself is the list of pages and there is no second one that could be
// wrong. Runs in one folder take turns, by a lock that is taken before the pages are looked at.
#include "commands/PageFolder.hpp"

#include "commands/PageOf.hpp"
#include "io/Interruption.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace flowbook::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kIndex[] = "index.html";
// The mark stands in the start of a page, so finding the pages of a folder does not read them whole.
constexpr std::size_t kMarkBytes = std::size_t{32} << 10;

/// The path from the root, without symbolic links; empty when there is no such file.
std::string canonicalOf(const std::string& path) {
    std::error_code error;
    return fs::canonical(path, error).string();
}

/// Pages show paths, and those from the working folder are short and do not give away where that lies.
/// A canonical path as people write it: from the working folder where it lies in there.
std::string shortOf(const std::string& canonical) {
    std::error_code error;
    const std::string here = fs::current_path(error).string() + "/";
    return kit::startsWith(canonical, here) ? canonical.substr(here.size()) : canonical;
}

}  // namespace

void putPage(SafeFolder& folder, const std::string& path, const std::string& name, std::string_view html,
             bool replace) {
    // A page that would not change keeps its time of modification, so that nothing is copied to a server again.
    const std::optional<Bytes> old = folder.read(name, SIZE_MAX);
    if (old && kit::asText(*old) == html) {
        return;
    }
    const auto mark = old ? kit::markOf(kit::asText(*old)) : std::nullopt;
    if (old && !replace && !mark) {
        throw Failure(ExitCode::InputOutput, path + "/" + name,
                      "is there already and was not made by this command; --force replaces it");
    }
    // Somebody may have corrected the page by hand; a digest in it shows whether it is as it was made.
    if (old && !replace && !mark->isUnchanged) {
        throw Failure(ExitCode::InputOutput, path + "/" + name,
                      "was changed since this command made it; --force replaces it");
    }
    folder.write(name, Bytes(html.begin(), html.end()));
}

void requireIndexOf(SafeFolder& folder, const std::string& path, IndexKind kind, bool replace) {
    const auto start = replace ? std::nullopt : folder.read(kIndex, kMarkBytes);
    const auto mark = start ? kit::markOf(kit::asText(*start)) : std::nullopt;
    if (mark && mark->isIndex != (kind == IndexKind::Flowbooks)) {
        throw Failure(ExitCode::InputOutput, path + "/" + kIndex,
                      std::string("is the index of pages of ") + (mark->isIndex ? "flowbooks" : "changes") +
                          "; take another folder, or --force to replace it");
    }
}

void dropPage(Console& console, SafeFolder& folder, const std::string& path, const std::string& name,
              const std::string& reason, bool prune, bool replace) {
    const std::optional<Bytes> page = folder.read(name, SIZE_MAX);
    const bool isChanged = page && !replace && !kit::markOf(kit::asText(*page)).value_or(kit::PageMark{}).isUnchanged;
    const std::string words = path + "/" + name + ": " + reason;
    if (prune && !isChanged) {
        folder.remove(name);
    } else if (prune) {
        console.say(words + ", but it was changed since it was made; --force removes it too");
    } else {
        console.say(words + "; --prune removes the page");
    }
}

std::map<std::string, kit::PageMark> pagesIn(SafeFolder& folder, const std::string& path) {
    std::error_code error;
    std::map<std::string, kit::PageMark> pages;
    for (const auto& found : fs::directory_iterator(path, error)) {
        const std::string name = found.path().filename().string();
        const bool mayBePage = kit::endsWith(name, ".html") && name != kIndex && name.front() != '.' &&
                               // A link may lead out of the folder, and what it leads to was not made by this command.
                               fs::is_regular_file(found.symlink_status(error));
        const auto start = mayBePage ? folder.read(name, kMarkBytes) : std::nullopt;
        if (const auto mark = start ? kit::markOf(kit::asText(*start)) : std::nullopt) {
            pages.emplace(name, *mark);
        }
    }
    return pages;
}

PageFolder::PageFolder(const std::string& path, bool replace) : path_(path), replace_(replace) {
    std::error_code error;
    const fs::path full = fs::absolute(path, error);
    const fs::path place = error ? fs::path() : fs::weakly_canonical(full, error);
    if (place.empty()) {
        // A folder above it cannot be searched: it is not known then which flowbooks lie in the folder itself.
        throw Failure(ExitCode::InputOutput, path, "cannot find its full path: " + error.message());
    }
    place_ = (place.has_filename() ? place : place.parent_path()).string();
}

std::vector<InputName> PageFolder::plan(const std::vector<InputName>& names) {
    std::vector<InputName> planned;
    std::map<std::string, std::string> wanted;  // canonical paths, by the path from the folder
    for (const InputName& name : names) {
        const std::string canonical = name.problem || name.path == "-" ? "" : canonicalOf(name.path);
        // What cannot be read gets no page, so that no other page leads to it.
        const bool mayBeRead = !canonical.empty() && ::access(canonical.c_str(), R_OK) == 0;
        if (!mayBeRead && name.path != "-") {
            planned.push_back(name);
            continue;
        }
        const std::string source = sourceOf(canonical);
        const std::string file = canonical.empty() ? name.path : shortOf(canonical);
        if (wanted.emplace(source, canonical).second) {
            entries_[source] = Entry{"", canonical.empty() ? "standard input" : file, true};
            sources_.emplace(file, source);
            planned.push_back({file, name.nameInFolder, std::nullopt});
        }
    }
    if (!wanted.empty()) {
        namePages(wanted);
    }
    return planned;
}

void PageFolder::namePages(const std::map<std::string, std::string>& wanted) {
    folder().lock();
    requireIndexOf(folder(), path_, IndexKind::Flowbooks, replace_);
    findPages();
    for (const auto& [source, canonical] : wanted) {
        Entry& entry = entries_.at(source);
        if (entry.page.empty()) {
            entry.page = freeNameFor(canonical.empty() ? entry.file : canonical);
        }
    }
}

/// A path from the folder; empty for no file.
std::string PageFolder::sourceOf(const std::string& canonical) const {
    return canonical.empty() ? "" : fs::path(canonical).lexically_relative(place_).string();
}

/// The name of a new page. Only a page of a flowbook that was moved, together with its pages, can have it already.
std::string PageFolder::freeNameFor(std::string path) {
    std::string name = kit::pageNameOf(path);
    while (!pages_.insert(name).second) {
        path.insert(0, "/");
        name = kit::pageNameOf(path);
    }
    return name;
}

/// Looks for the pages that the folder has already: a flowbook keeps the page that it has.
void PageFolder::findPages() {
    for (const auto& [name, mark] : pagesIn(folder(), place_)) {
        if (!mark.isIndex && !mark.source.empty()) {
            takePage(name, mark.source);
        }
    }
}

/// @param source  where the flowbook of the page is, as the page says.
void PageFolder::takePage(const std::string& name, const std::string& source) {
    const std::string canonical = canonicalOf(place_ + "/" + source);
    if (canonical.empty() || sourceOf(canonical) != source) {
        stale_.emplace_back(name, "its flowbook is gone");
        return;
    }
    Entry& entry = entries_.try_emplace(source, Entry{"", shortOf(canonical), false}).first->second;
    if (!entry.page.empty()) {
        stale_.emplace_back(name, "its flowbook has another page");
        return;
    }
    entry.page = name;
    entry.hasPage = true;
    pages_.insert(name);
}

kit::PageOptions PageFolder::optionsFor(const std::string& file) const {
    const auto entry = entries_.find(sources_.at(file));
    kit::PageOptions options{entry->second.file, {}, {kIndex, "", ""}, entry->first};
    options.links.previous = entry == entries_.begin() ? "" : std::prev(entry)->second.page;
    options.links.next = std::next(entry) == entries_.end() ? "" : std::next(entry)->second.page;
    return options;
}

void PageFolder::add(const std::string& file, kit::Page page) {
    Entry& entry = entries_.at(sources_.at(file));
    put(entry.page, page.html);
    entry.summary = std::move(page.summary);
    entry.hasPage = true;
}

/// A page that was made before shows what its flowbook is now, and the pages that are its neighbours now.
void PageFolder::refresh(Console& console, Entry& entry) {
    try {
        const Input input(entry.file);
        kit::Page page = quietPageOf(input, optionsFor(entry.file));
        entry.summary = page.summary;
        put(entry.page, page.html);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& failure) {
        // This run does not make this page, so it stays as it is, and that is no failure of the run.
        entry.summary.file = entry.file;
        console.say(std::string("a page that was made before stays as it is: ") + failure.what());
    }
}

void PageFolder::finish(Console& console, bool prune) {
    if (entries_.empty()) {
        return;
    }
    for (auto& [source, entry] : entries_) {
        if (!entry.isNamed) {
            sources_.emplace(entry.file, source);
            refresh(console, entry);
        }
    }
    dropStale(console, prune);
    std::vector<kit::IndexRow> rows;
    for (auto& [source, entry] : entries_) {
        if (entry.hasPage) {
            entry.summary.file = entry.file;
            rows.push_back({entry.page, std::move(entry.summary)});
        }
    }
    if (!rows.empty()) {
        put(kIndex, kit::makeIndex(std::move(rows)));
        folder().sync();
    }
}

void PageFolder::dropStale(Console& console, bool prune) {
    for (const auto& [name, reason] : stale_) {
        dropPage(console, folder(), path_, name, reason, prune, replace_);
    }
}

/// Made when there is something to write.
SafeFolder& PageFolder::folder() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!folder_) {
        folder_ = std::make_unique<SafeFolder>(path_, true);
    }
    return *folder_;
}

}  // namespace flowbook::tool
