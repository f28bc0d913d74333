#pragma once

#include "fl/PlatformExport.hpp"

#include <memory>
#include <string>

namespace foundation::core::except {

/// Named values attached to an exception on its way up; shared, never copied, by copies of it.
class ErrorInfoContainer;

/// The interface of every exception of the framework. It does not derive from std::exception, so
/// that a class that does can be combined with it without an ambiguous base.
class PXPLATFORM_EXPORT IException {
public:
    virtual ~IException();

    /// The message, UTF-8; valid as long as the exception.
    virtual const char* what() const noexcept = 0;

    /// The message as UTF-16 text. @throws std::bad_alloc.
    std::u16string toUstring() const { return ToUstringImpl(); }

    /// A new heap copy of the whole object; the error information is shared, not copied.
    virtual std::unique_ptr<IException> clone() const = 0;

    /// Throws a copy of the whole object, as its own type.
    [[noreturn]] virtual void rethrow() const = 0;

    /// Where it was thrown: null, null and -1 until something records it.
    virtual const char* throwFunction() const noexcept = 0;
    virtual const char* throwFile() const noexcept = 0;
    virtual int throwLine() const noexcept = 0;

    /// Empty until something attaches information.
    virtual std::shared_ptr<ErrorInfoContainer> errorInfo() const noexcept = 0;

protected:
    IException() = default;
    IException(const IException&) = default;
    IException& operator=(const IException&) = default;

    virtual std::u16string ToUstringImpl() const = 0;
};

}  // namespace foundation::core::except
