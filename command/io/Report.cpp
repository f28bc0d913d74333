#include "io/Report.hpp"

#include "io/Interruption.hpp"
#include "io/OrderedReports.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

constexpr std::size_t kMostKept = std::size_t{1} << 20;

}  // namespace

Report::Report(OrderedReports& reports, std::size_t index, std::string file)
    : reports_(&reports), index_(index), file_(std::move(file)) {}

void Report::write(const void* from, std::size_t count) {
    if (data_.size() + count > kMostKept) {
        reports_->show(index_, data_);
        reports_->show(index_, {static_cast<const char*>(from), count});
        data_.clear();
    } else {
        data_.append(static_cast<const char*>(from), count);
    }
}

void Report::fail(const Input* input) {
    Interruption::check();
    Diagnosis diagnosis = diagnose();
    if (input != nullptr) {
        diagnosis.message = input->inWords(std::move(diagnosis.message));
    }
    failures_.push_back(std::move(diagnosis));
}

void Report::note(ExitCode code) { noted_ = std::max(noted_, code); }

Json Report::openRecord() {
    hasRecord_ = true;
    Json json(*this);
    json.openObject().count("schema", 1).field("file", file_);
    return json;
}

void Report::closeRecord(Json& json) {
    const auto worst = std::max_element(failures_.begin(), failures_.end(),
                                        [](const auto& a, const auto& b) { return a.code < b.code; });
    if (worst != failures_.end()) {
        json.key("error").openObject().count("code", static_cast<std::uint64_t>(worst->code));
        json.field("kind", worst->kind).field("message", worst->message).closeObject();
    }
    json.closeObject();
    line("");
}

}  // namespace flowbook::tool
