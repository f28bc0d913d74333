// Applies one change to a package. Python keeps its changes as a list and applies it to the source anew for each save,
// so a change holds all that it needs, and applying it twice to one source gives the same result.
#include "kit/document/Change.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/document/AddPicture.hpp"
#include "kit/document/AroundCode.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/PropertyElements.hpp"
#include "kit/document/RichCodePart.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/Exception.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"

#include <algorithm>
#include <vector>

namespace flowbook::kit {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;
using opc::ErrorKind;
using opc::model::ContentType;
using opc::model::ExcludeMode;
using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::RelationshipSource;
using opc::model::TargetMode;
using opc::pxservices::CoreProperties;
using opc::pxservices::CorePropertiesManager;

namespace {

void fill(Part part, const void* bytes, std::size_t size) { part.getOutputStream()->write(bytes, size); }

/// Calls `work` with the package or the part that relationships start from.
template <class Work>
auto withSource(Package& package, const std::string& source, Work work) {
    if (source == "/") {
        return work(static_cast<RelationshipSource&>(package));
    }
    const PartName name = partNamed(source);
    if (!package.hasPart(name)) {
        throw opc::Exception(ErrorKind::Misuse, "there is no part '" + source + "'", source);
    }
    Part part = package.getPart(name);
    return work(static_cast<RelationshipSource&>(part));
}

/// The relationships of one source, with those to a part leading to another name, or gone without one. All are made
/// anew, as the first of several counts and their order is kept so.
void retarget(RelationshipSource& source, const PartName& name, const PartName* to) {
    const std::vector<Relationship> all = source.getRelationships(ExcludeMode::None);
    if (std::none_of(all.begin(), all.end(),
                     [&](const Relationship& each) { return foldedTarget(each) == name.folded(); })) {
        return;
    }
    for (const Relationship& each : all) {
        const bool isMeant = foldedTarget(each) == name.folded();
        if (to == nullptr) {
            if (isMeant) {
                source.deleteRelationship(each);
            }
            continue;
        }
        const std::u16string id(each.getID());  // which deleting takes away
        source.deleteRelationship(each);
        if (each.getTargetMode() == TargetMode::External) {
            source.createExternalRelationship(each.getType(), each.getTarget(), id);
        } else {
            source.createInternalRelationship(each.getType(),
                                              isMeant ? to->getURI() : opc::model::URI(each.getTarget()), id);
        }
    }
}

void retargetAll(Package& package, const PartName& name, const PartName* to) {
    retarget(package, name, to);
    for (Part& part : package.getParts()) {
        retarget(part, name, to);
    }
}

/// @throws opc::Exception when there is no code, or it is encrypted.
Part readableCodePart(Package& package) {
    const std::optional<Part> part = codePartOf(package);
    if (!part) {
        throw opc::Exception(ErrorKind::Damaged, "there is no code in it");
    }
    if (formOf(*part) == CodeForm::Encrypted) {
        throw opc::Exception(ErrorKind::Misuse, "the code is encrypted", part->getName().ascii());
    }
    return *part;
}

/// The form of the code, its content type and its empty document are the library's business, and decided in one place.
/// Has a writer make the code part of a flowbook in memory: its content and its content type.
template <class Set>
void setCodeByWriter(Package& package, Set set) {
    const std::u16string name = u"memory://flowbook.tqx";
    const auto memory = std::make_shared<MemoryStorage>();
    FlowbookFileWriter writer(name, StorageSystemReference(memory), {});
    set(writer);
    writer.close(false);
    const Document made(name, StorageSystemReference(memory));
    const fl::Bytes content = made.storedCode();
    fill(codePartOfType(package, made.codePart()->getContentType()), content.data(), content.size());
}

class Applying {
public:
    explicit Applying(Package& package) : package_(package) {}

    Made operator()(const SetPlainCode& change) const {
        if (!change.flatten && setInParagraphs(change.text)) {
            return {};
        }
        setCodeByWriter(package_, [&](FlowbookFileWriter& writer) { writer.setTARMICCode(change.text); });
        return {};
    }

    Made operator()(const EditParagraphs& change) const {
        const Part part = readableCodePart(package_);
        // Prose has no place in a plain document, which readers take for code alone.
        const bool becomesRich = std::any_of(change.edits.begin(), change.edits.end(), [](const ParagraphEdit& each) {
            return each.kind == ParagraphEdit::Kind::Insert && each.style != "code";
        });
        const fl::Bytes edited =
            opc::inPart(part.getName().ascii(), [&] { return withParagraphEdits(contentOf(part), change.edits); });
        fill(becomesRich ? richCodePart(package_) : part, edited.data(), edited.size());
        return {};
    }

    Made operator()(const SetEncryptedCode& change) const {
        setCodeByWriter(package_, [&](FlowbookFileWriter& writer) {
            opc::ByteArrayInAdaptor stream(change.content);
            writer.setEncryptedRichTARMICCode(stream);
        });
        return {};
    }

    Made operator()(const SetRichCode& change) const {
        opc::ByteArrayInAdaptor stream(change.document);
        // It throws for a document that readers would refuse later.
        FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream);
        fill(richCodePart(package_), change.document.data(), change.document.size());
        return {};
    }

    Made operator()(const SetProperty& change) const {
        return opc::inPart(corePropertiesPart(package_).value_or(""), [&] {
            if (!change.value) {
                removeProperty(package_, change.label);
                return Made();
            }
            set(change.label, *change.value);
            return Made();
        });
    }

    Made operator()(const AddPicture& change) const {
        const AddedPicture added = addPicture(package_, change.mediaType, change.content);
        return {added.part, added.relationship};
    }

    Made operator()(const PutPart& change) const {
        const PartName name = partNamed(change.name);
        const bool isThere = package_.hasPart(name);
        if (isThere == change.isNew) {
            throw opc::Exception(change.isNew ? ErrorKind::Conflict : ErrorKind::NotFound,
                                 (isThere ? "there is a part already of the name " : "there is no part ") +
                                     change.name);
        }
        std::u16string type = fl::i18n::to_ustring(change.contentType);
        if (type.empty()) {
            type = package_.getPart(name).getContentType().toString();
        }
        Part part = isThere ? withContentType(package_, package_.getPart(name), ContentType(type))
                            : package_.createPart(name, ContentType(type), standardInfo());
        if (change.isPicture) {
            const std::string plain = fl::i18n::to_string(ContentType(type).getMediaType());
            const std::string uri = writeDataUri({"data:" + plain + ";base64", change.content});
            fill(part, uri.data(), uri.size());
        } else {
            fill(part, change.content.data(), change.content.size());
        }
        return {change.name, {}};
    }

    Made operator()(const RemovePart& change) const {
        const PartName name = partNamed(change.name);
        package_.deletePart(name);
        retargetAll(package_, name, nullptr);
        return {};
    }

    Made operator()(const RenamePart& change) const {
        const PartName name = partNamed(change.name);
        const PartName to = partNamed(change.to);
        const Part old = package_.getPart(name);
        const fl::Bytes content = contentOf(old);
        const ContentType type = old.getContentType();
        const std::vector<Relationship> own = old.getRelationships(ExcludeMode::None);
        package_.deletePart(name);
        Part part = package_.createPart(to, type, standardInfo());
        fill(part, content.data(), content.size());
        takeOver(own, part);
        retargetAll(package_, name, &to);
        return {change.to, {}};
    }

    Made operator()(const AddRelationship& change) const {
        const std::u16string id = fl::i18n::to_ustring(change.id);
        const std::u16string type = fl::i18n::to_ustring(change.type);
        const std::u16string target = fl::i18n::to_ustring(change.target);
        const Relationship made = withSource(package_, change.source, [&](RelationshipSource& source) {
            return change.isInternal ? source.createInternalRelationship(type, opc::model::URI(target), id)
                                     : source.createExternalRelationship(type, target, id);
        });
        return {{}, fl::i18n::to_string(made.getID())};
    }

    Made operator()(const RemoveRelationship& change) const {
        withSource(package_, change.source, [&](RelationshipSource& source) {
            const std::u16string id = fl::i18n::to_ustring(change.id);
            const std::vector<Relationship> all = source.getRelationships(ExcludeMode::None);
            if (std::none_of(all.begin(), all.end(), [&](const Relationship& each) { return each.getID() == id; })) {
                throw opc::Exception(ErrorKind::Misuse, "there is no relationship '" + change.id + "'", change.source);
            }
            source.deleteRelationship(id);
            return true;
        });
        return {};
    }

    void store(const CoreProperties& properties) const {
        CorePropertiesManager(package_, CorePropertiesManager::DeterministicMode::Off).setCoreProperties(properties);
    }

private:
    /// Sets code that has prose or the like around it, paragraph by paragraph. @returns false when there is only code.
    /// @throws opc::Exception (misuse) when it is not clear which line belongs to which paragraph.
    bool setInParagraphs(const std::u16string& text) const {
        std::optional<Part> part = codePartOf(package_);
        if (!part || formOf(*part) != CodeForm::Rich) {
            return false;
        }
        const fl::Bytes stored = contentOf(*part);
        const RichText before = readRichText(stored, part->getName().ascii());
        const std::string what = aroundCode(before);
        if (what.empty()) {
            return false;
        }
        const auto divided = before.fault.empty()
                                 ? divideCode(codeParagraphs(stored), fl::i18n::to_string(text), FinalLineFeed::Counts)
                                 : std::nullopt;
        if (!divided) {
            throw opc::Exception(ErrorKind::Misuse, "plain code would drop " + what, part->getName().ascii());
        }
        const fl::Bytes document = withCodeParagraphs(stored, *divided);
        fill(*part, document.data(), document.size());
        return true;
    }

    static opc::model::StandardPartInfo standardInfo() { return {opc::interfaces::CompressionType::Normal, 0}; }

    void set(const std::string& label, const std::string& value) const {
        constexpr struct {
            const char* label;
            void (CoreProperties::*set)(const std::u16string&);
        } kSetters[] = {{"title", &CoreProperties::setTitle},
                        {"description", &CoreProperties::setDescription},
                        {"version", &CoreProperties::setVersion},
                        {"category", &CoreProperties::setCategory}};
        const CorePropertiesManager manager(package_, CorePropertiesManager::DeterministicMode::Off);
        CoreProperties properties = manager.getCoreProperties();
        for (const auto& each : kSetters) {
            if (label == each.label) {
                (properties.*each.set)(fl::i18n::to_ustring(value));
                store(properties);
                return;
            }
        }
        if (!setPropertyText(package_, label, value)) {
            throw opc::Exception(ErrorKind::Misuse, "the property '" + label + "' cannot be set");
        }
    }

    Package& package_;
};

}  // namespace

Made apply(const Change& change, Package& package) { return std::visit(Applying(package), change); }

void stamp(Package& package) {
    const CorePropertiesManager manager(package, CorePropertiesManager::DeterministicMode::Off);
    CoreProperties properties = manager.getCoreProperties();
    properties.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    properties.setLastModifiedTime(CoreProperties::getCurrentTime());
    Applying(package).store(properties);
}

}  // namespace flowbook::kit
