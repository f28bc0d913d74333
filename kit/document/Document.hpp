#pragma once

#include "fl/Bytes.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"
#include "kit/document/RichText.hpp"
#include "opc/Exception.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/Package.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

enum class CodeForm { Plain, Rich, Encrypted, None };

/// "plain", "rich", "encrypted" or "none".
const char* nameOf(CodeForm form);

/// A property of a flowbook: its value, or neither value nor fault when it is absent.
struct Property {
    std::string label;                 ///< "title", "description", "version", "release", "created" or "modified"
    std::optional<std::string> value;  ///< UTF-8; times as ISO 8601 in UTC
    std::string fault;                 ///< why it cannot be read
    bool isTime = false;
    bool isOfLimit = false;  ///< whether the fault is a limit on what is read: the property may be whole
    std::string part{};      ///< that the fault is about; empty for none
};

/// Returns the fault of a property as the failure to throw for it. @param property  one with a fault.
opc::Exception failureOf(const Property& property);

/// The part that an internal relationship leads to; nothing when it leads to none.
std::optional<opc::model::Part> partAt(const opc::model::Package& package,
                                       const opc::model::Relationship& relationship);

/// The part that holds the code: the target of the first document relationship; none when there is no such
/// relationship. @throws opc::Exception when it leads to no part.
std::optional<opc::model::Part> codePartOf(const opc::model::Package& package);

/// A flowbook opened for looking. Any name will do: what the file holds decides whether it is one. What is damaged
/// fails the question about it and no other. Used by one thread at a time.
class Document {
public:
    /// @throws opc::Exception when there is no such file, or it is no package.
    /// @param mode  with Update, the package can be changed in memory, which all questions then see; nothing is
    /// written.
    Document(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage,
             opc::interfaces::OpenMode mode = opc::interfaces::OpenMode::ReadOnly);

    /// A flowbook that is in memory.
    /// @param name  for messages.
    explicit Document(fl::Bytes bytes, const std::u16string& name = u"flowbook");

    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;
    Document(Document&&) noexcept;
    Document& operator=(Document&&) noexcept;
    ~Document();

    const opc::model::Package& package() const;
    opc::model::Package& package();

    /// What the package lies in, entries that are no parts included.
    const opc::interfaces::IPhysicalPackage& container() const;

    /// Opens a message about a part: the names of file and part.
    std::string where(const opc::model::Part& part) const;

    /// All properties, in the order of Property::label. Throws std::bad_alloc only.
    std::vector<Property> properties() const;

    /// @throws opc::Exception as codePartOf().
    std::optional<opc::model::Part> codePart() const { return codePartOf(package()); }

    /// The relationships of that part, in their order; none when there is no such part.
    /// @throws opc::Exception as codePart().
    std::vector<opc::model::Relationship> codeRelationships() const;

    /// The part that an internal relationship leads to; nothing when it leads to none.
    std::optional<opc::model::Part> partAt(const opc::model::Relationship& relationship) const {
        return kit::partAt(package(), relationship);
    }

    /// @throws opc::Exception as codePart().
    CodeForm form() const;

    /// The code, or the encrypted code, as it is stored; nothing when there is none.
    /// @throws opc::Exception when it is damaged.
    fl::Bytes storedCode() const;

    /// The same in UTF-8, where it is text in another encoding, which is read as it declares.
    /// @throws opc::Exception likewise.
    fl::Bytes codeInUtf8() const;

    /// The plain code, as FlowbookFileReader::getTARMICCode() returns it; empty when there is none. Code in another
    /// encoding than UTF-8, which that call refuses, is read as it declares.
    /// @throws opc::Exception when it is damaged; kind Misuse when it is encrypted.
    std::u16string code() const;

    /// Prose and code, with places in codeInUtf8(); nothing when there is no code or it is encrypted.
    /// @throws opc::Exception as storedCode().
    RichText richText() const;

private:
    class State;
    std::unique_ptr<State> state_;
};

/// The form of the code in a part, by the part's content type.
CodeForm formOf(const opc::model::Part& codePart);

/// The parts in the order of their folded names.
std::vector<opc::model::Part> partsInOrder(const Document& document);

/// @throws opc::Exception that names the part.
fl::Bytes contentOf(const opc::model::Part& part);

/// The name of a part as text of the platform. @throws opc::Exception when it is none.
opc::model::PartName partNamed(const std::string& name);

/// The folded name of the part that a relationship leads to, whether there is one of that name or not; nothing for a
/// relationship to a place outside of the package, or to what is no part name.
std::optional<std::string> foldedTarget(const opc::model::Relationship& relationship);

/// Whether the media type of a part is one of images.
bool isPicture(const opc::model::Part& part);

/// The relationship type that leads from a package to its code.
const std::u16string& documentRelationshipType();

}  // namespace flowbook::kit
