#pragma once

#include "io/SafeFolder.hpp"
#include "kit/page/Index.hpp"

#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace flowbook::tool {

/// A folder of pages and their index. May be used from several threads.
class PageFolder {
public:
    /// Makes the folder if there is none. @throws Failure.
    explicit PageFolder(const std::string& path) : path_(path), folder_(path, true) {}

    /// Writes the page of the flowbook that the user calls `file`. One that holds the same already is left as it is.
    /// @throws Failure, also when what has the page's name is no page.
    void add(const std::string& file, kit::Page page);

    /// Writes the index of what was added. @throws as add().
    void writeIndex();

private:
    bool claim(const std::string& name, const std::string& file);
    void put(const std::string& name, std::string_view html);

    std::string path_;
    SafeFolder folder_;
    std::mutex mutex_;
    std::map<std::string, std::string> files_;  ///< by page
    std::vector<kit::IndexRow> rows_;
};

}  // namespace flowbook::tool
