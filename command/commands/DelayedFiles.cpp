#include "commands/DelayedFiles.hpp"

#include "kit/document/HelperThreads.hpp"
#include "kit/package/GitForm.hpp"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace flowbook::tool {

namespace {

/// How many bytes may be held. git fetches nothing before it has handed over all files, so this is not a queue that
/// empties by itself: what comes when it is full is answered at once.
constexpr std::size_t kMaxHeld = std::size_t{64} << 20;

/// git itself hardly keeps one busy.
constexpr unsigned kMaxHelpers = 3;

}  // namespace

class DelayedFiles::State {
public:
    ~State() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isOver_ = true;
        }
        changed_.notify_all();
    }

    bool take(const std::string& path, fl::Bytes& content) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            // An empty content is also how git asks for a file that was delayed, so an empty file is never delayed.
            if (content.empty() || held_ + content.size() > kMaxHeld || !hasHelpers()) {
                return false;
            }
            held_ += content.size();
            waiting_.push_back({path, std::move(content)});
            ++unnamed_;
        }
        changed_.notify_all();
        return true;
    }

    std::vector<std::string> awaitReady() {
        std::unique_lock<std::mutex> lock(mutex_);
        // git asks again as long as the answer is not empty, so an empty answer means that no file is left.
        changed_.wait(lock, [this] { return !ready_.empty() || unnamed_ == 0; });
        unnamed_ -= ready_.size();
        return std::exchange(ready_, {});
    }

    std::optional<Result> give(const std::string& path) {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto found = done_.extract(path);
        if (found.empty()) {
            return std::nullopt;
        }
        held_ -= sizeOf(found.mapped());
        return std::move(found.mapped());
    }

private:
    struct File {
        std::string path;
        fl::Bytes content;
    };

    static std::size_t sizeOf(const Result& result) { return result.content ? result.content->size() : 0; }

    bool hasHelpers() {
        const unsigned wanted = std::min(std::max(std::thread::hardware_concurrency(), 1U) - 1, kMaxHelpers);
        return helpers_.start(wanted, [this] { work(); }) != 0;
    }

    void work() {
        while (std::optional<File> file = begin()) {
            const std::size_t size = file->content.size();
            Result result;
            try {
                result.content = kit::toDeflatedForm(std::move(file->content));
            } catch (const std::bad_alloc&) {
                // git hears of it when it fetches the file.
            }
            end(file->path, std::move(result), size);
        }
    }

    std::optional<File> begin() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isOver_ || !waiting_.empty(); });
        if (isOver_) {
            return std::nullopt;
        }
        File file = std::move(waiting_.front());
        waiting_.pop_front();
        return file;
    }

    void end(const std::string& path, Result result, std::size_t sizeBefore) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            // The result counts until git has fetched it.
            held_ = held_ - sizeBefore + sizeOf(result);
            ready_.push_back(path);
            done_[path] = std::move(result);
        }
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<File> waiting_;
    std::vector<std::string> ready_;      ///< in done_, and not named to git
    std::map<std::string, Result> done_;  ///< by path
    std::size_t unnamed_ = 0;             ///< how many were taken and not named as ready
    std::size_t held_ = 0;                ///< bytes
    bool isOver_ = false;
    kit::HelperThreads helpers_;
};

DelayedFiles::DelayedFiles() : state_(std::make_unique<State>()) {}

DelayedFiles::~DelayedFiles() = default;

bool DelayedFiles::take(const std::string& path, fl::Bytes& content) { return state_->take(path, content); }

std::vector<std::string> DelayedFiles::awaitReady() { return state_->awaitReady(); }

std::optional<DelayedFiles::Result> DelayedFiles::give(const std::string& path) { return state_->give(path); }

}  // namespace flowbook::tool
