#pragma once

#include <memory>
#include <pthread.h>
#include <type_traits>
#include <utility>

namespace fl {

/// One object that each thread keeps from call to call, as making it takes long. It ends with the thread. A call that
/// comes still later, from the destructor of another key of pthread, gets no object and keeps none. Nothing here is an
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

    /// Whether this thread may keep an object, which is so once its slot is registered with the key: only then is what
    /// it keeps given back when the thread ends.
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

    /// Runs when the thread ends. It marks the slot first, so that a later call of this thread makes an object of its
    /// own, which it frees itself.
    static void end(void* slot) noexcept {
        const Pointer last(std::exchange(*static_cast<Slot*>(slot), Slot{nullptr, false, true}).kept);
    }

    inline static thread_local Slot slot_{nullptr, false, false};
};

}  // namespace fl
