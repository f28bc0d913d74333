#pragma once

#include "kit/document/Document.hpp"

#include <functional>
#include <memory>
#include <vector>

namespace flowbook::kit {

/// Reads the content of a part. @throws opc::Exception when it cannot be read.
using ReadContent = std::function<fl::Bytes(const opc::model::Part&)>;

/// Reads parts of a flowbook on further threads while earlier ones are being worked on, as inflating is most of what
/// reading a large flowbook takes. A package is used by one thread at a time, so each thread opens the flowbook for
/// itself. What is read ahead and not yet taken is bounded.
///
/// The results, and the failures, are those of reading each part when it is asked for; the order of asking should be
/// that of `parts`. Used by one thread.
class ReadAhead {
public:
    /// Starts no thread where that would not be worth it: for one thread, one part, or few bytes; nor where the system
    /// starts none.
    /// @param document  the flowbook; must live as long as this object.
    /// @param open      opens the same flowbook again; called by other threads, several at once.
    /// @param parts     the parts that will be asked for, in that order.
    /// @param threads   how many threads may be at work, the caller's included.
    ReadAhead(const Document& document, std::function<Document()> open, const std::vector<opc::model::Part>& parts,
              unsigned threads);
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// Waits for the reads that have begun.
    ~ReadAhead();

    /// @throws as contentOf().
    fl::Bytes operator()(const opc::model::Part& part);

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace flowbook::kit
