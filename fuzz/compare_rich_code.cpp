// Holds the scan for code against the DOM on documents of a grammar that also breaks them:
// compare_rich_code COUNT [SEED]
#include "RichCodeCheck.hpp"
#include "RichCodeGrammar.hpp"

#include <csignal>

namespace {

std::string document;

void showDocument(int) {
    std::fwrite(document.data(), 1, document.size(), stderr);
    std::_Exit(1);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::fputs("usage: compare_rich_code COUNT [SEED]\n", stderr);
        return 2;
    }
    std::signal(SIGABRT, showDocument);
    const auto documents = std::strtoull(arguments[1], nullptr, 10);
    const auto seed = count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 1;
    fuzzing::RichCodeGrammar grammar(seed);
    unsigned long long sure = 0;
    for (auto left = documents; left != 0; --left) {
        document = grammar.document();
        sure += static_cast<unsigned long long>(fuzzing::checkScan(document));
    }
    std::printf("seed %llu: %llu documents, of %llu the scan was sure, no difference\n", seed, documents, sure);
    return 0;
}
