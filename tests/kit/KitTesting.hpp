#pragma once

#include "kit/document/Document.hpp"
#include "support/Flowbooks.hpp"

#include <map>
#include <string>

namespace flowbook::kit::testing {

inline const std::string kWord = "http://schemas.openxmlformats.org/wordprocessingml/2006/main";

/// A rich code document around the markup of its body.
inline std::string richCode(const std::string& body) {
    return "<w:document xmlns:w=\"" + kWord +
           "\" xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\"><w:body>" + body +
           "</w:body></w:document>";
}

inline std::string codeParagraph(const std::string& text) {
    return "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t>" + text + "</w:t></w:r></w:p>";
}

/// A flowbook of a rich code document with pictures.
inline support::Book richBook(const std::string& body, support::Lines images = {}) {
    support::Bytes content = support::bytes(richCode(body));
    support::Book book;
    book.update([&](FlowbookFileWriter& writer) { writer.write(FlowbookFilePackage(content, images)); });
    return book;
}

inline Document open(const support::Book& book) { return {support::Book::kName, book.storage()}; }

}  // namespace flowbook::kit::testing
