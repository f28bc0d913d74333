// Compares lines by their words. Letters and digits that follow each other are a word, and so is each character of a
// script that is written without blanks between its words: else a sentence of it would be one word, and marked whole.
#include "kit/page/ChangedWords.hpp"

#include "kit/compare/Differences.hpp"
#include "kit/document/Characters.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>

namespace flowbook::kit {

namespace {

constexpr std::size_t kLongestForWords = 10000;
constexpr std::size_t kMostPairs = 1000000;  // which takes 8 MB

bool isLetterByte(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

/// Whether a character beyond ASCII is a word by itself: a no-break space, general punctuation less joiners and marks
/// of direction, Chinese and Japanese characters, and wide forms.
bool standsAlone(std::string_view character) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
    if (character.size() == 2) {
        return character == "\u00A0";
    }
    if (character.size() == 3) {
        const bool isPunctuation = byte(0) == 0xE2 && byte(1) == 0x80 && (byte(2) < 0x8C || byte(2) > 0x8F);
        const bool isWide = byte(0) == 0xEF && (byte(1) == 0xBC || byte(1) == 0xBD);
        return isPunctuation || isWide || (byte(0) >= 0xE3 && byte(0) <= 0xE9);
    }
    return character.size() == 4 && byte(0) == 0xF0 && byte(1) >= 0xA0 && byte(1) <= 0xAF;
}

/// The length of the first word of a text.
std::size_t wordLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
        const std::string_view rest = text.substr(length);
        const std::size_t next = characterEnd(rest, 0);
        const bool isOfWord = static_cast<unsigned char>(rest.front()) < 0x80 ? isLetterByte(rest.front())
                                                                              : !standsAlone(rest.substr(0, next));
        if (!isOfWord) {
            return length == 0 ? next : length;
        }
        length += next;
    }
    return length;
}

std::vector<std::string_view> wordsIn(std::string_view line) {
    std::vector<std::string_view> words;
    while (!line.empty()) {
        const std::size_t length = wordLength(line);
        words.push_back(line.substr(0, length));
        line.remove_prefix(length);
    }
    return words;
}

std::size_t lengthOf(const std::vector<std::string_view>& words, std::size_t begin, std::size_t end) {
    std::size_t length = 0;
    for (; begin < end; ++begin) {
        length += words[begin].size();
    }
    return length;
}

/// The words of a line in the order of an alphabet, less blanks and single signs, which most lines share.
std::vector<std::string_view> sortedWords(std::string_view line) {
    std::vector<std::string_view> words = wordsIn(line.substr(0, kLongestForWords));
    const auto isSign = [](std::string_view word) { return word.size() == 1 && !isLetterByte(word.front()); };
    words.erase(std::remove_if(words.begin(), words.end(), isSign), words.end());
    std::sort(words.begin(), words.end());
    return words;
}

/// How much of two lines is the same, in thousandths of their words.
std::uint32_t likeness(const std::vector<std::string_view>& a, const std::vector<std::string_view>& b) {
    std::size_t shared = 0;
    for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
        const int order = a[i].compare(b[j]);
        shared += order == 0 ? a[i].size() : 0;
        i += order <= 0 ? 1 : 0;
        j += order >= 0 ? 1 : 0;
    }
    const std::size_t all = lengthOf(a, 0, a.size()) + lengthOf(b, 0, b.size());
    return all == 0 ? 0 : static_cast<std::uint32_t>(2000 * shared / all);
}

/// Less than this is shared by chance.
constexpr std::uint32_t kLeastLikeness = 300;

/// What pairs of lines are worth at most, for each two lines at which the pairs may begin.
class PairTable {
public:
    PairTable(const std::vector<std::vector<std::string_view>>& a, const std::vector<std::vector<std::string_view>>& b)
        : countA_(a.size()), countB_(b.size()), likeness_(countA_ * countB_), best_((countA_ + 1) * (countB_ + 1)) {
        for (std::size_t i = countA_; i-- > 0;) {
            for (std::size_t j = countB_; j-- > 0;) {
                const std::uint32_t like = likeness(a[i], b[j]);
                likeness_[i * countB_ + j] = like < kLeastLikeness ? 0 : like;
                best(i, j) = std::max({best(i + 1, j), best(i, j + 1), pairAt(i, j)});
            }
        }
    }

    std::vector<std::pair<std::size_t, std::size_t>> pairs() {
        std::vector<std::pair<std::size_t, std::size_t>> found;
        for (std::size_t i = 0, j = 0; i < countA_ && j < countB_;) {
            const bool isPair = likeness_[i * countB_ + j] != 0 && best(i, j) == pairAt(i, j);
            if (isPair) {
                found.emplace_back(i, j);
            }
            const bool skipsA = !isPair && best(i, j) == best(i + 1, j);
            i += isPair || skipsA ? 1 : 0;
            j += isPair || !skipsA ? 1 : 0;
        }
        return found;
    }

private:
    std::uint32_t& best(std::size_t i, std::size_t j) { return best_[i * (countB_ + 1) + j]; }
    std::uint32_t pairAt(std::size_t i, std::size_t j) { return likeness_[i * countB_ + j] + best(i + 1, j + 1); }

    std::size_t countA_;
    std::size_t countB_;
    std::vector<std::uint32_t> likeness_;
    std::vector<std::uint32_t> best_;
};

}  // namespace

std::pair<MarkedLine, MarkedLine> markedLines(std::string_view before, std::string_view after) {
    const bool isLong = before.size() + after.size() > kLongestForWords;
    MarkedLine a{isLong ? std::vector<std::string_view>{before} : wordsIn(before), {}};
    MarkedLine b{isLong ? std::vector<std::string_view>{after} : wordsIn(after), {}};
    std::size_t changed = 0;
    for (const Difference& each : differencesOf(a.words, b.words)) {
        a.marks.emplace_back(each.aBegin, each.aEnd);
        b.marks.emplace_back(each.bBegin, each.bEnd);
        changed += lengthOf(a.words, each.aBegin, each.aEnd) + lengthOf(b.words, each.bBegin, each.bEnd);
    }
    // Words that two different lines share by chance would be read as what stayed.
    if (4 * changed > 3 * (before.size() + after.size())) {
        a.marks = {{0, a.words.size()}};
        b.marks = {{0, b.words.size()}};
    }
    return {std::move(a), std::move(b)};
}

std::vector<std::pair<std::size_t, std::size_t>> LikeLines::pairsOf(const std::vector<std::string_view>& before,
                                                                    const std::vector<std::string_view>& after) {
    if (before.size() == 1 && after.size() == 1) {
        return {{0, 0}};
    }
    const auto bytesOf = [](const std::vector<std::string_view>& lines) {
        return lengthOf(lines, 0, lines.size()) + lines.size();
    };
    const std::size_t work = after.size() * bytesOf(before) + before.size() * bytesOf(after);
    if (work > work_ || before.size() * after.size() > kMostPairs) {
        return {};
    }
    work_ -= work;
    std::vector<std::vector<std::string_view>> a, b;
    std::transform(before.begin(), before.end(), std::back_inserter(a), sortedWords);
    std::transform(after.begin(), after.end(), std::back_inserter(b), sortedWords);
    return PairTable(a, b).pairs();
}

}  // namespace flowbook::kit
