#pragma once

#include "io/InputOptions.hpp"
#include "io/SafeFolder.hpp"
#include "kit/page/Frame.hpp"
#include "kit/page/Index.hpp"
#include "terminal/Console.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace flowbook::tool {

/// Writes a page, unless the file holds the same already.
/// @param path  of the folder, for messages. @param replace  whether a page that somebody changed, or a file that is no
///              page, may be replaced; else they are a Failure.
void putPage(SafeFolder& folder, const std::string& path, const std::string& name, std::string_view html, bool replace);

/// What the index of a folder lists.
enum class IndexKind { Flowbooks, Changes };

/// Refuses a folder whose index lists the other kind, which would be lost: each kind has a folder of its own.
/// @throws Failure, unless `replace`.
void requireIndexOf(SafeFolder& folder, const std::string& path, IndexKind kind, bool replace);

/// Removes a page that shows nothing any more, or names it. One that somebody changed is not removed.
/// @param reason  why it shows nothing. @param replace  whether one that was changed is removed too. @throws Failure.
void dropPage(Console& console, SafeFolder& folder, const std::string& path, const std::string& name,
              const std::string& reason, bool prune, bool replace);

/// The pages of this command that a folder has, the index apart, with what they say of themselves, by name.
std::map<std::string, kit::PageMark> pagesIn(SafeFolder& folder, const std::string& path);

/// A folder of pages and their index. A page belongs to the flowbook at one place, however the place was written: it is
/// named after the canonical path, and keeps its name where flowbooks and pages are moved together. add() may be called
/// from several threads.
class PageFolder {
public:
    /// @param replace  whether pages that somebody changed, and files that are no pages, may be replaced.
    PageFolder(const std::string& path, bool replace);

    /// Takes the files that get pages now, which are then named in one way: from the working folder, or else from the
    /// root. Pages of other flowbooks that are in the folder stay, if their flowbook is still there. From then on until
    /// the end of this object no other process changes the folder in this way: it waits.
    /// @returns the names that are to be worked on, each file once, and those that cannot be.
    std::vector<InputName> plan(const std::vector<InputName>& names);

    /// How the page of a file that plan() returned is made.
    kit::PageOptions optionsFor(const std::string& file) const;

    /// Writes the page of a file that plan() returned. One that holds the same already is left as it is.
    /// @throws Failure, also when what has the page's name may not be replaced.
    void add(const std::string& file, kit::Page page);

    /// Brings the pages of other flowbooks up to date, removes or names those whose flowbook is gone, and writes the
    /// index. Does nothing when no page was planned. @throws Failure, also as add().
    void finish(Console& console, bool prune);

private:
    struct Entry {
        std::string page;
        std::string file;  ///< as the page calls the flowbook
        bool isNamed;      ///< whether it gets its page by add()
        kit::PageSummary summary{};
        bool hasPage = false;
    };

    std::string sourceOf(const std::string& canonical) const;
    std::string freeNameFor(std::string path);
    /// Gives a page to each of these canonical paths, which stand by their paths from the folder.
    void namePages(const std::map<std::string, std::string>& wanted);
    void findPages();
    void takePage(const std::string& name, const std::string& source);
    void refresh(Console& console, Entry& entry);
    void put(const std::string& name, std::string_view html) { putPage(folder(), path_, name, html, replace_); }
    void dropStale(Console& console, bool prune);
    SafeFolder& folder();

    std::string path_;
    std::string place_;  ///< the folder's path from the root, without symbolic links
    bool replace_;
    std::unique_ptr<SafeFolder> folder_;
    std::mutex mutex_;
    std::map<std::string, Entry> entries_;                    ///< by the path of the flowbook from the folder
    std::map<std::string, std::string> sources_;              ///< keys of entries_, by Entry::file
    std::set<std::string> pages_;                             ///< names of pages that are taken
    std::vector<std::pair<std::string, std::string>> stale_;  ///< pages that show no flowbook, and why
};

}  // namespace flowbook::tool
