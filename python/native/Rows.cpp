// Reads columns of many flowbooks in one call, without the interpreter lock, so that a partition of a data frame is one
// piece of work. A flowbook that cannot be read gives an empty row and its failure; it never ends the others.
#include "Rows.hpp"

#include "Book.hpp"
#include "kit/compare/Digest.hpp"

#include <algorithm>
#include <atomic>
#include <future>
#include <system_error>
#include <utility>

namespace flowbook::python {

namespace py = pybind11;

namespace {

/// What columns hold of a flowbook.
class Answers {
public:
    explicit Answers(const Source& source) : document_(kName, source.storage()) {}

    const kit::Document& document() const { return document_; }

    const std::u16string& code() {
        if (!code_) {
            needReadable(document_);
            code_ = document_.code();
        }
        return *code_;
    }

    Cell property(const std::string& label) {
        if (properties_.empty()) {
            properties_ = document_.properties();
        }
        const auto found = std::find_if(properties_.begin(), properties_.end(),
                                        [&](const kit::Property& each) { return each.label == label; });
        if (!found->fault.empty()) {
            throw kit::failureOf(*found);
        }
        return found->value ? Cell(*found->value) : Cell();
    }

private:
    kit::Document document_;
    std::optional<std::u16string> code_;
    std::vector<kit::Property> properties_;
};

Cell linesOf(Answers& answers) {
    const std::u16string& code = answers.code();
    const bool isLastOpen = !code.empty() && code.back() != u'\n';
    return std::count(code.begin(), code.end(), u'\n') + std::int64_t{isLastOpen};
}

Cell picturesOf(Answers& answers) {
    const auto parts = answers.document().package().getParts();
    return std::int64_t{std::count_if(parts.begin(), parts.end(), &kit::isPicture)};
}

struct Column {
    const char* name;
    Cell (*ask)(Answers&);
};

constexpr Column kColumns[] = {
    {"title", [](Answers& answers) { return answers.property("title"); }},
    {"code", [](Answers& answers) { return Cell(answers.code()); }},
    {"lines", &linesOf},
    {"form", [](Answers& answers) { return Cell(std::string(nameOf(answers.document().form()))); }},
    {"modified", [](Answers& answers) { return answers.property("modified"); }},
    {"digest", [](Answers& answers) { return Cell(kit::contentDigest(answers.document())); }},
    {"pictures", &picturesOf}};

const Column& columnOf(const std::string& name) {
    const auto* found = std::find_if(std::begin(kColumns), std::end(kColumns),
                                     [&](const Column& column) { return name == column.name; });
    if (found == std::end(kColumns)) {
        throw std::invalid_argument("there is no column '" + name + "'");
    }
    return *found;
}

/// Notes the failure of `work`, unless there was one before.
template <class Work>
void noting(Row& row, const std::string& name, Work work) {
    try {
        work();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        Words words = judge(name);
        // Encrypted code is no failure of the file: its other columns are there, and its form says why the code is not.
        if (!row.failure && words.kind != "encrypted") {
            row.failure = std::move(words);
        }
    }
}

/// Does the same work on several threads; on as many as can be started. What one throws is thrown.
template <class Work>
void inThreads(unsigned count, const Work& work) {
    std::vector<std::future<void>> others;
    try {
        for (unsigned i = 1; i < count; ++i) {
            others.push_back(std::async(std::launch::async, [&work] {
                markAsOwnThread();
                work();
            }));
        }
        // The threads that were started share out the work; with none, this one does all of it.
    } catch (const std::system_error&) {
    }
    work();
    for (std::future<void>& other : others) {
        other.get();
    }
}

}  // namespace

Rows::Rows(const std::vector<std::string>& columns) : columns_(columns) {
    for (const std::string& name : columns_) {
        // A name that is no column is refused before any file is opened.
        columnOf(name);
    }
}

void Rows::addPath(const LocalPath& path, std::string name) {
    entries_.push_back({[path] { return Source::ofPath(path); }, std::move(name)});
}

void Rows::addBytes(const std::string& bytes, std::string name) {
    fl::Bytes content(bytes.begin(), bytes.end());
    entries_.push_back(
        {[content = std::move(content)]() mutable { return Source::ofBytes(std::move(content)); }, std::move(name)});
}

void Rows::addObject(py::object object, std::string name) {
    entries_.push_back({[source = Source::ofObject(std::move(object))] { return source; }, std::move(name)});
    hasObjects_ = true;
}

void Rows::addMissing(std::string name) {
    entries_.push_back({[]() -> Source { throw Refusal("not-found", "there is no such file"); }, std::move(name)});
}

Row Rows::rowOf(const std::vector<std::string>& columns, Entry& entry) {
    Row row{std::vector<Cell>(columns.size())};
    noting(row, entry.name, [&] {
        Answers answers(entry.open());
        for (std::size_t at = 0; at != columns.size(); ++at) {
            noting(row, entry.name, [&] { row.cells[at] = columnOf(columns[at]).ask(answers); });
        }
    });
    // The bytes of an entry are freed as soon as its row is there; there may be thousands.
    entry.open = nullptr;
    if (const auto gone = Call::current()->takeGone()) {
        row.failure = {"not-found", *gone};
    }
    return row;
}

std::vector<Row> Rows::rowsOf(const std::vector<std::string>& columns, std::vector<Entry>& entries, unsigned threads) {
    Call& call = *Call::current();
    std::vector<Row> rows(entries.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        const Call::Worker worker(&call);
        for (std::size_t at = next++; at < entries.size() && !call.isLeft() && !call.hasRaised(); at = next++) {
            rows[at] = rowOf(columns, entries[at]);
        }
    };
    inThreads(threads, work);
    return rows;
}

std::vector<Row> Rows::read(unsigned threads) {
    // Taken first, so that another thread reads none of them.
    const auto entries = std::make_shared<std::vector<Entry>>(std::exchange(entries_, {}));
    // File objects are read under the interpreter lock, by the thread that called.
    const unsigned count = hasObjects_ ? 1 : threads;
    return runCall("", true, [columns = columns_, entries, count] { return rowsOf(columns, *entries, count); });
}

}  // namespace flowbook::python
