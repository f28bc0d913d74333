#pragma once

#include "foundation/core/except/ConvertStr.hpp"
#include "foundation/core/except/ErrorInfoContainer.hpp"
#include "foundation/core/except/IInternalException.hpp"

#include <stdexcept>

namespace foundation::core::except {

/// Joins a framework interface to a concrete exception class T (derived from std::runtime_error), so
/// that one thrown object is caught by either. The message is T's.
/// @tparam Tag  distinguishes families that share an interface and a class; void where there is one.
template <class Interface, class T, class Tag>
class Exception : public Interface, public T {
public:
    explicit Exception(const T& error) : Interface(), T(error) {}

    const char* what() const noexcept override { return T::what(); }
    const char* throwFunction() const noexcept override { return throwFunction_; }
    const char* throwFile() const noexcept override { return throwFile_; }
    int throwLine() const noexcept override { return throwLine_; }
    std::shared_ptr<ErrorInfoContainer> errorInfo() const noexcept override { return errorInfo_; }

    /// Records where the exception was thrown; the texts must outlive it (use literals).
    void setThrowLocation(const char* function, const char* file, int line) noexcept {
        throwFunction_ = function;
        throwFile_ = file;
        throwLine_ = line;
    }

    /// Attaches information that all later copies share.
    void setErrorInfo(std::shared_ptr<ErrorInfoContainer> info) noexcept { errorInfo_ = std::move(info); }

protected:
    std::u16string ToUstringImpl() const override { return convert_str(T::what()); }

private:
    std::shared_ptr<ErrorInfoContainer> errorInfo_;
    const char* throwFunction_ = nullptr;
    const char* throwFile_ = nullptr;
    int throwLine_ = -1;
};

}  // namespace foundation::core::except
