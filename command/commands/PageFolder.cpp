#include "commands/PageFolder.hpp"

#include "kit/page/Frame.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

std::string_view textOf(const Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

}  // namespace

void PageFolder::add(const std::string& file, kit::Page page) {
    std::string name = kit::pageNameOf(file);
    if (claim(name, file)) {
        put(name, page.html);
        const std::lock_guard<std::mutex> lock(mutex_);
        rows_.push_back({std::move(name), std::move(page.summary)});
    }
}

void PageFolder::writeIndex() {
    put("index.html", kit::makeIndex(std::move(rows_)));
    folder_.sync();
}

/// Whether the page has still to be written: a file may be named twice.
bool PageFolder::claim(const std::string& name, const std::string& file) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [place, isNew] = files_.emplace(name, file);
    if (!isNew && place->second != file) {
        throw Failure(ExitCode::InputOutput, path_ + "/" + name, "is the page of " + place->second + " already");
    }
    return isNew;
}

void PageFolder::put(const std::string& name, std::string_view html) {
    const std::optional<Bytes> old = folder_.read(name, html.size() + 1);
    if (old && !kit::markOf(textOf(*old))) {
        throw Failure(ExitCode::InputOutput, path_ + "/" + name, "is there already and was not made by this command");
    }
    if (!old || textOf(*old) != html) {
        folder_.write(name, Bytes(html.begin(), html.end()));
    }
}

}  // namespace flowbook::tool
