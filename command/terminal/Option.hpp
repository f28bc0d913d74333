#pragma once

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace flowbook::tool {

/// Where help lists an option.
enum class OptionGroup { Command, Inputs, Output };

/// One option, or one place on the command line, of a subcommand. What is said here once is what the command line is
/// read by, and what help, the man page, the completions and the table in README.md are made from.
struct Option {
    /// How the argument is stored. @returns false when the text is no value of that kind.
    using Store = bool (*)(void* options, std::string_view text);

    std::string_view name;      ///< "--format", or "FILE" for a place
    char letter = '\0';         ///< 'f' for -f; '\0' for none
    std::string_view value;     ///< what help calls the argument; "text|xml" are the only ones allowed; empty: a flag
    std::string_view help;      ///< one sentence without its full stop
    std::string_view standard;  ///< what holds when the option is not given; empty where that is obvious
    std::string_view details;   ///< more sentences, for the man page
    std::string_view without;   ///< the names of options that may not be given as well, separated by blanks
    std::string_view with;      ///< the name of an option that has to be given as well
    OptionGroup group = OptionGroup::Command;
    bool isRequired = false;
    bool isRepeatable = false;  ///< may be given several times; as a place: takes all that is left
    bool isHidden = false;      ///< an older spelling, or what hands type by habit; help does not list it
    Store store = nullptr;

    constexpr bool isPlace() const { return name.front() != '-'; }
    constexpr bool isFlag() const { return !isPlace() && value.empty(); }

private:
    /// Defined before it is used, as Clang asks of what is called in constants.
    template <class T>
    constexpr Option changedIn(T Option::*member, T to) const {
        Option changed = *this;
        changed.*member = to;
        return changed;
    }

public:
    constexpr Option defaultsTo(std::string_view text) const { return changedIn(&Option::standard, text); }
    constexpr Option explained(std::string_view text) const { return changedIn(&Option::details, text); }
    constexpr Option excludes(std::string_view names) const { return changedIn(&Option::without, names); }
    constexpr Option needs(std::string_view other) const { return changedIn(&Option::with, other); }
    constexpr Option in(OptionGroup where) const { return changedIn(&Option::group, where); }
    constexpr Option required() const { return changedIn(&Option::isRequired, true); }
    constexpr Option hidden() const { return changedIn(&Option::isHidden, true); }

    /// The same option with another explanation.
    constexpr Option described(std::string_view text) const { return changedIn(&Option::help, text); }
};

namespace storing {

template <class Owner, class T>
Owner ownerOf(T Owner::*);

inline bool store(bool& to, std::string_view) { return to = true; }
inline bool store(std::string& to, std::string_view text) { return to = text, true; }
inline bool store(std::optional<std::string>& to, std::string_view text) { return to = std::string(text), true; }
inline bool store(std::vector<std::string>& to, std::string_view text) { return to.emplace_back(text), true; }
inline bool store(unsigned& to, std::string_view text) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), to);
    return error == std::errc() && end == text.data() + text.size();
}
inline bool store(std::optional<unsigned>& to, std::string_view text) { return store(to.emplace(), text); }

template <auto First, auto... Rest>
auto& memberOf(decltype(ownerOf(First))& owner) {
    if constexpr (sizeof...(Rest) == 0) {
        return owner.*First;
    } else {
        return memberOf<Rest...>(owner.*First);
    }
}

}  // namespace storing

/// Where an argument goes: a member of the command's struct of options, or a member of a member of it. A vector takes
/// one argument each time that the option is given.
template <auto First, auto... Rest>
struct Into {
    using Options = decltype(storing::ownerOf(First));
    using Value = std::remove_reference_t<decltype(storing::memberOf<First, Rest...>(std::declval<Options&>()))>;

    static constexpr bool kIsFlag = std::is_same_v<Value, bool>;
    static constexpr bool kIsRepeatable = std::is_same_v<Value, std::vector<std::string>>;

    static bool store(void* options, std::string_view text) {
        return storing::store(storing::memberOf<First, Rest...>(*static_cast<Options*>(options)), text);
    }
};

/// Describes an option that takes nothing. @param Members  as Into has them; the last one is a bool.
template <auto... Members>
constexpr Option flag(std::string_view name, char letter, std::string_view help) {
    static_assert(Into<Members...>::kIsFlag);
    Option option;
    option.name = name;
    option.letter = letter;
    option.help = help;
    option.store = &Into<Members...>::store;
    return option;
}

/// Describes an option that takes an argument, or, when `name` begins with no hyphen, a place on the command line.
template <auto... Members>
constexpr Option option(std::string_view name, char letter, std::string_view value, std::string_view help) {
    static_assert(!Into<Members...>::kIsFlag);
    Option option;
    option.name = name;
    option.letter = letter;
    option.value = value;
    option.help = help;
    option.isRepeatable = Into<Members...>::kIsRepeatable;
    option.store = &Into<Members...>::store;
    return option;
}

/// Describes a place on the command line, such as "FILE"; it is required when a plain string takes it, and
/// takes all that is left when a vector does.
template <auto... Members>
constexpr Option place(std::string_view name, std::string_view help) {
    Option made = option<Members...>(name, '\0', name, help);
    made.isRequired = std::is_same_v<typename Into<Members...>::Value, std::string>;
    return made;
}

template <std::size_t N>
using Options = std::array<Option, N>;

namespace storing {

constexpr std::size_t sizeOf(const Option&) { return 1; }
template <std::size_t N>
constexpr std::size_t sizeOf(const Options<N>&) {
    return N;
}

template <std::size_t N>
constexpr void append(Options<N>& all, std::size_t& count, const Option& one) {
    all[count++] = one;
}
template <std::size_t N, std::size_t M>
constexpr void append(Options<N>& all, std::size_t& count, const Options<M>& more) {
    for (const Option& one : more) {
        append(all, count, one);
    }
}

template <class T>
struct SizeOf : std::integral_constant<std::size_t, 1> {};
template <std::size_t N>
struct SizeOf<Options<N>> : std::integral_constant<std::size_t, N> {};

}  // namespace storing

/// The table of a command: single options and groups of shared ones, in the order in which help lists them.
template <class... Each>
constexpr auto optionTable(const Each&... each) {
    Options<(storing::SizeOf<Each>::value + ... + 0)> all{};
    std::size_t count = 0;
    (storing::append(all, count, each), ...);
    return all;
}

namespace storing {

template <std::size_t N>
constexpr bool names(const Options<N>& table, std::string_view name) {
    for (const Option& each : table) {
        if (each.name == name) {
            return true;
        }
    }
    return false;
}

/// Whether each of the names, which are separated by blanks, is that of an option.
template <std::size_t N>
constexpr bool namesAll(const Options<N>& table, std::string_view wanted) {
    while (!wanted.empty()) {
        const std::string_view name = wanted.substr(0, wanted.find(' '));
        if (!names(table, name)) {
            return false;
        }
        wanted.remove_prefix(name.size() == wanted.size() ? name.size() : name.size() + 1);
    }
    return true;
}

}  // namespace storing

/// Whether no two options of a table share a name or a letter, each has an explanation, and those that they name exist.
template <std::size_t N>
constexpr bool isConsistent(const Options<N>& table) {
    for (std::size_t i = 0; i < N; ++i) {
        const Option& one = table[i];
        if (one.help.empty() || !storing::namesAll(table, one.without) || !storing::namesAll(table, one.with)) {
            return false;
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (one.name == table[j].name || (one.letter != '\0' && one.letter == table[j].letter)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace flowbook::tool
