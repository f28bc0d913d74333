#pragma once

#include "kit/document/Document.hpp"

namespace flowbook::kit {

// The texts of a flowbook beside its code that a search looks in. They are UTF-8, in lines that end in line feeds.

/// Whether a look at the bytes shows that a document of plain code is one code paragraph with one text, as most are, so
/// that it need not be parsed. Otherwise it may hold more. @throws opc::Exception as Document::storedCode().
bool holdsOnlyCode(const Document& document);

/// The paragraphs without code, and what stands beside code in others. @throws opc::Exception when they are damaged.
std::string proseText(const Document& document);

/// A line "title: value" for each property that is there, and for each line of a value that has several.
/// @throws opc::Exception when one of them is damaged.
std::string propertyText(const Document& document);

/// The stored outputs that are text or XML, as they are stored, one after the other. @throws opc::Exception.
std::string outputText(const Document& document);

}  // namespace flowbook::kit
