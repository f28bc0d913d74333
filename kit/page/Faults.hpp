#pragma once

#include "kit/document/Document.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/page/Markup.hpp"
#include "opc/Exception.hpp"

#include <exception>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace flowbook::kit {

/// Writes what the reader of a page should know before all else.
/// @param what  some words, which are set off.
void writeNotice(Markup& out, std::string_view what, std::string_view why);

/// Why something of a flowbook cannot be shown.
struct PageFault {
    std::string words;
    bool isOfLimit = false;  ///< it is beyond a limit on what is read, and may be whole
};

/// What is damaged in the flowbook of a page; each fault is shown in its place, and the first ones kept.
class Faults {
public:
    using Words = std::function<std::string(std::string)>;

    /// @param inWords  puts a message of the library as the reader is to see it; may be empty.
    explicit Faults(Words inWords) : inWords_(std::move(inWords)) {}

    void show(Markup& out, const std::string& message, bool isOfLimit = false);

    /// Does `work`, which must leave no element open when it throws.
    template <class Work>
    void attempt(Markup& out, Work work) {
        try {
            work();
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const opc::Exception& failure) {
            show(out, failure.what(), failure.kind() == opc::ErrorKind::LimitExceeded);
        } catch (const std::exception& failure) {
            show(out, failure.what());
        }
    }

    const std::vector<PageFault>& all() const noexcept { return all_; }

private:
    Words inWords_;
    std::vector<PageFault> all_;
};

/// Reads a part that belongs to the document, such as its styles or its footnotes, as far as it can be read.
/// @param faults  gets the reason for what cannot be read; the rest of the page does without it.
XmlTree readPartTree(const Document& document, const opc::model::Part& part, std::vector<PageFault>& faults);

}  // namespace flowbook::kit
