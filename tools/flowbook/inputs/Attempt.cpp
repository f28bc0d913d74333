#include "inputs/Attempt.hpp"

#include "inputs/Diagnosis.hpp"

namespace flowbook::tool {

void attempt(Console& console, const std::string& file, const Input* input, const std::function<void()>& action) {
    try {
        action();
    } catch (const std::exception&) {
        const Diagnosis diagnosis = diagnose(input);
        console.report(diagnosis.code, diagnosis.file.empty() ? file : diagnosis.file, diagnosis.message);
    }
}

void attemptFile(Console& console, const std::string& argument, const std::function<void(const Input&)>& action) {
    attempt(console, argument, nullptr, [&] {
        const Input input(argument);
        attempt(console, argument, &input, [&] { action(input); });
    });
}

void attemptFiles(Console& console, const std::vector<std::string>& arguments,
                  const std::function<void(const Input&)>& action) {
    console.progress().start(arguments.size());
    for (const std::string& argument : arguments) {
        if (console.out().hasFailed()) {
            return;
        }
        attemptFile(console, argument, action);
        console.progress().step();
    }
}

}  // namespace flowbook::tool
