#pragma once

#include <map>
#include <string>

namespace foundation::core::except {

/// Named values attached to an exception on its way up.
class ErrorInfoContainer {
public:
    std::map<std::string, std::string> values;
};

}  // namespace foundation::core::except
