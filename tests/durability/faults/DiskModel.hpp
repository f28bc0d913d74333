#pragma once

#include "durability/common/Place.hpp"

#include <map>
#include <set>
#include <sys/types.h>

namespace durability {

/// What a disk may hold of a file after the power fails: any of its contents since it was last synchronised, whole or
/// torn, under a name that stands for any of the files that it has stood for since its folder was.
class DiskModel {
public:
    /// The file as it is now is safely on the disk.
    explicit DiskModel(const Place& place);

    /// Looks at the folder; to be called after every system call.
    void observe();

    /// A file, or the folder, was synchronised.
    void synchronise(const std::string& path);

    std::set<Content> possibleContents() const;

private:
    const Place& place_;
    std::map<ino_t, std::vector<Bytes>> files_;  ///< the contents since the last synchronisation, its own first
    std::vector<ino_t> target_;                  ///< the files of that name since then; 0 where there was none
};

}  // namespace durability
