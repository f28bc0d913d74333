// A host that works with flowbooks at odd moments of its life: before main(), when a thread ends, after fork(), at
// exit. Linked with the library, or, with LOADED, loading it while it runs. usage: host MOMENT..., which are worked at.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Work = const char* (*)(const char* moment);

#ifdef LOADED
Work load() {
    void* const library = ::dlopen(LOADED, RTLD_NOW);
    return library == nullptr ? nullptr : reinterpret_cast<Work>(::dlsym(library, "work"));
}
#else
}
extern "C" const char* work(const char* moment);
namespace {
Work load() { return &work; }
#endif

std::vector<std::string>& moments() {
    static auto& all = *new std::vector<std::string>();
    return all;
}

void at(const char* moment) {
    if (std::find(moments().begin(), moments().end(), moment) == moments().end()) {
        return;
    }
    const Work work = load();
    const char* const failure = work == nullptr ? ::dlerror() : work(moment);
    std::printf("%s: %s\n", moment, failure == nullptr ? "done" : failure);
    std::fflush(stdout);
}

struct AtBothEnds {
    AtBothEnds() {
        const char* const named = std::getenv("BEFORE_MAIN");
        if (named != nullptr) {
            moments().emplace_back("before-main");
            at("before-main");
        }
    }
    ~AtBothEnds() { at("static-destructor"); }
} bothEnds;

struct AtThreadEnd {
    const char* moment = nullptr;
    ~AtThreadEnd() { at(moment); }
};

void runThread() {
    pthread_key_t key;
    ::pthread_key_create(&key, [](void*) { at("key-destructor"); });
    ::pthread_setspecific(key, &key);
    thread_local AtThreadEnd end;
    end.moment = "thread-end";
    at("thread");
}

void runChild() {
    const pid_t child = ::fork();
    if (child == 0) {
        at("child");
        std::exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::printf("child ended: %d\n", status);
}

}  // namespace

int main(int count, char** arguments) {
    moments().insert(moments().end(), arguments + 1, arguments + count);
    std::atexit([] { at("atexit"); });
    std::at_quick_exit([] { at("quick-exit"); });
    thread_local AtThreadEnd end;
    end.moment = "main-thread-end";
    at("main");
    std::thread(runThread).join();
    runChild();
#ifdef LOADED
    if (void* const library = ::dlopen(LOADED, RTLD_NOW | RTLD_NOLOAD)) {
        while (::dlclose(library) == 0 && ::dlopen(LOADED, RTLD_NOW | RTLD_NOLOAD) == nullptr) {
        }
    }
#endif
    at("after-close");
    static std::atomic<bool> isBusy{false};
    if (std::find(moments().begin(), moments().end(), "busy-thread") != moments().end()) {
        std::thread([] {
            for (;;) {
                load()("busy-thread");
                isBusy = true;
            }
        }).detach();
        while (!isBusy) {
            ::usleep(1000);
        }
    }
    // Ends that run no destructors, the first with handlers of its own.
    if (std::getenv("QUICK_EXIT") != nullptr) {
        std::quick_exit(0);
    }
    if (std::getenv("UNDERSCORE_EXIT") != nullptr) {
        ::_exit(0);
    }
    return 0;
}
