#pragma once

#include "kit/document/Document.hpp"

#include <string>

namespace flowbook::kit {

/// What a filter of a version control system makes of a file.
struct Filtered {
    fl::Bytes bytes;
    std::string note;  ///< why the bytes are the same although the file is a flowbook; empty otherwise
};

/// A flowbook as it is kept in history: in the form of writeContent(), stored instead of deflated, so that versions
/// share what stayed the same. Anything else comes back byte for byte: what is no flowbook, damaged, over a limit, or
/// signed. The result for a result is the same bytes. @param strips  whether it leaves out what stripped() does. Throws
/// std::bad_alloc only.
Filtered toStoredForm(fl::Bytes file, bool strips);

/// The inverse for a working tree: a flowbook whose entries are all stored gets them deflated. Anything else comes back
/// byte for byte, as does a flowbook that was deflated before. Throws std::bad_alloc only.
fl::Bytes toDeflatedForm(fl::Bytes file);

/// A flowbook in the form of writeContent(), stored if all entries of `model` are, so that what a merge makes of
/// versions from a history can go into that history. @throws opc::Exception when one of them cannot be read.
fl::Bytes inFormOf(fl::Bytes flowbook, const Document& model);

}  // namespace flowbook::kit
