// The flowbook that Python holds. It is a source that never changes, the list of changes made to it, and the package
// with those changes in memory. Each save applies the list to the source anew: so a save that failed, or was left at
// Ctrl-C, can be tried again, and what Python shows is what a save writes.
#include "Book.hpp"

#include "Functions.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/Strip.hpp"
#include "kit/page/Page.hpp"

#include <algorithm>

namespace flowbook::python {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::StorageSystemReference;
using opc::interfaces::OpenMode;
using opc::model::Part;

namespace {

// Work on less than this takes no time that a person who presses Ctrl-C would notice, even where the content inflates
// to much more.
constexpr std::uint64_t kMuch = std::uint64_t{64} * 1024;

using Changes = std::vector<std::shared_ptr<const kit::Change>>;

void append(std::vector<RelationshipInfo>& found, const std::string& source,
            const opc::model::RelationshipSource& from) {
    for (const auto& each : from.getRelationships(opc::model::ExcludeMode::None)) {
        found.push_back({source, fl::i18n::to_string(each.getID()), fl::i18n::to_string(each.getType()),
                         fl::i18n::to_string(each.getTarget()),
                         each.getTargetMode() == opc::model::TargetMode::Internal});
    }
}

PartInfo infoOf(const Part& part) {
    return {part.getName().ascii(), fl::i18n::to_string(part.getContentType().toString()), part.getSize(),
            kit::isPicture(part)};
}

/// A sink that replaces a file of the machine.
HeldStorage::Sink sinkAt(const std::u16string& path, std::shared_ptr<const ReadableFile> replaced) {
    // Each attempt to save begins a replacement of its own, so the sink makes one whenever it is called.
    return [path, replaced = std::move(replaced), local = std::make_shared<LocalStorage>()] {
        return local->beginReplacement(path, replaced.get());
    };
}

/// The flowbook with the changes made. What notes the save in the properties comes first, so that ids and names that
/// are given away are the same whenever the changes are made.
kit::Document changed(const StorageSystemReference& storage, const Changes& changes) {
    kit::Document document(kName, storage, OpenMode::Update);
    kit::stamp(document.package());
    for (const auto& change : changes) {
        kit::apply(*change, document.package());
    }
    return document;
}

/// Writes the source with the changes made; all else keeps its bytes.
void save(const Source& source, const Changes& changes, const HeldStorage::Sink& sink) {
    const auto storage = std::make_shared<HeldStorage>(source.file, sink);
    if (changes.empty()) {
        const auto replacement = storage->beginReplacement(kName, nullptr);
        // Without changes the file is copied byte by byte: the result is the same file, with all that this library does
        // not know.
        replacement->append(*storage->openForReading(kName), 0, source.file->size());
        replacement->commit();
        return;
    }
    changed(StorageSystemReference(storage), changes).package().close();
}

/// How much work a change is, in bytes: only what is much is worth a thread of its own.
std::uint64_t weightOf(const kit::Change& change) {
    struct Weigh {
        std::uint64_t operator()(const kit::SetPlainCode& each) const { return each.text.size(); }
        // An edit counts as much as a kilobyte of code, so 64 of them are worth a thread.
        std::uint64_t operator()(const kit::EditParagraphs& each) const { return each.edits.size() * kMuch / 64; }
        std::uint64_t operator()(const kit::SetRichCode& each) const { return each.document.size(); }
        std::uint64_t operator()(const kit::SetEncryptedCode& each) const { return each.content.size(); }
        std::uint64_t operator()(const kit::SetProperty& each) const { return each.value ? each.value->size() : 0; }
        std::uint64_t operator()(const kit::AddPicture& each) const { return each.content.size(); }
        std::uint64_t operator()(const kit::PutPart& each) const { return each.content.size(); }
        std::uint64_t operator()(const kit::RemovePart&) const { return 0; }
        std::uint64_t operator()(const kit::RenamePart&) const { return 0; }
        std::uint64_t operator()(const kit::AddRelationship&) const { return 0; }
        std::uint64_t operator()(const kit::RemoveRelationship&) const { return 0; }
    };
    return std::visit(Weigh(), change);
}

/// Why the code cannot be read as it is stored; nothing when it can, or is encrypted.
std::optional<std::string> whyCodeIsLost(const kit::Document& document, const std::string& file) {
    try {
        if (document.form() != kit::CodeForm::Encrypted) {
            document.storedCode();
        }
        return std::nullopt;
    } catch (const opc::Exception& failure) {
        const bool isDamaged = failure.kind() == opc::ErrorKind::Damaged;
        return isDamaged ? std::make_optional(withName(failure.what(), file)) : std::nullopt;
    }
}

}  // namespace

void needReadable(const kit::Document& document) {
    const auto part = document.codePart();
    if (!part) {
        throw Refusal("damaged", "there is no code in it");
    }
    if (kit::formOf(*part) == kit::CodeForm::Encrypted) {
        throw Refusal("encrypted", "the code is encrypted", part->getName().ascii());
    }
}

/// What a flowbook is between calls. It is shared with the work of a call that was left.
struct Book::State {
    State(Source from, std::string name) : file(std::move(name)) { take(std::move(from)); }

    void take(Source from) {
        // First, as the one before may be gone as soon as the source is.
        fileObject = from.object ? from.object->object() : nullptr;
        source = std::move(from);
        weight = source.file ? source.file->size() : 0;
    }

    /// The flowbook with its changes.
    kit::Document& document() {
        if (!open) {
            open = std::make_unique<kit::Document>(changes.empty()
                                                       ? kit::Document(kName, source.storage(), OpenMode::ReadOnly)
                                                       : changed(source.storage(), changes));
        }
        return *open;
    }

    /// For what reads storages. Changed flowbooks are written in memory for it.
    StorageSystemReference storage() const {
        return changes.empty() ? source.storage() : Source::ofBytes(bytes()).storage();
    }

    fl::Bytes bytes() const {
        if (changes.empty()) {
            return source.bytes();
        }
        const auto memory = std::make_shared<MemoryStorage>();
        save(source, changes, [memory] { return memory->beginReplacement(kName, nullptr); });
        return memory->get(kName);
    }

    kit::Made make(kit::Change change) {
        const auto made = std::make_shared<const kit::Change>(std::move(change));
        // Memory is taken first: once the change is made to the package, noting it must not fail.
        changes.reserve(changes.size() + 1);
        try {
            if (changes.empty()) {
                open = std::make_unique<kit::Document>(changed(source.storage(), changes));
            }
            kit::Made result = kit::apply(*made, document().package());
            changes.push_back(made);
            isChanged = true;
            ++revision;
            weight += weightOf(*made);
            return result;
        } catch (...) {
            // A change may have failed half way; the package is made again from the source and the list.
            open.reset();
            throw;
        }
    }

    /// @param unsaved  what is not in there.
    void moveTo(Source to, Changes unsaved = {}) {
        open.reset();
        changes = std::move(unsaved);
        take(std::move(to));
        isChanged = !changes.empty();
        ++revision;
    }

    /// Takes the content from bytes, and still belongs to the file of the machine that it came from.
    void hold(fl::Bytes bytes) {
        const auto local = source.local;
        moveTo(Source::ofBytes(std::move(bytes)));
        source.local = local;
        isChanged = true;
    }

    /// After a save to an object of Python, during which other threads may have made changes: these are kept.
    /// Does nothing if it cannot be known which of the changes the save holds.
    void moveToSaved(const Source& saved, std::uint64_t savedRevision) {
        // Each change counts one revision. If as many revisions as changes have passed, the list begins at the saved
        // state.
        const bool isKnown = revision - savedRevision == changes.size();
        if (isKnown) {
            moveTo(saved, std::move(changes));
        }
    }

    Part part(const std::string& name) {
        return opc::inPart(name, [&] {
            const auto wanted = kit::partNamed(name);
            if (!document().package().hasPart(wanted)) {
                throw Refusal("misuse", "there is no such part in the flowbook any more", name);
            }
            return document().package().getPart(wanted);
        });
    }

    Turns turns;
    Source source;
    // For the collector of cycles, which runs in other threads meanwhile. An object that was let go of without the
    // interpreter lock lives on until a thread with the lock gives it back, so this is never one that is gone.
    std::atomic<PyObject*> fileObject{nullptr};
    std::string file;
    Changes changes;
    std::unique_ptr<kit::Document> open;  ///< null until it is asked for
    std::atomic<std::uint64_t> weight{0};
    std::atomic<bool> isChanged{false};
    std::atomic<std::uint64_t> revision{0};
    std::optional<std::uint64_t> lastEdits;
    bool isClosed = false;
};

void Book::mendAfterFork() {
    if (state_->turns.mendAfterFork()) {
        // The thread that was at work on it is not in this process, so it is in no state to be used or destroyed.
        (void)state_->open.release();
    }
}

template <class Work>
auto Book::run(bool apart, Work work) {
    mendAfterFork();
    const bool isLong = apart || state_->weight > kMuch || state_->turns.isTaken();
    return runCall(state_->file, isLong, [state = state_, work = std::move(work)] {
        const Turns::Turn turn(state->turns);
        if (state->isClosed) {
            throw Refusal("misuse", "the flowbook is closed");
        }
        return work(*state);
    });
}

template <class Ask>
auto Book::ask(Ask ask) {
    return run(false, [ask = std::move(ask)](State& state) { return ask(state.document()); });
}

template <class MakeSource>
std::shared_ptr<Book> Book::open(const std::string& file, MakeSource makeSource) {
    return runCall(file, false, [file, makeSource = std::move(makeSource)] {
        const auto state = std::make_shared<State>(makeSource(), file);
        state->document();
        return std::shared_ptr<Book>(new Book(state));
    });
}

std::shared_ptr<Book> Book::ofPath(const LocalPath& path, const std::string& file) {
    return open(file, [path] { return Source::ofPath(path); });
}

std::shared_ptr<Book> Book::ofBytes(const std::string& bytes, const std::string& file) {
    return open(file, [content = fl::Bytes(bytes.begin(), bytes.end())] { return Source::ofBytes(content); });
}

std::shared_ptr<Book> Book::ofObject(pybind11::object object, const std::string& file) {
    return open(file, [source = Source::ofObject(std::move(object))] { return source; });
}

PyObject* Book::fileObject() const { return state_->fileObject; }

std::optional<LocalVersion::Identity> Book::fileVersion() {
    return run(false, [](State& state) {
        return state.source.local ? std::make_optional(state.source.local->identity()) : std::nullopt;
    });
}

bool Book::isChanged() const { return state_->isChanged; }

std::uint64_t Book::revision() const { return state_->revision; }

std::string Book::form() {
    return ask([](const kit::Document& document) { return std::string(nameOf(document.form())); });
}

std::u16string Book::code() {
    return ask([](const kit::Document& document) {
        needReadable(document);
        return document.code();
    });
}

std::string Book::richCode() {
    return ask([](const kit::Document& document) {
        needReadable(document);
        const fl::Bytes stored = document.codeInUtf8();
        std::string text(stored.begin(), stored.end());
        // Only the check counts: bytes that are no UTF-8 are damage. Python makes its own text of the bytes.
        try {
            fl::i18n::utf8_to_ustring(text);
        } catch (const fl::i18n::ConversionError& failure) {
            throw Refusal("damaged", failure.what(), document.codePart()->getName().ascii());
        }
        return text;
    });
}

std::optional<fl::Bytes> Book::encryptedCode() {
    return ask([](const kit::Document& document) {
        const bool isEncrypted = document.form() == kit::CodeForm::Encrypted;
        return isEncrypted ? std::make_optional(document.storedCode()) : std::nullopt;
    });
}

kit::RichText Book::richText() {
    return ask([](const kit::Document& document) { return document.richText(); });
}

std::vector<PropertyInfo> Book::properties() {
    return ask([file = state_->file](const kit::Document& document) {
        std::vector<PropertyInfo> properties;
        for (const kit::Property& each : document.properties()) {
            properties.push_back({each.label, each.value, withName(each.fault, file), each.isOfLimit, each.part});
        }
        return properties;
    });
}

std::vector<kit::PropertyElement> Book::carriedProperties() {
    return ask([](const kit::Document& document) { return kit::carriedProperties(document.package()); });
}

std::vector<PartInfo> Book::parts() {
    return ask([](const kit::Document& document) {
        std::vector<PartInfo> parts;
        for (const Part& part : document.package().getParts()) {
            parts.push_back(infoOf(part));
        }
        return parts;
    });
}

PartInfo Book::part(const std::string& name) {
    return run(false, [name](State& state) { return infoOf(state.part(name)); });
}

std::vector<RelationshipInfo> Book::relationships() {
    return ask([](const kit::Document& document) {
        std::vector<RelationshipInfo> found;
        append(found, "/", document.package());
        for (const Part& part : document.package().getParts()) {
            append(found, part.getName().ascii(), part);
        }
        return found;
    });
}

fl::Bytes Book::content(const std::string& name) {
    return run(false, [name](State& state) { return kit::contentOf(state.part(name)); });
}

fl::Bytes Book::picture(const std::string& name) {
    return run(false, [name](State& state) {
        return opc::inPart(name, [&] { return kit::pictureOf(kit::contentOf(state.part(name)), name); });
    });
}

std::string Book::digest(bool codeOnly, bool dated) {
    return ask([codeOnly, dated](const kit::Document& document) {
        return codeOnly ? kit::codeDigest(document)
                        : kit::contentDigest(document, dated ? kit::Dates::Count : kit::Dates::Ignore);
    });
}

std::string Book::text() {
    return run(false, [](State& state) { return textOf(state.storage()); });
}

std::string Book::html() {
    return run(false, [file = state_->file](State& state) {
        kit::Page page = kit::makePage(state.document(), pageOptions(file));
        const std::optional<std::string> loss =
            page.faults.empty() ? std::nullopt : whyCodeIsLost(state.document(), file);
        return loss ? salvagedPage(state.bytes(), file, *loss).value_or(std::move(page.html)) : page.html;
    });
}

std::vector<kit::Finding> Book::check() {
    return run(false, [file = state_->file](State& state) {
        std::vector<kit::Finding> findings = kit::check(kName, state.storage());
        for (kit::Finding& each : findings) {
            each.words = withName(std::move(each.words), file);
        }
        return findings;
    });
}

fl::Bytes Book::canonical() {
    return run(false, [](State& state) {
        const kit::Document before(kName, state.source.storage(), OpenMode::ReadOnly);
        // Entries of parts that were removed stand in the container until a save, as if they were none of parts.
        const bool hasOld = kit::otherEntries(before) != kit::otherEntries(state.document());
        if (hasOld) {
            return kit::canonical(kit::Document(kName, state.storage(), OpenMode::ReadOnly));
        }
        return kit::canonical(state.document());
    });
}

kit::Made Book::change(kit::Change change) {
    const bool apart = weightOf(change) > kMuch;
    const auto shared = std::make_shared<kit::Change>(std::move(change));
    return run(apart, [shared](State& state) { return state.make(std::move(*shared)); });
}

void Book::editParagraphs(kit::EditParagraphs edits, std::uint64_t number) {
    const bool apart = weightOf(edits) > kMuch;
    const auto shared = std::make_shared<kit::Change>(std::move(edits));
    run(apart, [shared, number](State& state) {
        // A batch whose call was interrupted may have been made all the same. Python then gives it again, under its
        // number.
        if (state.lastEdits != number) {
            state.make(std::move(*shared));
            state.lastEdits = number;
        }
        return true;
    });
}

void Book::refuseOwnCalls() {
    mendAfterFork();
    try {
        state_->turns.refuseOwnCalls();
    } catch (...) {
        raise(std::current_exception(), state_->file);
    }
}

void Book::awaitTurn() {
    mendAfterFork();
    runCall(state_->file, state_->turns.isTaken(), [state = state_] {
        const Turns::Turn turn(state->turns);
        return true;
    });
}

fl::Bytes Book::bytes() {
    return run(false, [](State& state) { return state.bytes(); });
}

void Book::saveBack() {
    run(false, [](State& state) {
        if (state.isChanged) {
            const LocalVersion& version = *state.source.local;
            const LocalPath path{version.path(), version.native()};
            save(state.source, state.changes, sinkAt(path.utf16, version.forReplacing()));
            state.moveTo(Source::ofPath(path));
        }
        return true;
    });
}

void Book::saveAt(const LocalPath& path, const std::optional<std::string>& moveThere) {
    run(false, [path, moves = moveThere.has_value()](State& state) {
        const LocalStorage local;
        std::shared_ptr<const ReadableFile> present;
        if (local.exists(path.utf16)) {
            // The file that is there is the one that is replaced; if another comes into its place, that is a conflict.
            present = local.openForReading(path.utf16);
        }
        save(state.source, state.changes, sinkAt(path.utf16, present));
        if (moves) {
            state.moveTo(Source::ofPath(path));
        }
        return true;
    });
    // Under the interpreter lock again, as messages of other threads use the name.
    state_->file = moveThere.value_or(state_->file);
}

void Book::hold(const std::string& bytes) {
    run(false, [content = fl::Bytes(bytes.begin(), bytes.end())](State& state) {
        state.hold(content);
        return true;
    });
}

Book::Detached Book::detach() {
    return run(false, [](State& state) {
        fl::Bytes content = state.bytes();
        state.hold(content);
        return Detached{std::move(content), state.revision};
    });
}

void Book::moveTo(const std::string& bytes, std::uint64_t revision) {
    run(false, [content = fl::Bytes(bytes.begin(), bytes.end()), revision](State& state) {
        state.moveToSaved(Source::ofBytes(content), revision);
        return true;
    });
}

void Book::moveToObject(pybind11::object object, std::uint64_t revision) {
    run(false, [source = Source::ofObject(std::move(object)), revision](State& state) {
        state.moveToSaved(source, revision);
        return true;
    });
}

bool Book::strip() {
    return run(true, [](State& state) {
        // Unsaved changes are in these bytes. Nothing else is held as a list of changes after it.
        auto stripped = kit::stripped(state.bytes(), kName);
        if (stripped) {
            state.hold(std::move(*stripped));
        }
        return stripped.has_value();
    });
}

void Book::close() {
    mendAfterFork();
    runCall(state_->file, state_->turns.isTaken(), [state = state_] {
        const Turns::Turn turn(state->turns);
        state->isClosed = true;
        state->open.reset();
        state->changes.clear();
        state->take(Source());
        return true;
    });
}

}  // namespace flowbook::python
