#pragma once

#include "opc/Limits.hpp"

#include <string>
#include <string_view>

namespace opc::zippackage {

/// Holds what is read or written against the limits. All failures are opc::Exception of kind LimitExceeded, naming
/// the limit, its value and what exceeds it.
class ZipLimitCheck {
public:
    /// @param doing  begins every message. Both outlive the object.
    ZipLimitCheck(const std::string& doing, const Limits& limits);

    void checkCount(std::uint64_t entries) const;

    /// Bytes of the directory, which stays in memory while the container is open.
    void checkDirectory(std::uint64_t size) const;

    /// Also counts the entry towards the size of the package.
    void addEntry(std::string_view name, std::uint64_t size, std::uint64_t storedSize);

    /// Whether an entry of that size must not be stored in that few bytes.
    static bool exceedsRatio(const Limits& limits, std::uint64_t size, std::uint64_t storedSize);

private:
    void check(const char* what, std::uint64_t found, const char* limitName, std::uint64_t limit) const;

    const std::string& doing_;
    const Limits& limits_;
    std::uint64_t packageSize_ = 0;
};

}  // namespace opc::zippackage
