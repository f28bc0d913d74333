#include "fl/filesystem/FsysExceptionBase.hpp"

namespace fl::filesystem {

FsysExceptionBase::FsysExceptionBase(const std::string& message) : std::runtime_error(message) {}

FsysExceptionBase::~FsysExceptionBase() = default;

}  // namespace fl::filesystem
