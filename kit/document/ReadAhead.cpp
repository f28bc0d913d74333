// Inflates parts on other threads before they are asked for. A part that is not yet read when it is asked for is read
// by the one who asks, so that no work waits for a thread that has not begun it.
#include "kit/document/ReadAhead.hpp"

#include "kit/document/HelperThreads.hpp"

#include <condition_variable>
#include <map>
#include <mutex>
#include <numeric>
#include <optional>

namespace flowbook::kit {

using opc::model::Part;

namespace {

/// Below this a thread costs more than it saves.
constexpr std::uint64_t kWorthAThread = 2 << 20;

/// How much may wait to be taken.
constexpr std::uint64_t kMaxWaiting = 64 << 20;

std::uint64_t sizeOf(const Document& document) {
    const auto& entries = document.container().entries();
    return std::accumulate(entries.begin(), entries.end(), std::uint64_t(0),
                           [](std::uint64_t sum, const auto& entry) { return sum + entry.size; });
}

}  // namespace

class ReadAhead::State {
public:
    State(std::function<Document()> open, const std::vector<Part>& parts)
        : open_(std::move(open)), reads_(parts.size()) {
        for (std::size_t i = 0; i < parts.size(); ++i) {
            names_.push_back(parts[i].getName());
            places_.emplace(parts[i].getName().folded(), i);
        }
    }

    ~State() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isOver_ = true;
        }
        changed_.notify_all();
    }

    /// The caller reads what the helpers do not.
    void start(unsigned helpers) {
        helpers_.start(helpers, [this] { readAll(); });
    }

    fl::Bytes take(const Part& part) {
        const auto place = places_.find(part.getName().folded());
        std::optional<fl::Bytes> content = place == places_.end() ? std::nullopt : takeRead(place->second);
        return content ? std::move(*content) : contentOf(part);
    }

private:
    enum class Stage { Waiting, Begun, Read, Failed, Taken };
    struct Read {
        Stage stage = Stage::Waiting;
        fl::Bytes content;
    };

    /// Nothing for what no other thread reads, or could not read: the caller reads it, and meets the failure itself.
    std::optional<fl::Bytes> takeRead(std::size_t place) {
        std::unique_lock<std::mutex> lock(mutex_);
        Read& read = reads_[place];
        changed_.wait(lock, [&] { return read.stage != Stage::Begun; });
        const bool isRead = read.stage == Stage::Read;
        read.stage = Stage::Taken;
        next_ = std::max(next_, place + 1);
        if (!isRead) {
            return std::nullopt;
        }
        bytesWaiting_ -= read.content.size();
        fl::Bytes content = std::move(read.content);
        lock.unlock();
        changed_.notify_all();
        return content;
    }

    void readAll() noexcept {
        std::optional<Document> document;
        while (const std::optional<std::size_t> place = begin()) {
            std::optional<fl::Bytes> content;
            try {
                if (!document) {
                    document.emplace(open_());
                }
                content = contentOf(document->package().getPart(names_[*place]));
            } catch (...) {  // The one who asks for it meets the same failure.
            }
            end(*place, std::move(content));
        }
    }

    /// The next part that is to be read; nothing when there is none.
    std::optional<std::size_t> begin() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isOver_ || bytesWaiting_ < kMaxWaiting; });
        while (next_ < reads_.size() && reads_[next_].stage != Stage::Waiting) {
            ++next_;
        }
        if (isOver_ || next_ == reads_.size()) {
            return std::nullopt;
        }
        reads_[next_].stage = Stage::Begun;
        return next_++;
    }

    void end(std::size_t place, std::optional<fl::Bytes> content) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            reads_[place].stage = content ? Stage::Read : Stage::Failed;
            bytesWaiting_ += content ? content->size() : 0;
            reads_[place].content = content ? std::move(*content) : fl::Bytes();
        }
        changed_.notify_all();
    }

    const std::function<Document()> open_;
    std::vector<opc::model::PartName> names_;
    std::map<std::string, std::size_t> places_;  ///< by folded name
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Read> reads_;
    std::size_t next_ = 0;  ///< no part before it waits to be read
    std::uint64_t bytesWaiting_ = 0;
    bool isOver_ = false;
    HelperThreads helpers_;
};

ReadAhead::ReadAhead(const Document& document, std::function<Document()> open, const std::vector<Part>& parts,
                     unsigned threads) {
    if (threads > 1 && parts.size() > 1 && sizeOf(document) >= kWorthAThread) {
        state_ = std::make_unique<State>(std::move(open), parts);
        state_->start(std::min<unsigned>(threads, static_cast<unsigned>(parts.size())) - 1);
    }
}

ReadAhead::~ReadAhead() = default;

fl::Bytes ReadAhead::operator()(const Part& part) { return state_ ? state_->take(part) : contentOf(part); }

}  // namespace flowbook::kit
