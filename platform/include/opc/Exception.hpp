#pragma once

#include "fl/PlatformExport.hpp"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace opc {

/// The kinds of failures. Callers decide by the kind what to do next.
enum class ErrorKind {
    NotFound,       ///< no such package or part
    InputOutput,    ///< the storage failed
    Damaged,        ///< the file is not a package, or breaks its rules
    LimitExceeded,  ///< the file is larger than the limits permit
    Conflict,       ///< another program changed the file, or what is to be created exists
    NotDurable,     ///< committed, but not confirmed to survive power loss
    Misuse          ///< an argument or the moment of the call is wrong
};

/// Base of the package library's failures. what() says what was being done, to which file and part,
/// and what was found.
class PXPLATFORM_EXPORT Exception : public std::runtime_error {
public:
    Exception(ErrorKind kind, const std::string& message, std::string_view part = {});
    ~Exception() override;

    ErrorKind kind() const noexcept { return kind_; }

    /// The name of the part that the failure is about, as the file spells it: "/tarmic/document.xml". An entry that is
    /// no part is named likewise, as in "/[Content_Types].xml", and a relationship by its source, which is "/" for the
    /// package. Empty when the failure is about the whole file, or about none. A hostile file may name an entry by any
    /// bytes. Valid as long as the exception or a copy of it.
    std::string_view part() const noexcept { return part_ ? std::string_view(*part_) : std::string_view(); }

    /// @throws std::bad_alloc.
    void setPart(std::string_view part);

private:
    ErrorKind kind_;
    std::shared_ptr<const std::string> part_;  ///< shared by copies, so that copying cannot fail; null for none
};

/// Calls `work`, whose failures are about `part` unless they name another one.
template <class Work>
auto inPart(std::string_view part, Work work) {
    try {
        return work();
    } catch (Exception& failure) {
        if (failure.part().empty()) {
            failure.setPart(part);
        }
        throw;
    }
}

}  // namespace opc
