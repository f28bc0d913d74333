#pragma once

#include <cstddef>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

namespace flowbook::kit {

/// Threads that help the one that owns this object, which does what they do not get to. The destructor waits for their
/// work to end, so this is the last member of a class whose members the work uses. Used by one thread.
class HelperThreads {
public:
    HelperThreads() = default;
    HelperThreads(const HelperThreads&) = delete;
    HelperThreads& operator=(const HelperThreads&) = delete;
    ~HelperThreads() { join(); }

    /// Starts threads until there are `count`, or until the system starts no more, as it does in small containers.
    /// @param work  must not throw. @returns how many there are. @throws std::bad_alloc.
    std::size_t start(std::size_t count, const std::function<void()>& work) {
        threads_.reserve(count);
        try {
            while (threads_.size() < count) {
                threads_.emplace_back(work);
            }
        } catch (const std::system_error&) {
            // The owner can do without them.
        }
        return threads_.size();
    }

    /// Waits until the work of all has ended.
    void join() {
        for (std::thread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }

private:
    std::vector<std::thread> threads_;
};

}  // namespace flowbook::kit
