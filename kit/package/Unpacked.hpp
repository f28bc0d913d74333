#pragma once

#include "kit/package/PackageContent.hpp"

#include <functional>
#include <set>
#include <string>

namespace flowbook::kit {

/// The file, relative to its folder, in which an unpacked flowbook keeps what its files cannot express.
inline constexpr char kManifestName[] = "flowbook.json";

/// The file, relative and separated by slashes, that a part is unpacked into: its own name; of SVG pictures, whose
/// extension is made of the media type, only the usual extension is kept.
std::string fileNameOf(const opc::model::Part& part);

/// Hands out names of files, relative and separated by slashes, of which none is another one or the folder of another.
class FileNames {
public:
    /// @returns the name that is wanted, or if that cannot be, one with "~2", "~3" and so on behind it.
    std::string take(const std::string& wanted);

private:
    bool isFree(const std::string& name) const;

    std::set<std::string> files_;
    std::set<std::string> folders_;
};

/// The manifest of an unpacked flowbook, in JSON (RFC 8259): names, content types and relationships of the parts, of
/// pictures how they were stored, and the names of the entries that are no parts.
class ManifestWriter {
public:
    /// @param stored  the content of the part.
    /// @param file    the file that it is unpacked into. @throws opc::Exception when its relationships cannot be read.
    void add(const opc::model::Part& part, const fl::Bytes& stored, const std::string& file);

    /// An entry that is no part.
    void addOther(const std::string& entry, const std::string& file);

    /// The text, with the relationships of the package itself. @throws opc::Exception when they cannot be read.
    std::string finish(const opc::model::Package& package) const;

private:
    std::string parts_;
    std::string others_;
};

/// Hands over the bytes of an unpacked file. @throws what the caller of packed() knows.
using ReadFile = std::function<fl::Bytes(const std::string& name)>;

/// What was unpacked: the same content down to the bytes where no file was changed; a picture that was is put into a
/// data URI like its old one. @throws opc::Exception (damaged) for a manifest that is none; what `read` throws.
PackageContent packed(const fl::Bytes& manifest, const ReadFile& read);

}  // namespace flowbook::kit
