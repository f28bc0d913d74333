// Shares inputs out among threads. Each takes the next one when it is done with its last, so that large files do not
// leave the others without work, and what is printed comes in the order of the inputs.
#include "io/ForEachInput.hpp"

#include "io/Interruption.hpp"
#include "io/OrderedReports.hpp"
#include "kit/document/HelperThreads.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

namespace flowbook::tool {

namespace {

// Reports wait for those before them. So many of them keep the threads busy beside one long input.
constexpr std::size_t kReportsPerThread = 32;

/// A save waits for the disk, not for a core: of several saves that wait at once, the disk does a good part in one go.
constexpr unsigned kSavesAtOnce = 8;

/// A file of more bytes than this costs memory, and more work than waiting: of these there is one for each core.
constexpr std::uintmax_t kLargeFile = std::uintmax_t{1} << 20U;

unsigned cores() { return std::max(1U, std::thread::hardware_concurrency()); }

/// How many inputs are worked on at once if the user does not say.
unsigned defaultJobs(Input::Purpose purpose) {
    return purpose == Input::Purpose::Read ? cores() : std::max(cores(), kSavesAtOnce);
}

/// Lets large files wait until one of a number of places is free.
class LargeFiles {
public:
    explicit LargeFiles(unsigned places) : free_(places) {}

    /// The place of one thread.
    class Place {
    public:
        explicit Place(LargeFiles& all) : all_(&all) {}
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() { release(); }

        /// Waits for a place, if the file is large.
        void take(const std::string& path) {
            isHeld_ = isLarge(path);
            if (isHeld_) {
                std::unique_lock<std::mutex> lock(all_->mutex_);
                all_->freed_.wait(lock, [this] { return all_->free_ != 0; });
                --all_->free_;
            }
        }

        void release() {
            if (std::exchange(isHeld_, false)) {
                const std::lock_guard<std::mutex> lock(all_->mutex_);
                ++all_->free_;
                all_->freed_.notify_one();
            }
        }

    private:
        static bool isLarge(const std::string& path) {
            std::error_code unknown;
            const std::uintmax_t size = std::filesystem::file_size(path, unknown);
            return !unknown && size > kLargeFile;
        }

        LargeFiles* all_;
        bool isHeld_ = false;
    };

private:
    std::mutex mutex_;
    std::condition_variable freed_;
    unsigned free_;
};

/// The inputs of one command and what is done with them.
class Run {
public:
    Run(Console& console, std::vector<InputName> names, const InputOptions& options, const Work& work,
        Input::Purpose purpose)
        : console_(&console),
          names_(std::move(names)),
          json_(options.json),
          threads_(options.jobs != 0 ? options.jobs : cores()),
          jobs_(std::min<std::size_t>(options.jobs != 0 ? options.jobs : defaultJobs(purpose), names_.size())),
          largeFiles_(threads_),
          work_(&work),
          purpose_(purpose),
          isCareful_(json_ || (purpose != Input::Purpose::Read && names_.size() > 1)),
          reports_(console, kReportsPerThread * std::max<std::size_t>(jobs_, 1), options.separator) {}

    void operator()() {
        // A signal waits until the record that is being written is whole, and until it is known what was changed.
        std::optional<Interruption> whole;
        if (isCareful_) {
            whole.emplace();
        }
        console_->progress().start(names_.size());
        kit::HelperThreads helpers;
        // This thread works too, so a single input starts no other.
        helpers.start(std::max<std::size_t>(jobs_, 1) - 1, [this] { workOnAll(); });
        workOnAll();
        helpers.join();
        reports_.summarize(names_.size());
        if (isCareful_ && Interruption::hasCome()) {
            sayInterrupted();
            if (Interruption::signal() != SIGPIPE) {
                console_->finish();  // Whoever closed the pipe does not miss what is left.
            }
        }
    }

private:
    void workOnAll() {
        std::size_t index = 0;
        try {
            LargeFiles::Place place(largeFiles_);
            for (index = take(place); index < names_.size() && reports_.mayBegin(index); index = take(place)) {
                if (isCareful_) {
                    Interruption::check();
                }
                Report report(reports_, index, names_[index].path);
                workOn(names_[index], report);
                reports_.finish(std::move(report));
                const std::lock_guard<std::mutex> lock(mutex_);
                done_ = std::max(done_, index + 1);
            }
        } catch (const Interrupted&) {
            reports_.stop();
        } catch (...) {
            reports_.stop();  // Others would wait for the report of this one.
            throw;
        }
        // One that was taken when another thread stopped the work is not done either.
        const std::lock_guard<std::mutex> lock(mutex_);
        undone_.insert(index);
    }

    /// Returns the number of the next input, and gives a large one a place. Places are given in the order of the
    /// inputs: one that has much to print holds its place until those before it are done, so these must have theirs
    /// already.
    std::size_t take(LargeFiles::Place& place) {
        place.release();
        const std::lock_guard<std::mutex> lock(taking_);
        const std::size_t index = next_++;
        if (index < names_.size()) {
            place.take(names_[index].path);
        }
        return index;
    }

    /// Several are worked on at once, so that some before the last that is done may not be done.
    void sayInterrupted() {
        if (purpose_ == Input::Purpose::Read) {
            return;
        }
        for (const std::size_t index : undone_) {
            if (index < done_) {
                console_->say(names_[index].path + ": interrupted, and left as it was");
            }
        }
        if (done_ < names_.size()) {
            console_->say("interrupted: " + names_[done_].path + " and what comes after it is as it was");
        }
    }

    void workOn(const InputName& name, Report& report) {
        std::optional<Input> input;
        report.attempt(nullptr, [&] {
            if (name.problem) {
                throw Failure(name.problem->code, "", name.problem->message, name.problem->kind);
            }
            input.emplace(name.path, purpose_);
            input->setNameInFolder(name.nameInFolder);
            // Where there are fewer inputs than cores, the cores that are left read the parts of one ahead.
            input->setThreads(std::max(1U, threads_ / static_cast<unsigned>(jobs_)));
        });
        if (input) {
            report.attempt(&*input, [&] { (*work_)(*input, report); });
        }
        if (json_ && !report.hasRecord()) {
            // With --json each input has one line, also one that could not be opened.
            report.writeFailureRecord();
        }
    }

    Console* console_;
    std::vector<InputName> names_;
    bool json_;
    unsigned threads_;  ///< how many may work on the parts of the inputs
    std::size_t jobs_;  ///< the inputs that are worked on at once
    LargeFiles largeFiles_;
    const Work* work_;
    Input::Purpose purpose_;
    bool isCareful_;  ///< whether a signal waits for what is being done
    OrderedReports reports_;
    std::mutex taking_;
    std::size_t next_ = 0;
    std::mutex mutex_;
    std::size_t done_ = 0;  ///< the number of the last input that is done
    std::set<std::size_t> undone_;
};

}  // namespace

void attempt(Console& console, const std::string& file, const std::function<void()>& work) {
    try {
        work();
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception&) {
        console.report(file, diagnose());
    }
}

void forEachInput(Console& console, const InputOptions& options, const Work& work, Input::Purpose purpose) {
    attempt(console, "", [&] { Run(console, options.names(), options, work, purpose)(); });
}

void forEachInput(Console& console, const InputOptions& options, std::vector<InputName> names, const Work& work,
                  Input::Purpose purpose) {
    attempt(console, "", [&] { Run(console, std::move(names), options, work, purpose)(); });
}

void forInput(Console& console, const std::string& argument, const Work& work, Input::Purpose purpose) {
    InputOptions options;
    Run(console, {{argument, "", std::nullopt}}, options, work, purpose)();
}

}  // namespace flowbook::tool
