#include "opc/Exception.hpp"

namespace opc {

const char* nameOf(ErrorKind kind) noexcept {
    switch (kind) {
    case ErrorKind::NotFound:
        return "not-found";
    case ErrorKind::InputOutput:
        return "input-output";
    case ErrorKind::Damaged:
        return "damaged";
    case ErrorKind::LimitExceeded:
        return "limit";
    case ErrorKind::Conflict:
        return "conflict";
    case ErrorKind::NotDurable:
        return "not-durable";
    case ErrorKind::Misuse:
        return "misuse";
    }
    return "";
}

Exception::Exception(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

Exception::~Exception() = default;

}  // namespace opc
