#pragma once

#include "Inputs.hpp"

#include <string>

/// The least that the work could cost on this machine: the same results by the fastest means at hand,
/// without a check, a rule or a layer. Right for well-formed files only.
namespace bench::floor {

/// The plain code of a flowbook, from the mapped file, with libdeflate and pugixml.
std::u16string readCode(const std::string& path);

/// All entries of a zip file, inflated into vectors of their own.
std::vector<Bytes> inflateAll(const std::string& path);

/// Deflates each piece of content and writes the lot to a file, made durable.
void deflateAll(const std::vector<Bytes>& contents, const std::string& path);

/// Copies a file with copy_file_range, made durable.
void copyFile(const std::string& from, const std::string& to);

}  // namespace bench::floor
