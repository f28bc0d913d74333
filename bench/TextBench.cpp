#include "Cases.hpp"
#include "Inputs.hpp"
#include "flowbook/FlowbookFileUtils.hpp"

#include <benchmark/benchmark.h>
#include <cstring>

namespace bench {

namespace {

/// 1 MB of UTF-16 in which nothing is to be replaced.
std::u16string cleanText() { return codeOfLines(20000).substr(0, std::size_t{1} << 19); }

Work encode() {
    return
        [text = cleanText()] { benchmark::DoNotOptimize(flowbook::FlowbookFileUtils::encodeControlCharacters(text)); };
}

Work copy() {
    return [text = cleanText()] {
        std::u16string copied(text.size(), u'\0');
        std::memcpy(copied.data(), text.data(), text.size() * sizeof(char16_t));
        benchmark::DoNotOptimize(copied);
    };
}

}  // namespace

// The goal is 2 GB/s: at most 524 microseconds for the megabyte.
void addTextCases() { addCase("text/encodeControlCharacters_1_MB", 10, copy, encode); }

}  // namespace bench
