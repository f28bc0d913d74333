#pragma once

#include "Failure.hpp"
#include "Source.hpp"
#include "Turns.hpp"
#include "kit/check/Check.hpp"
#include "kit/document/Change.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/PropertyElements.hpp"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace flowbook::python {

struct PartInfo {
    std::string name;
    std::string contentType;
    std::uint64_t size;
    bool isPicture;
};

struct PropertyInfo {
    std::string label;
    std::optional<std::string> value;
    std::string fault;
    bool isOfLimit;    ///< whether the fault is a limit
    std::string part;  ///< that a fault is in
};

struct RelationshipInfo {
    std::string source;  ///< a part name; "/" for the package
    std::string id;
    std::string type;
    std::string target;
    bool isInternal;
};

/// @throws Refusal when there is no code, or it is encrypted.
void needReadable(const kit::Document& document);

/// A flowbook with the changes that were made since it was opened. All calls require the interpreter lock, release it
/// during work, and throw Python's exceptions. One thread at a time works on a flowbook, others wait. A call that is
/// interrupted, or fails, leaves flowbook and changes as they were before it or as they would be after it.
class Book {
public:
    /// @param file  the user's name of it, for messages.
    static std::shared_ptr<Book> ofPath(const LocalPath& path, const std::string& file);
    static std::shared_ptr<Book> ofBytes(const std::string& bytes, const std::string& file);
    static std::shared_ptr<Book> ofObject(pybind11::object object, const std::string& file);

    /// What it is read from; null when that is no object of Python. Needs no turn.
    PyObject* fileObject() const;

    /// The version of the file of the machine that the changes are made to; nothing when it is from elsewhere.
    std::optional<LocalVersion::Identity> fileVersion();

    std::string form();
    std::u16string code();
    std::string richCode();
    /// The stored bytes of encrypted code; none when it is not encrypted.
    std::optional<fl::Bytes> encryptedCode();
    kit::RichText richText();
    std::vector<PropertyInfo> properties();
    std::vector<kit::PropertyElement> carriedProperties();
    std::vector<PartInfo> parts();
    PartInfo part(const std::string& name);
    std::vector<RelationshipInfo> relationships();
    fl::Bytes content(const std::string& name);
    fl::Bytes picture(const std::string& name);
    std::string digest(bool codeOnly, bool dated);
    std::string text();
    std::string html();
    std::vector<kit::Finding> check();
    fl::Bytes canonical();

    /// Makes a change, which is seen at once.
    kit::Made change(kit::Change change);

    /// Makes edits, but those that it was given last under the same number: the call may have been interrupted when
    /// they were made.
    void editParagraphs(kit::EditParagraphs edits, std::uint64_t number);

    /// @throws Refusal when the calling thread works on the flowbook: it runs a file object that is read, or the
    ///         handler of a signal.
    void refuseOwnCalls();

    /// Waits until no other thread works on the flowbook. @throws Refusal when that waits for the calling thread.
    void awaitTurn();

    bool isChanged() const;
    /// Another number after each change and each save, so that what was read can be kept until then.
    std::uint64_t revision() const;

    /// The flowbook with its changes, as it would be saved.
    fl::Bytes bytes();

    /// Saves the changes into the file that the flowbook came from, and goes on from that.
    void saveBack();

    /// Saves into another file, which is created or replaced.
    /// @param moveThere  the user's name of the file if the flowbook comes from there from now on.
    void saveAt(const LocalPath& path, const std::optional<std::string>& moveThere);

    /// Takes the content from bytes, as changes that are not saved yet.
    void hold(const std::string& bytes);

    /// As `hold()` of its own bytes, so that what it was read from can be overwritten.
    struct Detached {
        fl::Bytes bytes;
        std::uint64_t revision;
    };
    Detached detach();

    /// Goes on from the bytes, or the file object, that what `detach()` gave was saved to. Changes that were made since
    /// then stay changes; when the flowbook was saved elsewhere since then, it stays as it is.
    void moveTo(const std::string& bytes, std::uint64_t revision);
    void moveToObject(pybind11::object object, std::uint64_t revision);

    /// Removes outputs, and pictures that nothing refers to. @returns whether there were any.
    bool strip();

    /// Lets go of the file. Later calls fail; closing again does nothing.
    void close();

private:
    struct State;

    explicit Book(std::shared_ptr<State> state) : state_(std::move(state)) {}
    template <class MakeSource>
    static std::shared_ptr<Book> open(const std::string& file, MakeSource makeSource);
    void mendAfterFork();
    template <class Work>
    auto run(bool apart, Work work);
    template <class Ask>
    auto ask(Ask ask);

    std::shared_ptr<State> state_;
};

}  // namespace flowbook::python
