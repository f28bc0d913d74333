#pragma once

#include <vector>

namespace fl {

using Bytes = std::vector<unsigned char>;

}  // namespace fl
