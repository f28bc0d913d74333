#pragma once

#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

enum class Severity {
    Error,   ///< reading refuses it
    Warning  ///< reading lets it pass, and something of it is lost, unreachable or not what it says
};

/// "error" or "warning".
const char* nameOf(Severity severity);

/// What a finding may be. The identifiers stay what they are from version to version.
struct FindingKind {
    std::string_view id;
    std::string_view meaning;
};

inline constexpr FindingKind kFindingKinds[] = {
    {"package.unreadable", "the file cannot be opened as a package"},
    {"part.unreadable", "a part's content does not meet its size or checksum"},
    {"part.unreached", "no relationship leads to a part"},
    {"part.untyped", "an entry that no content type makes a part"},
    {"type.unused", "a content type for a part that is not there"},
    {"relationships.malformed", "the relationships of a part or of the package cannot be read"},
    {"relationship.dangling", "a relationship leads to no part"},
    {"reference.dangling", "a reference in the text leads nowhere"},
    {"code.missing", "there is no document relationship"},
    {"code.several", "there is more than one, of which the first counts"},
    {"code.malformed", "the code is no UTF-8 text or no XML document"},
    {"code.replaced", "a character that saving the code as text would replace"},
    {"code.unread", "text of a code paragraph that does not count as code"},
    {"code.conflict", "markers of a conflict were left in the code"},
    {"property.conflict", "a merge left open which value of a property counts"},
    {"part.conflict", "a merge left the other side's version of a part beside it"},
    {"relationship.conflict", "a merge left open where a relationship leads"},
    {"property.faulty", "a property cannot be read"},
    {"picture.no-data-uri", "a picture is stored in another form than a data URI"},
    {"picture.malformed", "the data URI of a picture cannot be decoded"},
    {"picture.type", "a data URI names another type than the part has"},
};

/// One thing that is wrong with a flowbook.
struct Finding {
    Severity severity;
    std::string part;   ///< a part name, or that of another entry; "/" for the package
    std::string place;  ///< within the part, such as "line 3, column 7" or a relationship's id; may be empty
    std::string words;
    std::string id;          ///< one of kFindingKinds
    bool isOfLimit = false;  ///< it is beyond a limit on what is read, and may be whole
};

/// All that reading a flowbook would refuse, and what it lets pass. A file that nothing is found in is read whole.
/// @param threads  how many may inflate its parts.
/// @throws opc::Exception when the file is not there or cannot be read; std::bad_alloc.
std::vector<Finding> check(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage,
                           unsigned threads = 1);

}  // namespace flowbook::kit
