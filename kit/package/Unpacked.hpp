#pragma once

#include "kit/package/PackageContent.hpp"

#include <functional>
#include <string>

namespace flowbook::kit {

/// The file, relative to its folder, in which an unpacked flowbook keeps what its files cannot tell.
inline constexpr char kManifestName[] = "flowbook.json";

/// The file, relative and separated by slashes, that a part is unpacked into: its own name; of SVG pictures, whose
/// extension is made of the media type, only the usual extension is kept.
std::string fileNameOf(const opc::model::Part& part);

/// The manifest of an unpacked flowbook, in JSON (RFC 8259): names, content types and relationships of the parts, and
/// of pictures how they were stored.
class ManifestWriter {
public:
    /// @param stored  the content of the part. @throws opc::Exception when its relationships cannot be read.
    void add(const opc::model::Part& part, const fl::Bytes& stored);

    /// The text, with the relationships of the package itself. @throws opc::Exception when they cannot be read.
    std::string finish(const opc::model::Package& package) const;

private:
    std::string parts_;
};

/// Hands over the bytes of an unpacked file. @throws what the caller of packed() knows.
using ReadFile = std::function<fl::Bytes(const std::string& name)>;

/// What was unpacked: the same content down to the bytes where no file was changed; a picture that was is put into a
/// data URI like its old one. @throws opc::Exception (damaged) for a manifest that is none; what `read` throws.
PackageContent packed(const fl::Bytes& manifest, const ReadFile& read);

}  // namespace flowbook::kit
