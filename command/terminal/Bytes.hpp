#pragma once

#include <string>
#include <vector>

namespace flowbook::tool {

using Bytes = std::vector<unsigned char>;

inline Bytes toBytes(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string toText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace flowbook::tool
