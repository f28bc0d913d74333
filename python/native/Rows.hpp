#pragma once

#include "Failure.hpp"
#include "Source.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace flowbook::python {

/// One value of a table; texts of the first kind are UTF-8.
using Cell = std::variant<std::monostate, std::int64_t, std::string, std::u16string>;

struct Row {
    std::vector<Cell> cells;         ///< in the order of the columns; nothing for what is absent or cannot be read
    std::optional<Words> failure{};  ///< the first, but that code is encrypted
};

/// Reads the same columns of many flowbooks at once: the interpreter lock is released for all of them together, and
/// nothing but the cells is handed to Python. All calls require the lock.
class Rows {
public:
    /// @throws std::invalid_argument for a name that is no column's.
    explicit Rows(const std::vector<std::string>& columns);

    /// @param name  the user's name of the flowbook, UTF-8, for messages.
    void addPath(const LocalPath& path, std::string name);
    void addBytes(const std::string& bytes, std::string name);
    /// @throws what the object raises when it is asked for its size.
    void addObject(pybind11::object object, std::string name);

    /// One that was found to be gone.
    void addMissing(std::string name);

    /// The rows of what was added since the last call, read by that many threads; file objects are read by one.
    /// @throws what a file object raises, but for a file that is gone.
    std::vector<Row> read(unsigned threads);

    const std::vector<std::string>& columns() const { return columns_; }

private:
    struct Entry {
        std::function<Source()> open;
        std::string name;
    };

    static Row rowOf(const std::vector<std::string>& columns, Entry& entry);
    static std::vector<Row> rowsOf(const std::vector<std::string>& columns, std::vector<Entry>& entries,
                                   unsigned threads);

    std::vector<std::string> columns_;
    std::vector<Entry> entries_;
    bool hasObjects_ = false;
};

}  // namespace flowbook::python
