#include "kit/page/FieldCodes.hpp"

#include <cstddef>
#include <strings.h>
#include <utility>
#include <vector>

namespace flowbook::kit {

namespace {

constexpr std::size_t kLongestCode = 10000;

bool isBlankInCode(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// The words of the code. In quotes a backslash takes the next character as it is.
std::vector<std::string> wordsOfCode(std::string_view code) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < code.size();) {
        if (isBlankInCode(code[at])) {
            ++at;
            continue;
        }
        const bool isQuoted = code[at] == '"';
        at += isQuoted ? 1 : 0;
        std::string word;
        for (; at < code.size() && (isQuoted ? code[at] != '"' : !isBlankInCode(code[at])); ++at) {
            at += isQuoted && code[at] == '\\' && at + 1 < code.size() ? 1 : 0;
            word += code[at];
        }
        at += isQuoted ? 1 : 0;
        words.push_back(std::move(word));
    }
    return words;
}

FieldTarget targetOfHyperlink(std::vector<std::string> words) {
    FieldTarget target;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool takesWord = words[i] == "\\l" || words[i] == "\\o" || words[i] == "\\t";
        if (words[i] == "\\l" && i + 1 < words.size()) {
            target.bookmark = std::move(words[i + 1]);
        } else if (target.address.empty() && !words[i].empty() && words[i].front() != '\\') {
            target.address = std::move(words[i]);
        }
        i += takesWord ? 1 : 0;
    }
    return target;
}

}  // namespace

FieldTarget targetOfField(std::string_view code) {
    std::vector<std::string> words = wordsOfCode(code.substr(0, kLongestCode));
    const auto isKind = [&words](const char* kind) { return strcasecmp(words.front().c_str(), kind) == 0; };
    if (words.size() < 2) {
        return {};
    }
    if (isKind("HYPERLINK")) {
        return targetOfHyperlink(std::move(words));
    }
    const bool isReference = isKind("REF") || isKind("PAGEREF") || isKind("NOTEREF");
    return isReference ? FieldTarget{"", std::move(words[1])} : FieldTarget();
}

}  // namespace flowbook::kit
