#pragma once

#include "io/Input.hpp"
#include "io/Interruption.hpp"
#include "terminal/Console.hpp"
#include "terminal/Json.hpp"

#include <string>
#include <vector>

namespace flowbook::tool {

class OrderedReports;

/// What the work on one input gives: data for standard output, and failures. It appears in the order of
/// the inputs, whichever is done first. Used by the thread that works on the input.
class Report : public Sink {
public:
    Report(OrderedReports& reports, std::size_t index, std::string file);
    Report(Report&&) = default;

    using Sink::write;

    /// Data that is not shown yet is kept, up to a limit; then the call waits until all earlier inputs
    /// are done. @throws Interrupted.
    void write(const void* from, std::size_t count) override;

    /// Reports the exception that is being handled as a failure of the input.
    /// @param input  for the wording; may be null.
    void fail(const Input* input);

    /// Keeps a message for standard error, which is no failure.
    void say(std::string message) { notes_.push_back(std::move(message)); }

    /// Keeps a code in mind without a message.
    void note(ExitCode code);

    /// Whether there was a failure.
    bool hasFailed() const noexcept { return !failures_.empty(); }

    bool hasRecord() const noexcept { return hasRecord_; }

    /// Begins the JSON object of the input.
    Json openRecord();

    /// Ends the JSON object, with the exit code of this input and the worst failure, if there was any.
    /// @param finding  counts for the exit code in the record only.
    void closeRecord(Json& json, ExitCode finding = ExitCode::Fine);

    /// Writes the JSON object of an input whose work failed before it wrote one: its lists are empty.
    void writeFailureRecord();

    /// Does `work`; an exception that it throws is reported and goes no further.
    template <class Work>
    void attempt(const Input* input, Work work) {
        try {
            work();
        } catch (const Interrupted&) {
            throw;
        } catch (const std::exception&) {
            fail(input);
        }
    }

private:
    friend class OrderedReports;

    OrderedReports* reports_;
    std::size_t index_;
    std::string file_;
    std::string data_;
    std::vector<std::string> notes_;
    std::vector<Diagnosis> failures_;
    ExitCode noted_ = ExitCode::Fine;
    bool hasRecord_ = false;
};

}  // namespace flowbook::tool
