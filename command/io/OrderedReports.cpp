// Shows reports in the order of the inputs. Threads that are far ahead wait, so that one slow file does not make the
// reports of thousands of others pile up in memory.
#include "io/OrderedReports.hpp"

#include "io/Interruption.hpp"

namespace flowbook::tool {

namespace {

// The bound on memory for what waits, besides the one report that each thread is making.
constexpr std::size_t kMostBytesWaiting = std::size_t{16} << 20;

}  // namespace

OrderedReports::OrderedReports(Console& console, std::size_t most, std::string separator)
    : console_(&console), most_(most), separator_(std::move(separator)) {}

bool OrderedReports::isStopped() const { return stopped_ || console_->out().hasFailed(); }

bool OrderedReports::mayBegin(std::size_t index) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto hasRoom = [&] { return index < next_ + most_ && bytesWaiting_ < kMostBytesWaiting; };
    // The next one to be shown may always begin: all others wait for it, so it must not wait for them.
    changed_.wait(lock, [&] { return index == next_ || hasRoom() || isStopped(); });
    return !isStopped();
}

void OrderedReports::show(std::size_t index, std::string_view data) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return index == next_ || isStopped(); });
    if (stopped_ && index != next_) {
        throw Interrupted();  // What is being shown comes to its end, so that no line is cut.
    }
    write(index, data);
}

void OrderedReports::write(std::size_t index, std::string_view data) {
    console_->progress().clear();
    if (shown_ && *shown_ != index) {
        console_->out().write(separator_);
    }
    shown_ = index;
    console_->out().write(data);
}

void OrderedReports::show(const Report& report) {
    if (!report.data_.empty()) {
        write(report.index_, report.data_);
    }
    console_->note(report.noted_);
    for (const std::string& note : report.notes_) {
        console_->say(note);
    }
    for (const Diagnosis& failure : report.failures_) {
        console_->report(report.file_, failure);
    }
    if (!report.failures_.empty()) {
        // Each file counts once in the summary, by its first failure.
        ++failed_[report.failures_.front().kind];
    }
    console_->progress().step();
}

void OrderedReports::finish(Report report) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t index = report.index_;
    bytesWaiting_ += report.data_.size();
    waiting_.emplace(index, std::move(report));
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
        show(waiting_.begin()->second);
        bytesWaiting_ -= waiting_.begin()->second.data_.size();
        waiting_.erase(waiting_.begin());
        ++next_;
    }
    changed_.notify_all();
}

void OrderedReports::stop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

void OrderedReports::summarize(std::size_t inputs) {
    std::size_t count = 0;
    std::string kinds;
    for (const auto& [kind, files] : failed_) {
        count += files;
        kinds += (kinds.empty() ? "" : ", ") + std::to_string(files) + " " + nameOf(kind);
    }
    if (count != 0 && inputs > 1) {
        console_->say(std::to_string(count) + " of " + std::to_string(inputs) + " files failed (" + kinds + ")");
    }
}

}  // namespace flowbook::tool
