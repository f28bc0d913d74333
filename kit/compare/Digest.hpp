#pragma once

#include "kit/document/ReadAhead.hpp"

#include <string>

namespace flowbook::kit {

/// Whether the time at which a flowbook was made counts for a digest.
enum class Dates { Count, Ignore };

/// SHA-256 over what a flowbook holds, in lower-case hexadecimal digits: for each part, in the order of their folded
/// names, the name, the content type, the bytes, and its relationships (id, type, mode, target), sorted; then the
/// relationships of the package likewise, but without their ids, which every save may change. Of the core properties
/// it takes the elements, sorted, rather than the bytes, and not the time of the last modification. So neither the
/// container (order, times, compression, comments, entries that are no parts) nor a save without a change counts.
/// @param read  reads the parts, in the order of partsInOrder().
/// @throws opc::Exception when anything of that cannot be read.
std::string contentDigest(const Document& document, Dates dates = Dates::Count, const ReadContent& read = contentOf);

/// SHA-256 over the code alone: as the command prints it (UTF-8, a line feed at its end unless it is empty), or over
/// the stored bytes where it is encrypted. @throws opc::Exception when it cannot be read.
std::string codeDigest(const Document& document);

/// SHA-256 over one part's bytes; of core properties, as contentDigest() takes them. @throws opc::Exception.
std::string partDigest(const opc::model::Part& part, Dates dates = Dates::Count, const ReadContent& read = contentOf);

/// The elements of a core properties part but for the time of the last modification, sorted, each as one text: names
/// with their namespaces, attributes and content. @throws opc::Exception when the part is no XML.
std::vector<std::string> propertyElements(const fl::Bytes& content, Dates dates = Dates::Count);

/// The target of a relationship in the one form that compares: that of an internal one with the characters encoded
/// that a URI must not hold (RFC 3987, 3.1), which is how it would be written, where that can be done.
std::string targetOf(const opc::model::Relationship& relationship);

bool isCoreProperties(const opc::model::Part& part);

/// The code as UTF-8, a lone surrogate as U+FFFD, with a line feed at its end unless it is empty.
std::string codeAsLines(const std::u16string& code);

}  // namespace flowbook::kit
