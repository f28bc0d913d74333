// Reads a command line by the table of a command's options. The table also makes help, man page and completions, so
// that no option is parsed in one way and described in another.
#include "terminal/Command.hpp"

#include "terminal/Failure.hpp"
#include "terminal/Help.hpp"
#include "terminal/Suggestion.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

std::string inQuotationMarks(std::string_view text) { return "'" + std::string(text) + "'"; }

/// Reads the arguments of one command from left to right.
class Parser {
public:
    Parser(const Command& command, void* options) : command_(&command), options_(options), given_(command.count, 0) {}

    /// @returns false when help is asked for.
    bool read(const std::vector<std::string>& arguments) {
        for (auto at = arguments.begin(); at != arguments.end(); ++at) {
            if (*at == "--") {
                // Behind "--" nothing is an option, so files may have names that begin with a hyphen.
                words_.insert(words_.end(), at + 1, arguments.end());
                break;
            }
            if (*at == "--help") {
                return false;
            }
            // A hyphen alone is standard input or output.
            const bool isOption = at->size() > 1 && at->front() == '-';
            if (!isOption) {
                words_.push_back(*at);
            } else if (!((*at)[1] == '-' ? readLong(at, arguments.end()) : readLetters(at, arguments.end()))) {
                return false;
            }
        }
        return true;
    }

    /// Gives the words that are no options to the places of the command, and looks at how options go together.
    void finish() {
        fillPlaces();
        for (const Option& option : *command_) {
            checkCompany(option);
        }
    }

private:
    using Place = std::vector<std::string>::const_iterator;

    [[noreturn]] void fail(const std::string& message) const {
        throw Failure(ExitCode::Usage, message + " (see flowbook help " + std::string(command_->name) + ")");
    }

    char& given(const Option& option) { return given_[static_cast<std::size_t>(&option - command_->options)]; }

    bool isGiven(std::string_view name) {
        return std::any_of(command_->begin(), command_->end(),
                           [&](const Option& each) { return each.name == name && given(each) != 0; });
    }

    std::string unknown(const std::string& name) const {
        std::vector<std::string> known{"--help"};
        for (const Option& option : *command_) {
            if (!option.isPlace()) {
                known.emplace_back(option.name);
            }
        }
        const bool isLong = name.size() > 2;
        return "there is no option " + inQuotationMarks(name) + (isLong ? suggestion(name, known) : "");
    }

    bool readLong(Place& at, Place end) {
        // Options are not abbreviated: a script that uses a short form would break with the next option that begins
        // alike.
        const std::string name = at->substr(0, at->find('='));
        const auto* const option =
            std::find_if(command_->begin(), command_->end(), [&](const Option& each) { return each.name == name; });
        if (option == command_->end() || option->isPlace()) {
            fail(unknown(name));
        }
        if (name.size() == at->size()) {
            take(*option, at, end);
        } else if (option->isFlag()) {
            fail(name + " takes no argument");
        } else {
            store(*option, std::string_view(*at).substr(name.size() + 1));
        }
        return true;
    }

    /// One hyphen and several letters, the last of which may have its argument behind it.
    bool readLetters(Place& at, Place end) {
        const std::string_view letters = *at;
        for (std::size_t i = 1; i < letters.size(); ++i) {
            if (letters[i] == 'h' && !hasLetter('h')) {
                return false;
            }
            const Option& option = withLetter(letters[i]);
            if (!option.isFlag() && i + 1 < letters.size()) {
                store(option, letters.substr(i + 1));
                return true;
            }
            take(option, at, end);
            if (!option.isFlag()) {
                return true;
            }
        }
        return true;
    }

    bool hasLetter(char letter) const {
        return std::any_of(command_->begin(), command_->end(),
                           [&](const Option& each) { return each.letter == letter; });
    }

    const Option& withLetter(char letter) const {
        const auto* const option =
            std::find_if(command_->begin(), command_->end(), [&](const Option& each) { return each.letter == letter; });
        if (option == command_->end()) {
            fail(unknown(std::string("-") + letter));
        }
        return *option;
    }

    void take(const Option& option, Place& at, Place end) {
        if (option.isFlag()) {
            store(option, "");
            return;
        }
        if (std::next(at) == end) {
            fail(std::string(option.name) + " takes " + std::string(option.value) + ", which is missing");
        }
        store(option, *++at);
    }

    void store(const Option& option, std::string_view text) {
        // The words of help, such as "auto|always|never", are also what is checked, so the two cannot differ.
        const bool isChoice = !option.isPlace() && option.value.find('|') != std::string_view::npos;
        if ((isChoice && !isOneOf(option.value, text)) || !option.store(options_, text)) {
            fail(std::string(option.name) + " takes " + (isChoice ? "" : "a number, ") + std::string(option.value) +
                 ", not " + inQuotationMarks(text));
        }
        given(option) = 1;
    }

    static bool isOneOf(std::string_view choices, std::string_view text) {
        while (true) {
            const std::string_view choice = choices.substr(0, choices.find('|'));
            if (choice == text) {
                return true;
            }
            if (choice.size() == choices.size()) {
                return false;
            }
            choices.remove_prefix(choice.size() + 1);
        }
    }

    /// The places that there are, given the options: one may stand for what an option gives otherwise.
    std::vector<const Option*> places() {
        std::vector<const Option*> all;
        for (const Option& option : *command_) {
            if (option.isPlace() && (option.without.empty() || !isGiven(option.without))) {
                all.push_back(&option);
            }
        }
        return all;
    }

    void fillPlaces() {
        const std::vector<const Option*> all = places();
        auto word = words_.cbegin();
        for (std::size_t i = 0; i < all.size(); ++i) {
            // One word for each place that follows, so that a place for many words leaves the last one to a place
            // behind it.
            const std::size_t reserved = all.size() - i - 1;
            const auto left = static_cast<std::size_t>(words_.cend() - word);
            const std::size_t count =
                all[i]->isRepeatable ? left - std::min(left, reserved) : std::min<std::size_t>(left, 1);
            if (all[i]->isRequired && count == 0) {
                fail(std::string(command_->name) + " takes " + wordsFor(all) + "; " + std::string(all[i]->name) +
                     " is missing");
            }
            for (std::size_t taken = 0; taken < count; ++taken) {
                store(*all[i], *word++);
            }
        }
        if (word != words_.cend()) {
            fail(std::string(command_->name) + " takes " + wordsFor(all) + ", " + inQuotationMarks(*word) +
                 " is too many");
        }
    }

    static std::string wordsFor(const std::vector<const Option*>& places) {
        std::string words = places.empty() ? "no argument" : places.size() == 1 ? "one " : "";
        for (std::size_t i = 0; i < places.size(); ++i) {
            words += (i == 0 ? "" : i + 1 == places.size() ? " and " : ", ") + std::string(places[i]->name);
        }
        return words;
    }

    void checkCompany(const Option& option) {
        if (option.isPlace()) {
            return;
        }
        if (given(option) == 0) {
            if (option.isRequired) {
                fail(std::string(command_->name) + " takes " + std::string(option.name) + " " +
                     std::string(option.value) + ", which is missing");
            }
            return;
        }
        if (!option.with.empty() && !isGiven(option.with)) {
            fail(std::string(option.name) + " requires " + std::string(option.with));
        }
        for (const Option& other : *command_) {
            if (given(other) != 0 &&
                (" " + std::string(option.without) + " ").find(" " + std::string(other.name) + " ") !=
                    std::string::npos) {
                fail(std::string(option.name) + " and " + std::string(other.name) + " cannot be given together");
            }
        }
    }

    const Command* command_;
    void* options_;
    std::vector<char> given_;
    std::vector<std::string> words_;
};

}  // namespace

bool parseArguments(const Command& command, const std::vector<std::string>& arguments, void* options,
                    Console& console) {
    Parser parser(command, options);
    if (!parser.read(arguments)) {
        printHelp(console.out(), command);
        return false;
    }
    parser.finish();
    return true;
}

}  // namespace flowbook::tool
