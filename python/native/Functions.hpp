#pragma once

#include "Source.hpp"
#include "fl/Bytes.hpp"
#include "kit/compare/Differences.hpp"
#include "kit/compare/Merge.hpp"
#include "kit/package/Salvage.hpp"
#include "kit/page/Page.hpp"

#include <optional>
#include <string>

namespace flowbook::python {

// What needs no opened flowbook. All that take bytes or texts of Python require the interpreter lock and release it
// during work.

/// An empty flowbook.
fl::Bytes newFlowbook();

/// The bytes of a file of the machine, which may be no flowbook. @param name  the user's name of it, UTF-8.
fl::Bytes contentOf(const LocalPath& path, const std::string& name);

/// As kit::textForm().
std::string textOf(const foundation::storage::vfs::StorageSystemReference& storage);

/// As above, of the bytes of a file that may be no flowbook.
std::string textOf(const std::string& content);

/// @param file  the user's name of the flowbook, UTF-8.
kit::PageOptions pageOptions(const std::string& file);

/// The page of a damaged file, with what can be saved of it; nothing when nothing can be. Requires no lock.
/// @param file  the user's name of it, UTF-8. @param reason  why the file itself cannot be shown.
std::optional<std::string> salvagedPage(const fl::Bytes& remains, const std::string& file, const std::string& reason);

/// As above, called with the lock.
std::optional<std::string> damagedHtml(const std::string& remains, const std::string& file, const std::string& reason);

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
