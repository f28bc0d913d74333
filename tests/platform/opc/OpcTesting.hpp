#pragma once

#include "fl/Bytes.hpp"
#include "opc/Exception.hpp"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace opc::tests {

inline fl::Bytes toBytes(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string toText(const fl::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

inline std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    while (count-- != 0) {
        result += text;
    }
    return result;
}

/// Expects that a failure has the part or entry which its text names. Text that is cut or escaped is no name.
inline void expectPart(const Exception& error) {
    const std::string text = error.what();
    for (const std::string opening : {"part '", "entry '"}) {
        const std::size_t at = text.find(opening);
        const std::string rest = at == text.npos ? "" : text.substr(at + opening.size());
        const std::string name = rest.substr(0, rest.find('\''));
        if (!name.empty() && name.find_first_of("?\\") == name.npos && name.find("...") == name.npos) {
            EXPECT_EQ((opening == "part '" ? "" : "/") + name, error.part()) << text;
            return;
        }
    }
}

/// Expects an opc::Exception of a kind whose text holds all the given pieces.
template <class Call>
void expectFailure(ErrorKind kind, const std::vector<std::string>& pieces, Call&& call) {
    try {
        call();
        ADD_FAILURE() << "nothing was thrown, expected: " << pieces.back();
    } catch (const Exception& error) {
        EXPECT_EQ(error.kind(), kind) << error.what();
        expectPart(error);
        for (const std::string& piece : pieces) {
            EXPECT_PRED_FORMAT2(::testing::IsSubstring, piece, error.what());
        }
    }
}

}  // namespace opc::tests
