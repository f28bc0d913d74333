// What a command has to say about one input. It is kept until the inputs before it have been shown, so that several
// threads print what one would print; what is more than a mebibyte waits for its turn instead.
#include "io/Report.hpp"

#include "fl/i18n/Conversion.hpp"
#include "io/Interruption.hpp"
#include "io/OrderedReports.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/StoredText.hpp"

#include <algorithm>

namespace flowbook::tool {

namespace {

// The records of nearly all files are smaller. A report that is larger waits for its turn and is then shown at once.
constexpr std::size_t kMostKept = std::size_t{1} << 20;

/// The version of the records of --json, which docs/json.md describes.
constexpr std::uint64_t kSchema = 2;

/// The name of the file stands before each message, so that the message need not begin with it; and one about a
/// container that cannot be read says what to do.
std::string withoutFile(std::string message, const std::string& file) {
    for (const std::string& opening :
         {"Reading package '" + file + "': ", "package '" + file + "': ", "package '" + file + "', "}) {
        if (message.rfind(opening, 0) == 0) {
            message.erase(0, opening.size());
        }
    }
    const bool isNoZip = message.rfind("not a zip container", 0) == 0;
    return isNoZip ? "not a flowbook: " + message + "; try 'flowbook repair'" : message;
}

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
        diagnosis.message = withoutFile(input->inWords(std::move(diagnosis.message)), input->argument());
    }
    failures_.push_back(std::move(diagnosis));
}

void Report::note(ExitCode code) { noted_ = std::max(noted_, code); }

Json Report::openRecord() {
    hasRecord_ = true;
    Json json(*this);
    json.openObject().count("schema", kSchema).field("command", reports_->console().command()).field("file", file_);
    if (!kit::isUtf8(file_)) {
        const std::string uri = kit::writeDataUri({";base64", toBytes(file_)});
        // JSON is text, and a name of other bytes is changed in it; a program gets the exact name by this field.
        json.field("fileBase64", uri.substr(uri.find(',') + 1));
    }
    return json;
}

void Report::writeFailureRecord() {
    Json json = openRecord();
    // A record of a failure has all members that others have, empty, so that programs need not ask for each.
    std::string_view record = reports_->console().record();
    while (!record.empty()) {
        const std::string_view field = record.substr(0, record.find(' '));
        json.key(field.substr(0, field.size() - 2));
        field.back() == ']' ? json.openArray().closeArray() : json.openObject().closeObject();
        record.remove_prefix(std::min(field.size() + 1, record.size()));
    }
    closeRecord(json);
}

void Report::closeRecord(Json& json, ExitCode finding) {
    // Of several failures the one that decides the exit code is the record's.
    const auto worst = std::max_element(failures_.begin(), failures_.end(),
                                        [](const auto& a, const auto& b) { return a.code < b.code; });
    const ExitCode code = std::max({noted_, finding, worst == failures_.end() ? ExitCode::Fine : worst->code});
    json.count("exit", static_cast<std::uint64_t>(code));
    if (worst != failures_.end()) {
        json.key("error").openObject().field("kind", nameOf(worst->kind));
        json.count("exit", static_cast<std::uint64_t>(worst->code)).field("message", worst->message);
        if (!worst->part.empty()) {
            json.field("part", worst->part);
        }
        json.closeObject();
    }
    json.closeObject();
    line("");
}

}  // namespace flowbook::tool
