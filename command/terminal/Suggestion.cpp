// Finds the known word that a mistyped one is nearest to. What is too far away is not suggested, as a wrong suggestion
// is worse than none.
#include "terminal/Suggestion.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace flowbook::tool {

namespace {

/// How many letters must be inserted, removed or changed (Levenshtein's distance).
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
    const auto nearest = std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return distance(word, a) < distance(word, b);
    });
    const bool isNear = nearest != known.end() && distance(word, *nearest) <= std::max<std::size_t>(2, word.size() / 3);
    return isNear ? "; did you mean '" + *nearest + "'?" : "";
}

}  // namespace flowbook::tool
