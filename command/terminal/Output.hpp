#pragma once

#include "opc/OutputStream.hpp"

#include <string_view>

namespace flowbook::tool {

/// Something that lines are written to.
class Sink : public opc::OutputStream {
public:
    using opc::OutputStream::write;
    void write(std::string_view text) { write(text.data(), text.size()); }
    void line(std::string_view text);
};

/// Standard output. A failure is kept for finish(); what is written after it is dropped.
class Output : public Sink {
public:
    using Sink::write;
    void write(const void* from, std::size_t count) override;

    bool hasFailed() const noexcept { return error_ != 0; }

    static bool isTerminal() noexcept;

    /// Refuses to write bytes to a terminal, which might obey them. @throws Failure (usage).
    static void requireFitForBytes(bool force);

    /// Flushes. The system's error number of the first failure, 0 for none.
    int finish();

private:
    int error_ = 0;
};

}  // namespace flowbook::tool
