#pragma once

#include "flowbook/FlowbookFilePackage.hpp"

#include <cstddef>
#include <string>
#include <vector>

/// The files that the benchmarks work on, made once in a temporary folder that goes with the process.
namespace bench {

using Bytes = std::vector<unsigned char>;

/// A file of the folder; the name is not taken yet unless the same one was asked for before.
std::string pathOf(const std::string& name);
std::u16string utf16(const std::string& ascii);

/// Code that compresses like code: about 50 characters a line.
std::u16string codeOfLines(std::size_t lines);
/// The same code as a rich code document with one paragraph a line.
Bytes richCodeOfLines(std::size_t lines);

/// A flowbook whose code, as plain text, has so many lines; in one paragraph.
std::string plainCodeFile(std::size_t lines);
/// The same with one paragraph a line.
std::string richCodeFile(std::size_t lines);

/// A document with images of one size, as data URIs of random bytes.
flowbook::FlowbookFilePackage imageSnapshot(std::size_t images, std::size_t imageSize);
/// A flowbook of 64 images of 1 MB; about 50 MB on disk.
std::string largeFile();
/// As large, in one image.
std::string largeImageFile();

}  // namespace bench
