#include "durability/faults/DiskModel.hpp"

#include <algorithm>
#include <sys/stat.h>

namespace durability {
namespace {

ino_t inodeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

template <class T>
void appendChange(std::vector<T>& history, T value) {
    if (history.back() != value) {
        history.push_back(std::move(value));
    }
}

template <class T>
void forgetPast(std::vector<T>& history) {
    history.erase(history.begin(), history.end() - 1);
}

/// Whole; cut off; with blocks that were allocated but not written; with blocks of the synchronised content.
void addVariants(std::set<Content>& contents, const Bytes& content, const Bytes& synchronised) {
    const auto half = static_cast<std::ptrdiff_t>(content.size() / 2);
    Bytes cut(content.begin(), content.begin() + half);
    Bytes half0(cut);
    half0.resize(content.size());
    Bytes mixed(content);
    std::copy_n(synchronised.begin(), std::min(half, static_cast<std::ptrdiff_t>(synchronised.size())), mixed.begin());
    contents.insert({content, std::move(cut), std::move(half0), std::move(mixed), Bytes(content.size())});
}

}  // namespace

DiskModel::DiskModel(const Place& place) : place_(place), target_{inodeOf(place.file())} {
    if (target_.back() != 0) {
        files_[target_.back()] = {*place.content()};
    }
}

void DiskModel::observe() {
    for (const auto& entry : std::filesystem::directory_iterator(place_.folder().path())) {
        auto& history = files_[inodeOf(entry.path())];
        if (history.empty()) {
            history.emplace_back();  // of a new file nothing is on the disk
        }
        const std::string content = place_.folder().get(entry.path().filename());
        appendChange(history, Bytes(content.begin(), content.end()));
    }
    appendChange(target_, inodeOf(place_.file()));
}

void DiskModel::synchronise(const std::string& path) {
    const ino_t inode = inodeOf(path);
    if (inode == inodeOf(place_.folder().path())) {
        forgetPast(target_);
    } else if (const auto file = files_.find(inode); file != files_.end()) {
        forgetPast(file->second);
    }
}

std::set<Content> DiskModel::possibleContents() const {
    std::set<Content> contents;
    for (const ino_t inode : target_) {
        if (inode == 0) {
            contents.insert(std::nullopt);
            continue;
        }
        const auto& history = files_.at(inode);
        contents.insert(history.front());
        for (auto content = history.begin() + 1; content != history.end(); ++content) {
            addVariants(contents, *content, history.front());
        }
    }
    return contents;
}

}  // namespace durability
