// Changes many flowbooks and counts them. With several files a signal waits until the counts are printed, since the
// user then has to know which ones were changed.
#include "io/ChangeEachInput.hpp"

#include "io/Interruption.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <atomic>

namespace flowbook::tool {

namespace {

std::string filesInWords(std::size_t count) { return std::to_string(count) + (count == 1 ? " file" : " files"); }

/// The changes that one command makes.
class Changes {
public:
    Changes(const ChangeOptions& options, const ChangeWork& work) : options_(&options), work_(&work) {}

    void operator()(const Input& input, Report& report) {
        const bool isFilter = input.isStandardInput() && !options_->dryRun;
        if (isFilter) {
            requireFilter();
        }
        const bool isChanged = (*work_)(input, report);
        ++(isChanged ? changed_ : unchanged_);
        if (isFilter) {
            const Bytes result = input.readAll();
            report.write(result.data(), result.size());
        } else if (options_->inputs.json) {
            Json json = report.openRecord();
            json.truth("changed", isChanged);
            report.closeRecord(json);
        } else if (isChanged && options_->dryRun && options_->namesChanged && !options_->quiet) {
            report.line(Output::isTerminal() ? printable(input.argument()) : input.argument());
        }
    }

    void sayCounts(Console& console) const {
        if (changed_ + unchanged_ > 1 && !options_->quiet) {
            console.say(filesInWords(changed_) + (options_->dryRun ? " would be changed, " : " changed, ") +
                        std::to_string(unchanged_) + " not");
        }
    }

private:
    void requireFilter() const {
        if (options_->inputs.json) {
            throw Failure(ExitCode::Usage, "--json cannot be given when standard output takes the changed flowbook");
        }
        Output::requireFitForBytes(options_->binary);
    }

    const ChangeOptions* options_;
    const ChangeWork* work_;
    std::atomic<std::size_t> changed_{0};
    std::atomic<std::size_t> unchanged_{0};
};

}  // namespace

void changeEachInput(Console& console, const ChangeOptions& options, const ChangeWork& work) {
    Changes changes(options, work);
    const Interruption untilSaid;
    forEachInput(console, options.inputs, std::ref(changes), Input::Purpose::UpdateOrFilter);
    changes.sayCounts(console);
}

}  // namespace flowbook::tool
