#pragma once

#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/document/ReadAhead.hpp"
#include "opc/interfaces/CompressionType.hpp"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace flowbook::kit {

/// All that a package holds, as loose values: what the reader's snapshot leaves out is here too.
struct PackageContent {
    std::vector<FlowbookFilePackage::Part> parts;
    std::vector<FlowbookFilePackage::Relationship> relationships;
    std::map<std::string, fl::Bytes> others;  ///< entries that are no parts, by their names

    /// The part of an equivalent name; null when there is none.
    FlowbookFilePackage::Part* find(const std::u16string& name);
};

/// Reads the bytes of the part of a name.
using ReadPart = std::function<fl::Bytes(const std::u16string& partName)>;

/// @throws opc::Exception when they cannot be read.
std::vector<FlowbookFilePackage::Relationship> relationshipsOf(const opc::model::RelationshipSource& source);

/// The contents of otherEntries(), by their names. @throws opc::Exception when one of them cannot be read.
std::map<std::string, fl::Bytes> readOthers(const Document& document);

/// @throws opc::Exception when anything of the package cannot be read.
PackageContent readContent(const Document& document, const ReadContent& read = contentOf);

/// The places in the container of the entries that belong to no part. @throws opc::Exception.
std::vector<std::size_t> otherEntries(const Document& document);

/// A package of that content in one fixed form: parts in the order of their folded names, everything deflated at one
/// level, fixed times, content types made anew. Relationships keep ids and order; a target that is no URI reference,
/// which cannot be followed, is kept as it stands. Equal contents, that included, give equal bytes.
/// @param compression  None stores everything instead of deflating it.
/// @param read         reads the parts that have no bytes here, one after the other.
/// @throws opc::Exception for content that no package can hold, and what `read` throws.
fl::Bytes writeContent(PackageContent content,
                       opc::interfaces::CompressionType compression = opc::interfaces::CompressionType::Normal,
                       const ReadPart& read = {});

/// A package in the form of writeContent(). @throws as readContent().
/// @param read  reads the parts, in the order of partsInOrder().
fl::Bytes canonical(const Document& document,
                    opc::interfaces::CompressionType compression = opc::interfaces::CompressionType::Normal,
                    const ReadContent& read = contentOf);

/// Whether the package has digital signatures (ECMA-376-2, clause 12), which changing anything might invalidate.
/// @throws opc::Exception when its relationships cannot be read.
bool isSigned(const Document& document);

/// A container of the same entries in the same order, all stored or all deflated. Deflating what writeContent() stored
/// gives what it deflates. @throws opc::Exception when an entry cannot be read.
fl::Bytes recompressed(const Document& document, opc::interfaces::CompressionType compression);

}  // namespace flowbook::kit
