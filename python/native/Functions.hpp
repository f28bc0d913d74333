#pragma once

#include "Source.hpp"
#include "fl/Bytes.hpp"
#include "kit/compare/Differences.hpp"
#include "kit/compare/Merge.hpp"
#include "kit/package/Salvage.hpp"

#include <optional>
#include <string>

namespace flowbook::python {

// What needs no opened flowbook. All require the interpreter lock and release it during work.

/// An empty flowbook.
fl::Bytes newFlowbook();

/// The bytes of a file of the machine, which may be no flowbook. @param name  the user's name of it, UTF-8.
fl::Bytes contentOf(const LocalPath& path, const std::string& name);

/// As kit::unifiedDiff().
std::string diff(const kit::NamedText& a, const kit::NamedText& b, std::size_t context);

/// What can be had of a damaged file.
kit::Salvaged repair(const std::string& remains);

/// The flowbook without outputs and pictures that nothing refers to; nothing when there are none.
/// @param name  the user's name of it, UTF-8.
std::optional<fl::Bytes> stripped(const std::string& flowbook, const std::string& name);

/// Merges three versions. @param base  none when there is no common ancestor.
kit::MergeResult merge(const std::optional<std::string>& base, const std::string& ours, const std::string& theirs,
                       const kit::MergeOptions& options);

}  // namespace flowbook::python
