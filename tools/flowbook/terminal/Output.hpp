#pragma once

#include "opc/OutputStream.hpp"

#include <string_view>

namespace flowbook::tool {

/// Standard output. A failure is kept for finish(); what is written after it is dropped.
class Output : public opc::OutputStream {
public:
    void write(const void* from, std::size_t count) override;
    void write(std::string_view text) { write(text.data(), text.size()); }
    void line(std::string_view text);

    bool hasFailed() const noexcept { return error_ != 0; }

    /// Flushes. The system's error number of the first failure, 0 for none.
    int finish();

private:
    int error_ = 0;
};

}  // namespace flowbook::tool
