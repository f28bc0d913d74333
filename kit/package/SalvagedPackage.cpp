// The package that is made of what was saved. It is written as any other, so all rules of packages hold; what the
// writer refuses is found by halving, and left out by name, so that one impossible part does not cost the others.
#include "kit/package/SalvagedPackage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/package/FoundLists.hpp"
#include "opc/Exception.hpp"
#include "opc/Limits.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>

namespace flowbook::kit {

using PartRecord = FlowbookFilePackage::Part;
using Record = FlowbookFilePackage::Relationship;
using fl::i18n::to_string;

namespace {

/// All but the bytes, which are read when they are written.
PartRecord withoutContent(const PartRecord& part) { return {{}, part.contentType, part.partName, part.relationships}; }

bool areAlike(const std::vector<Record>& a, const std::vector<Record>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Record& one, const Record& other) {
        return one.id == other.id && one.type == other.type && one.target == other.target &&
               one.isInternal == other.isInternal;
    });
}

bool canBeWritten(PackageContent content) {
    try {
        writeContent(std::move(content));
        return true;
    } catch (const opc::Exception&) {
        return false;
    }
}

}  // namespace

SalvagedPackage::SalvagedPackage() { names.take("/[Content_Types].xml"); }

void SalvagedPackage::addPart(const std::string& name, std::u16string type, fl::Bytes bytes) {
    partsByName_.emplace(fold(name), content.parts.size());
    content.parts.push_back({std::move(bytes), std::move(type), fl::i18n::to_ustring(name), {}});
}

std::string SalvagedPackage::addAside(const std::string& folder, const std::string& entry, fl::Bytes bytes) {
    std::string name = folder + entry;
    const bool isForRelationships = (fold(name) + "/").find("/_rels/") != std::string::npos;
    if (!opc::model::PartName::isValid(name) || isForRelationships) {
        name = folder + "entry" + std::to_string(content.parts.size() + 1);
    }
    name = names.takeSimilar(name);
    addPart(name, u"application/octet-stream", std::move(bytes));
    asides_.insert(name);
    return name;
}

const PartRecord* SalvagedPackage::find(const std::string& partName) const {
    const auto found = partsByName_.find(fold(partName));
    return found == partsByName_.end() ? nullptr : &content.parts[found->second];
}

const fl::Bytes& SalvagedPackage::contentOf(const std::string& partName) const {
    const PartRecord* const part = find(partName);
    return part == nullptr ? none_ : part->content;
}

void SalvagedPackage::reportLost(const std::string& partName, const std::string& words) {
    account.lost.push_back({partName.empty() ? "/" : partName, words});
    reportedLost_.insert(fold(partName));
}

bool SalvagedPackage::isReportedLost(const std::string& partName) const {
    return reportedLost_.count(fold(partName)) != 0;
}

bool SalvagedPackage::dropFaulty(std::vector<Record>& records, const std::string& source) {
    if (records.empty() || canBeWritten({{}, records, {}})) {
        return false;
    }
    std::set<std::u16string> ids;
    std::vector<Record> good;
    for (Record& record : records) {
        if (ids.insert(record.id).second && canBeWritten({{}, {record}, {}})) {
            good.push_back(std::move(record));
        } else {
            account.lost.push_back({source, "a faulty relationship of " + source + ": " + to_string(record.id) +
                                                " to " + to_string(record.target)});
        }
    }
    records = std::move(good);
    return true;
}

bool SalvagedPackage::isThatOf(const fl::Bytes& file) const {
    try {
        const Document document(file);
        const auto parts = document.package().getParts();
        const std::vector<std::size_t> others = otherEntries(document);
        const auto isHere = [this](const opc::model::Part& part) {
            const PartRecord* const own = find(part.getName().ascii());
            return own != nullptr && own->contentType == part.getContentType().toString() &&
                   areAlike(own->relationships, relationshipsOf(part)) && own->content == kit::contentOf(part);
        };
        const auto isCarried = [&](std::size_t entry) {
            const auto own = content.others.find(std::string(document.container().entries()[entry].name));
            return own != content.others.end() && own->second == document.container().read(entry);
        };
        return parts.size() == content.parts.size() && others.size() == content.others.size() &&
               areAlike(content.relationships, relationshipsOf(document.package())) &&
               std::all_of(parts.begin(), parts.end(), isHere) && std::all_of(others.begin(), others.end(), isCarried);
    } catch (const opc::Exception&) {
        return false;
    }
}

/// First all of it; then without the parts that cannot be written by themselves; then as much as the limits permit.
void SalvagedPackage::write() {
    if (size() == 0) {
        return;
    }
    if (!tryToWrite(content)) {
        dropUnwritable();
    }
    if (!account.flowbook && !tryToWrite(content)) {
        dropBeyondLimits();
    }
    if (!account.flowbook) {
        account.saved.clear();
        account.lost.push_back({"/", "everything, as it makes no package: " + fault_});
    }
    auto& saved = account.saved;
    saved.erase(std::remove_if(saved.begin(), saved.end(), [&](auto& each) { return dropped_.count(each) != 0; }),
                saved.end());
}

/// @returns whether it was written.
bool SalvagedPackage::tryToWrite(const PackageContent& tried) {
    // Contents are handed over one by one while they are written, so that an attempt does not copy them all.
    PackageContent light{{}, tried.relationships, tried.others};
    std::transform(tried.parts.begin(), tried.parts.end(), std::back_inserter(light.parts), withoutContent);
    try {
        account.flowbook = writeContent(std::move(light), opc::interfaces::CompressionType::Normal,
                                        [this](const std::u16string& name) { return contentOf(to_string(name)); });
        return true;
    } catch (const opc::Exception& failure) {
        account.flowbook.reset();
        // The report says so then, as a file beyond a limit may be whole.
        account.isOverLimit |= failure.kind() == opc::ErrorKind::LimitExceeded;
        fault_ = failure.what();
        return false;
    }
}

/// Leaves out the parts that cannot be written by themselves.
void SalvagedPackage::dropUnwritable() {
    std::vector<bool> isFaulty(content.parts.size());
    findUnwritable(0, content.parts.size(), isFaulty);
    std::vector<PartRecord> good;
    for (std::size_t i = 0; i < content.parts.size(); ++i) {
        if (!isFaulty[i]) {
            good.push_back(std::move(content.parts[i]));
        }
    }
    content.parts = std::move(good);
    indexParts();
    account.flowbook.reset();
}

/// Halves what cannot be written, down to single parts.
void SalvagedPackage::findUnwritable(std::size_t begin, std::size_t end, std::vector<bool>& isFaulty) {
    PackageContent some;
    for (std::size_t i = begin; i < end; ++i) {
        some.parts.push_back(withoutContent(content.parts[i]));
    }
    if (some.parts.empty() || tryToWrite(some)) {
        return;
    }
    if (end - begin == 1) {
        isFaulty[begin] = true;
        reportDropped(to_string(content.parts[begin].partName));
        return;
    }
    const std::size_t middle = begin + (end - begin) / 2;
    findUnwritable(begin, middle, isFaulty);
    findUnwritable(middle, end, isFaulty);
}

/// How many parts and other entries come to the number of entries that a package may have. It is a first guess that is
/// nearly always right, and it matters, as every attempt writes the whole package.
std::size_t SalvagedPackage::countOfMostEntries() const {
    // One entry is the list of content types, and one the relationships of the package.
    std::uint64_t left = opc::Limits().maxEntries - 1 - (content.relationships.empty() ? 0 : 1);
    std::size_t count = 0;
    for (const PartRecord& part : content.parts) {
        const std::uint64_t entries = part.relationships.empty() ? 1 : 2;
        if (entries > left) {
            return count;
        }
        left -= entries;
        ++count;
    }
    return count + std::min<std::size_t>(content.others.size(), left);
}

/// How many parts and other entries can be written, of which each can be written by itself.
std::size_t SalvagedPackage::countThatFits() {
    std::size_t good = 0;
    std::size_t bad = size();
    const std::size_t most = countOfMostEntries();
    if (most < bad) {
        if (tryToWrite(firstOf(most))) {
            return most;
        }
        bad = most;
    }
    // Each step halves what is left, so even a package of the most entries takes some fifteen attempts.
    while (bad - good > 1) {
        const std::size_t middle = good + (bad - good) / 2;
        (tryToWrite(firstOf(middle)) ? good : bad) = middle;
    }
    return good;
}

/// Leaves out what comes last, other entries before parts, and the code only at the end.
void SalvagedPackage::dropBeyondLimits() {
    putCodeFirst();
    const std::size_t good = countThatFits();
    const std::size_t parts = std::min(good, content.parts.size());
    const auto firstPart = content.parts.begin() + static_cast<std::ptrdiff_t>(parts);
    std::for_each(firstPart, content.parts.end(),
                  [this](const auto& part) { reportDropped(to_string(part.partName)); });
    content.parts.erase(firstPart, content.parts.end());
    const auto firstOther = std::next(content.others.begin(), static_cast<std::ptrdiff_t>(good - parts));
    std::for_each(firstOther, content.others.end(), [this](const auto& other) { reportDropped("/" + other.first); });
    content.others.erase(firstOther, content.others.end());
    indexParts();
    account.flowbook.reset();
    if (good != 0) {
        tryToWrite(content);
    }
}

PackageContent SalvagedPackage::firstOf(std::size_t count) const {
    const std::size_t parts = std::min(count, content.parts.size());
    PackageContent first{{}, content.relationships, {}};
    std::transform(content.parts.begin(), content.parts.begin() + static_cast<std::ptrdiff_t>(parts),
                   std::back_inserter(first.parts), withoutContent);
    first.others = {content.others.begin(),
                    std::next(content.others.begin(), static_cast<std::ptrdiff_t>(count - parts))};
    return first;
}

void SalvagedPackage::putCodeFirst() {
    const std::u16string& type = documentRelationshipType();
    const auto led = std::find_if(content.relationships.begin(), content.relationships.end(),
                                  [&](const Record& each) { return each.type == type; });
    const auto code =
        led == content.relationships.end() ? partsByName_.end() : partsByName_.find(fold(targetPartOf(*led, "/")));
    if (code != partsByName_.end()) {
        const auto at = content.parts.begin() + static_cast<std::ptrdiff_t>(code->second);
        // What comes last is dropped first, and the code is what the user misses most.
        std::rotate(content.parts.begin(), at, std::next(at));
        indexParts();
    }
}

void SalvagedPackage::indexParts() {
    partsByName_.clear();
    for (std::size_t i = 0; i < content.parts.size(); ++i) {
        partsByName_.emplace(fold(to_string(content.parts[i].partName)), i);
    }
}

void SalvagedPackage::reportDropped(const std::string& name) {
    account.lost.push_back({name, name + ": it cannot be written: " + fault_});
    dropped_.insert(name);
}

}  // namespace flowbook::kit
