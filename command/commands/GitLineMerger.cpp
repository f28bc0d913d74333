#include "commands/GitLineMerger.hpp"

#include "io/Input.hpp"
#include "io/Program.hpp"
#include "io/TemporaryFolder.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

namespace {

/// git tells the number of conflicts up to this one; beyond are its failures.
constexpr int kMostConflicts = 127;

}  // namespace

kit::LineMerger::Result GitLineMerger::merge(const std::string& base, const std::string& ours,
                                             const std::string& theirs, kit::Favour favour) const {
    const TemporaryFolder folder;
    const std::string result = folder.put("ours", ours);
    std::vector<std::string> command{"git", "merge-file", "--quiet", "-L", "ours", "-L", "base", "-L", "theirs"};
    if (favour != kit::Favour::None) {
        command.emplace_back(favour == kit::Favour::Ours ? "--ours" : "--theirs");
    }
    command.insert(command.end(), {result, folder.put("base", base), folder.put("theirs", theirs)});
    const int code = runProgram(std::move(command));
    if (code > kMostConflicts) {
        throw Failure(ExitCode::InputOutput, "git merge-file failed with exit code " + std::to_string(code));
    }
    const Bytes merged = readBytes(result, opc::Limits().maxPartSize);
    return {std::string(merged.begin(), merged.end()), code != 0};
}

}  // namespace flowbook::tool
