#include "foundation/storage/vfs/ReadableFile.hpp"

namespace foundation::storage::vfs {

ReadableFile::~ReadableFile() = default;

}  // namespace foundation::storage::vfs
