#pragma once

#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace support {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

Bytes bytes(std::string_view text);
std::string text(const Bytes& content);
std::string text(const std::u16string& utf16);

/// A package that another program wrote, by its name without extension.
Bytes fixture(const std::string& name);

/// The part of a relationship type after the maker's base; other types whole.
std::string shortType(const std::u16string& type);
std::u16string longType(const std::u16string& shortName);

/// One flowbook in memory. Its name is an address, as a plain path would be looked for on disk when it is updated.
class Book {
public:
    static inline const std::u16string kName = u"mem://book.tqx";

    Book() = default;
    explicit Book(const Bytes& content) { set(content); }
    explicit Book(const std::string& fixtureName) : Book(fixture(fixtureName)) {}

    bool exists() const { return storage_->exists(kName); }
    Bytes get() const { return storage_->get(kName); }
    void set(const Bytes& content) const { storage_->put(kName, content); }

    flowbook::FlowbookFileReader reader() const { return {kName, reference_}; }
    flowbook::FlowbookFileWriter writer(std::pair<std::u16string, std::u16string> contentTypeInfo = {}) const {
        return {kName, reference_, std::move(contentTypeInfo)};
    }
    /// Commits what a writer is made to do.
    void update(const std::function<void(flowbook::FlowbookFileWriter&)>& work) const;
    const foundation::storage::vfs::StorageSystemReference& storage() const { return reference_; }

    /// The parts ("name type content"), each followed by its relationships ("source id type target", an external target
    /// in angle brackets), then the relationships of the package; without the core properties.
    Lines inventory() const;

private:
    std::shared_ptr<foundation::storage::vfs::MemoryStorage> storage_ =
        std::make_shared<foundation::storage::vfs::MemoryStorage>();
    foundation::storage::vfs::StorageSystemReference reference_{storage_};
};

/// A snapshot in the notation of Book::inventory.
Lines listing(const flowbook::FlowbookFilePackage& snapshot);

/// "Class: message" of a failure, with the name of the property that was not found, and with "opc::" before what the
/// package library threw. A failure of this library must be of the framework too, and tell the name of the file.
std::string describe(const std::exception& failure, const std::u16string& fileName);

/// What a call gives as text: its result, or the description of its failure.
template <class Call>
std::string outcome(Call call, const std::u16string& fileName = Book::kName) {
    try {
        return call();
    } catch (const std::exception& failure) {
        return describe(failure, fileName);
    }
}

/// Whether a text is the wanted one, in which a trailing "*" stands for anything more.
bool matches(const std::string& wanted, const std::string& found);
bool allMatch(const Lines& wanted, const Lines& found);

}  // namespace support
