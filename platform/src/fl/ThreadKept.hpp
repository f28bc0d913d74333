#pragma once

#include <memory>
#include <pthread.h>
#include <type_traits>
#include <utility>

namespace fl {

/// One object that each thread keeps from call to call, as making it takes long. It goes with the thread; a call that
/// comes later still, from the destructor of another key of pthread, gets none and keeps none. Nothing here is an
/// object with a destructor, so calls work at any time, also from the destructors of static and of thread_local
/// objects.
template <class T, class Deleter>
class ThreadKept {
public:
    using Pointer = std::unique_ptr<T, Deleter>;

    /// What is kept, which is the caller's until it is put back; or null.
    static Pointer take() noexcept { return Pointer(std::exchange(slot_.kept, nullptr)); }

    static void put(Pointer object) noexcept {
        if (isKeeping()) {
            object.reset(std::exchange(slot_.kept, object.release()));
        }
    }

private:
    struct Slot {
        T* kept;
        bool isRegistered;  ///< with the key, which ends what is kept
        bool isOver;
    };

    struct Key {
        pthread_key_t key;
        bool isMade;
    };

    static_assert(std::is_trivially_destructible_v<Slot> && std::is_trivially_destructible_v<Key>);

    static bool isKeeping() noexcept {
        if (!slot_.isRegistered && !slot_.isOver) {
            static const Key key = makeKey();
            slot_.isRegistered = key.isMade && ::pthread_setspecific(key.key, &slot_) == 0;
        }
        return slot_.isRegistered;
    }

    static Key makeKey() noexcept {
        Key made{};
        made.isMade = ::pthread_key_create(&made.key, &end) == 0;
        return made;
    }

    static void end(void* slot) noexcept {
        const Pointer last(std::exchange(*static_cast<Slot*>(slot), Slot{nullptr, false, true}).kept);
    }

    inline static thread_local Slot slot_{nullptr, false, false};
};

}  // namespace fl
