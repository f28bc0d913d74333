#pragma once

#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"
#include "opc/Exception.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

/// Ends the process as a crash does, so that the input is kept.
inline void require(bool holds, const char* rule) {
    if (!holds) {
        std::fprintf(stderr, "broken rule: %s\n", rule);
        std::abort();
    }
}

/// Runs a call that may throw what is listed, and nothing else. Returns whether it threw nothing.
template <class... Allowed, class Call>
bool succeeds(Call&& call) {
    bool threw = false;
    const auto guarded = [&](auto&& self, auto* first, auto*... rest) -> void {
        try {
            if constexpr (sizeof...(rest) == 0) {
                call();
            } else {
                self(self, rest...);
            }
        } catch (const std::remove_pointer_t<decltype(first)>&) {
            threw = true;
        }
    };
    guarded(guarded, static_cast<Allowed*>(nullptr)...);
    return !threw;
}

/// Little-endian units; an odd byte at the end is left out.
inline std::u16string units(const std::uint8_t* data, std::size_t size) {
    std::u16string text(size / 2, u'\0');
    for (std::size_t i = 0; i != text.size(); ++i) {
        text[i] = static_cast<char16_t>(data[2 * i] | data[2 * i + 1] << 8);
    }
    return text;
}

/// One file in memory.
struct File {
    static inline const std::u16string kName = u"mem://f.tqx";

    std::shared_ptr<foundation::storage::vfs::MemoryStorage> storage =
        std::make_shared<foundation::storage::vfs::MemoryStorage>();
    foundation::storage::vfs::StorageSystemReference reference{storage};
};

}  // namespace fuzzing
