#include "kit/compare/PropertyMerge.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/ThreeWay.hpp"
#include "opc/Exception.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <algorithm>
#include <boost/date_time/posix_time/time_parsers.hpp>
#include <iterator>
#include <map>

namespace flowbook::kit {

using opc::pxservices::CoreProperties;
using opc::pxservices::CorePropertiesManager;

namespace {

constexpr char kModified[] = "modified";

using Values = std::vector<Property>;
using Changes = std::map<std::string, std::string>;  // by label

boost::posix_time::ptime timeOf(std::string text) {
    text.pop_back();  // the zone
    return boost::posix_time::from_iso_extended_string(text);
}

void apply(CoreProperties& properties, const std::string& label, const std::string& value) {
    const std::u16string text = fl::i18n::to_ustring(value);
    if (label == "title") {
        properties.setTitle(text);
    } else if (label == "description") {
        properties.setDescription(text);
    } else if (label == "version") {
        properties.setVersion(text);
    } else if (label == "release") {
        properties.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(text));
    } else if (label == "created") {
        properties.setCreatedTime(timeOf(value));
    } else if (label == kModified) {
        properties.setLastModifiedTime(timeOf(value));
    }
}

fl::Bytes withProperties(fl::Bytes flowbook, const Changes& changes) {
    const std::u16string name = u"flowbook";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(name, std::move(flowbook));
    const foundation::storage::vfs::StorageSystemReference storage(memory);
    opc::zippackage::ZipPhysicalPackage container(name, opc::FileSystemOpsSelector(storage), true);
    opc::model::Package package(container);
    package.open(opc::interfaces::OpenMode::Update);
    CorePropertiesManager manager(package, CorePropertiesManager::DeterministicMode::Off);
    CoreProperties properties = manager.getCoreProperties();
    for (const auto& [label, value] : changes) {
        apply(properties, label, value);
    }
    manager.setCoreProperties(properties);
    package.close();
    return memory->get(name);
}

bool hasNoLabel(const std::string& element) {
    const std::string name = element.substr(0, element.find_first_of(" >"));
    const std::string local = name.substr(name.find('|') + 1);
    return local != "title" && local != "description" && local != "version" && local != "created";
}

/// The elements of the core properties that have no label here; none of a part that is malformed.
std::vector<std::string> otherElements(const Document* document) {
    std::vector<std::string> others;
    for (const opc::model::Part& part :
         document == nullptr ? std::vector<opc::model::Part>() : document->package().getParts()) {
        try {
            const auto all = isCoreProperties(part) ? propertyElements(contentOf(part)) : std::vector<std::string>();
            std::copy_if(all.begin(), all.end(), std::back_inserter(others), hasNoLabel);
        } catch (const opc::Exception&) {
            // Each property tells of it.
        }
    }
    return others;
}

/// Nothing here can set what has no label, so what theirs made of it is at least told.
void tellOthers(const Document* base, const Document& merged, const Document& theirs,
                std::vector<MergeConflict>& conflicts) {
    const std::vector<std::string> known = otherElements(base);
    const std::vector<std::string> present = otherElements(&merged);
    for (const std::string& element : otherElements(&theirs)) {
        if (std::count(known.begin(), known.end(), element) + std::count(present.begin(), present.end(), element) ==
            0) {
            conflicts.push_back({"properties", "kept as ours has them, without theirs: " + element});
        }
    }
}

std::optional<std::string> valueAt(const Values& values, std::size_t i) {
    return i < values.size() ? values[i].value : std::nullopt;
}

}  // namespace

fl::Bytes mergeProperties(fl::Bytes flowbook, const Document* base, const Document& ours, const Document& theirs,
                          Favour favour, std::vector<MergeConflict>& conflicts) {
    const Document merged(flowbook);
    const Values present = merged.properties();
    const Values baseValues = base == nullptr ? Values() : base->properties();
    const Values ourValues = ours.properties();
    const Values theirValues = theirs.properties();
    Changes changes;
    tellOthers(base, merged, theirs, conflicts);
    for (std::size_t i = 0; i < present.size(); ++i) {
        const std::string& label = present[i].label;
        std::optional<std::string> value = ourValues[i].value;
        const Choice choice = choose(valueAt(baseValues, i), value, theirValues[i].value);
        if (label == kModified) {
            value = std::max(value, theirValues[i].value);
        } else if (choice == Choice::Theirs || (choice == Choice::Conflict && favour == Favour::Theirs)) {
            value = theirValues[i].value;
        } else if (choice == Choice::Conflict && favour == Favour::None) {
            conflicts.push_back({label, "kept as ours has it; theirs: " + theirValues[i].value.value_or("(none)")});
        }
        if (value && value != present[i].value) {
            changes[label] = *value;
        } else if (!value && present[i].value) {
            conflicts.push_back({label, "one side removed it; kept as the other has it"});
        }
    }
    return changes.empty() ? flowbook : withProperties(std::move(flowbook), changes);
}

}  // namespace flowbook::kit
