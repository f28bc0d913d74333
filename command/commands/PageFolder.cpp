#include "commands/PageFolder.hpp"

#include "commands/PageOf.hpp"
#include "io/Interruption.hpp"
#include "kit/document/Characters.hpp"
#include "kit/page/Frame.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace flowbook::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kIndex[] = "index.html";
constexpr std::size_t kMarkBytes = std::size_t{32} << 10;

std::string_view textOf(const Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// The path from the root, without symbolic links; empty when there is no such file.
std::string canonicalOf(const std::string& path) {
    std::error_code error;
    return fs::canonical(path, error).string();
}

/// A canonical path as people write it: from the working folder where it lies in there.
std::string shortOf(const std::string& canonical) {
    std::error_code error;
    const std::string here = fs::current_path(error).string() + "/";
    return kit::startsWith(canonical, here) ? canonical.substr(here.size()) : canonical;
}

}  // namespace

void putPage(SafeFolder& folder, const std::string& path, const std::string& name, std::string_view html,
             bool replace) {
    const std::optional<Bytes> old = folder.read(name, SIZE_MAX);
    if (old && textOf(*old) == html) {
        return;
    }
    const auto mark = old ? kit::markOf(textOf(*old)) : std::nullopt;
    if (old && !replace && !mark) {
        throw Failure(ExitCode::InputOutput, path + "/" + name,
                      "is there already and was not made by this command; --force replaces it");
    }
    if (old && !replace && !mark->isUnchanged) {
        throw Failure(ExitCode::InputOutput, path + "/" + name,
                      "was changed since this command made it; --force replaces it");
    }
    folder.write(name, Bytes(html.begin(), html.end()));
}

PageFolder::PageFolder(const std::string& path, bool replace) : path_(path), replace_(replace) {
    std::error_code error;
    fs::path place = fs::weakly_canonical(fs::absolute(path, error), error);
    place_ = (place.has_filename() ? place : place.parent_path()).string();
}

std::vector<InputName> PageFolder::plan(const std::vector<InputName>& names) {
    std::vector<InputName> planned;
    for (const InputName& name : names) {
        const std::string canonical = name.problem || name.path == "-" ? "" : canonicalOf(name.path);
        if (canonical.empty() && name.path != "-") {
            planned.push_back(name);
            continue;
        }
        const std::string source = canonical.empty() ? "" : fs::path(canonical).lexically_relative(place_).string();
        const std::string file = canonical.empty() ? name.path : shortOf(canonical);
        const std::string shown = canonical.empty() ? "standard input" : file;
        if (entries_.try_emplace(source, Entry{kit::pageNameOf(canonical.empty() ? shown : source), shown, true})
                .second) {
            sources_.emplace(file, source);
            planned.push_back({file, name.nameInFolder, std::nullopt});
        }
    }
    if (!entries_.empty()) {
        findOthers();
    }
    return planned;
}

/// Looks for the pages that the folder has already.
void PageFolder::findOthers() {
    std::error_code error;
    for (const auto& found : fs::directory_iterator(place_, error)) {
        const std::string name = found.path().filename().string();
        const auto start = kit::endsWith(name, ".html") && name != kIndex && found.is_regular_file(error)
                               ? folder().read(name, kMarkBytes)
                               : std::nullopt;
        const auto mark = start ? kit::markOf(textOf(*start)) : std::nullopt;
        const bool isPageOfFile = mark && !mark->isIndex && !mark->source.empty();
        if (!isPageOfFile) {
            continue;
        }
        const std::string canonical = canonicalOf(place_ + "/" + mark->source);
        const std::string source = canonical.empty() ? "" : fs::path(canonical).lexically_relative(place_).string();
        const auto planned = entries_.find(source);
        const bool isPlanned = planned != entries_.end() && planned->second.page == name;
        if (isPlanned) {
            planned->second.hasPage = true;
        } else if (!canonical.empty() && source == mark->source && kit::pageNameOf(source) == name) {
            entries_.emplace(source, Entry{name, shortOf(canonical), false, {}, true});
        } else {
            gone_.push_back(name);
        }
    }
    std::sort(gone_.begin(), gone_.end());
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
void PageFolder::refresh(Entry& entry) {
    try {
        const Input input(entry.file);
        kit::Page page = quietPageOf(input, optionsFor(entry.file));
        entry.summary = page.summary;
        put(entry.page, page.html);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception&) {
        // Nobody asked for this page now: what it shows stays.
        entry.summary.file = entry.file;
    }
}

void PageFolder::finish(Console& console, bool prune) {
    if (entries_.empty()) {
        return;
    }
    for (auto& [source, entry] : entries_) {
        if (!entry.isNamed) {
            sources_.emplace(entry.file, source);
            refresh(entry);
        }
    }
    tellGone(console, prune);
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

void PageFolder::tellGone(Console& console, bool prune) {
    for (const std::string& name : gone_) {
        const std::optional<Bytes> page = folder().read(name, SIZE_MAX);
        const bool isChanged = page && !replace_ && !kit::markOf(textOf(*page)).value_or(kit::PageMark{}).isUnchanged;
        const std::string file = path_ + "/" + name;
        if (prune && !isChanged) {
            folder().remove(name);
        } else if (prune) {
            console.say(file + ": its flowbook is gone, but it was changed since it was made; --force removes it too");
        } else {
            console.say(file + ": its flowbook is gone; --prune removes the page");
        }
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
