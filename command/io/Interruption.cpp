// Lets a signal wait until what is being done is whole. The handler only notes the signal, as a handler may do hardly
// anything else; work looks for it at places where it can be left. When the last holder is gone the signal is raised
// again, so that the caller sees the command ended by it. SIGPIPE is one of them, as the reader of standard output may
// leave while a file is being saved.
#include "io/Interruption.hpp"

#include <atomic>
#include <csignal>
#include <mutex>

namespace flowbook::tool {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

std::atomic<int> signalThatCame{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may use no other");

std::mutex mutex;
std::size_t holders = 0;
struct sigaction former[std::size(kSignals)];

void remember(int signal) { signalThatCame = signal; }

void hold() {
    struct sigaction action {};
    action.sa_handler = remember;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        sigaction(kSignals[i], nullptr, &former[i]);
        // Who started the command with a signal ignored (nohup) wants it to stay so.
        if (former[i].sa_handler != SIG_IGN) {
            sigaction(kSignals[i], &action, nullptr);
        }
    }
}

void release() {
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        sigaction(kSignals[i], &former[i], nullptr);
    }
    if (signalThatCame != 0) {
        ::raise(signalThatCame);
    }
}

}  // namespace

Interruption::Interruption() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (holders++ == 0) {
        hold();
    }
}

Interruption::~Interruption() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (--holders == 0) {
        release();
    }
}

void Interruption::check() {
    if (hasCome()) {
        throw Interrupted();
    }
}

bool Interruption::hasCome() noexcept { return signalThatCame != 0; }

int Interruption::signal() noexcept { return signalThatCame; }

}  // namespace flowbook::tool
