// Finds the part of properties and makes it where there is none. Files in use have relationships that lead nowhere,
// parts of other programs under the usual name, and two kinds of relationship types; each of these is met without
// losing a part of the file.
#include "opc/pxservices/PropertyPlace.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PackageStore.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/relationships/RelationshipRecord.hpp"

#include <algorithm>

namespace opc::pxservices::detail {
namespace {

using model::Package;
using model::Part;
using model::PartName;
using model::Relationship;
using model::detail::internalTarget;

std::vector<Relationship> relationshipsOf(const Package& package, const PropertyPlace& place) {
    std::vector<Relationship> all;
    for (const std::u16string& type : place.relationshipTypes) {
        const auto ofType = package.getRelationshipsByType(type);
        all.insert(all.end(), ofType.begin(), ofType.end());
    }
    return all;
}

void putContent(Package& package, const PartName& name, const fl::Bytes& content) {
    package.getPart(name).getOutputStream()->write(content.data(), content.size());
}

/// False when the package cannot have a part of that name.
bool tryCreate(Package& package, const PropertyPlace& place, const PartName& name) {
    try {
        package.createPart(name, model::ContentType(place.contentType),
                           model::StandardPartInfo(interfaces::CompressionType::Normal, 0));
        return true;
    } catch (const Exception& error) {
        if (error.kind() == ErrorKind::Conflict || error.kind() == ErrorKind::Misuse) {
            return false;
        }
        throw;
    }
}

/// Tries numbered names until one is free. Each entry of a container can stand in the way of one name only, as every
/// name has a folder of its own; so one more name than a container may have entries is enough.
PartName createUnderFreeName(Package& package, const PropertyPlace& place) {
    const std::uint64_t most = model::detail::StoreAccess::storeOf(package).physical().limits().maxEntries;
    for (std::uint64_t number = 0; number <= most; ++number) {
        const auto suffix = number == 0 ? std::u16string() : fl::i18n::to_ustring(std::to_string(number));
        PartName name(place.folder + suffix + place.name);
        if (tryCreate(package, place, name)) {
            return name;
        }
    }
    const std::string like = fl::i18n::to_string(place.folder + place.name);
    throw Exception(ErrorKind::Conflict, "no name is free for a part like " + like, like);
}

/// Undoes the creation of a part unless all else succeeds.
template <class Rest>
void completing(Package& package, const PartName& created, Rest rest) {
    try {
        rest();
    } catch (...) {
        package.deletePart(created);
        throw;
    }
}

}  // namespace

const PropertyPlace& corePlace() {
    static const PropertyPlace& place = *new PropertyPlace{
        {u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties",
         // One office suite has written this type for years.
         u"http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties"},
        u"application/vnd.openxmlformats-package.core-properties+xml",
        u"/docProps",
        u"/core.xml"};
    return place;
}

const PropertyPlace& extensionPlace() {
    static const PropertyPlace& place =
        *new PropertyPlace{{u"http://schemas.pellarion.com/package/2013/relationships/properties"},
                           u"application/vnd.pellarion.package.properties+xml",
                           u"/docProps",
                           u"/tarmic.xml"};
    return place;
}

boost::optional<Part> findPart(const Package& package, const PropertyPlace& place) {
    for (const Relationship& relationship : relationshipsOf(package, place)) {
        const auto name = internalTarget(relationship);
        if (name && package.hasPart(*name)) {
            return package.getPart(*name);
        }
    }
    return boost::none;
}

void putPart(Package& package, const PropertyPlace& place, const fl::Bytes& content) {
    if (const auto part = findPart(package, place)) {
        putContent(package, part->getName(), content);
        return;
    }
    const auto dead = relationshipsOf(package, place);
    const auto used = std::find_if(dead.begin(), dead.end(), [&](const Relationship& each) {
        const auto name = internalTarget(each);
        return name && tryCreate(package, place, *name);
    });
    if (used != dead.end()) {
        const PartName name = *internalTarget(*used);
        completing(package, name, [&] { putContent(package, name, content); });
        return;
    }
    const PartName name = createUnderFreeName(package, place);
    completing(package, name, [&] {
        putContent(package, name, content);
        package.createInternalRelationship(place.relationshipTypes.front(), name.getURI(), u"");
    });
    for (const Relationship& each : dead) {
        package.deleteRelationship(each.getID());
    }
}

}  // namespace opc::pxservices::detail
