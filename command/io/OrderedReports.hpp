#pragma once

#include "io/Report.hpp"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace flowbook::tool {

/// Shows the reports of many inputs in their order while several threads make them. What waits to be
/// shown is bounded, in number and in bytes.
class OrderedReports {
public:
    /// @param most  how many reports may be under way or waiting. The console must outlive the object and is
    ///              used through this object alone meanwhile.
    /// @param separator  is shown between what two reports show.
    OrderedReports(Console& console, std::size_t most, std::string separator);

    /// Waits until the report of this index may be begun. False when no more is wanted.
    bool mayBegin(std::size_t index);

    /// Shows a part of a report, once all earlier ones are done.
    void show(std::size_t index, std::string_view data);

    /// Takes over a report that is complete.
    void finish(Report report);

    /// No more is to be begun.
    void stop();

    const Console& console() const noexcept { return *console_; }

    /// Says how many of all failed, unless only one was worked on.
    void summarize(std::size_t inputs);

private:
    void show(const Report& report);
    bool isStopped() const;
    void write(std::size_t index, std::string_view data);

    Console* console_;
    std::size_t most_;
    std::string separator_;
    std::optional<std::size_t> shown_;  ///< the report that was shown last
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::size_t, Report> waiting_;
    std::size_t bytesWaiting_ = 0;
    std::size_t next_ = 0;  ///< the first that is not done
    std::map<FlowbookErrorKind, std::size_t> failed_;
    bool stopped_ = false;
};

}  // namespace flowbook::tool
