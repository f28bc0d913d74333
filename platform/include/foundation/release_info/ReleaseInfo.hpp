#pragma once

#include "fl/PlatformExport.hpp"

#include <string>

namespace foundation::release_info {

/// Which TARMIC release is running. An immutable value.
class PXPLATFORM_EXPORT ReleaseInfo {
public:
    /// @param name  the release as users see it; may be empty.
    explicit ReleaseInfo(std::u16string name);

    /// The release that this platform was built as.
    static ReleaseInfo current();

    const std::u16string& getName() const noexcept { return name_; }

private:
    std::u16string name_;
};

}  // namespace foundation::release_info
