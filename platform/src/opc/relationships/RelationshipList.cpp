#include "opc/relationships/RelationshipList.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/RelationshipsName.hpp"
#include "opc/xml/FlatXml.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <algorithm>
#include <iterator>

namespace opc::model::detail {
namespace {

constexpr std::string_view kListNamespace = "http://schemas.openxmlformats.org/package/2006/relationships";

/// Of most sources.
constexpr std::size_t kUsualRecords = 4;

struct Range {
    char32_t first;
    char32_t last;
};

/// NameStartChar and what NameChar adds to it, without the colon (XML 1.0, 5th edition, 2.3).
constexpr Range kStartRanges[] = {{U'A', U'Z'},     {U'_', U'_'},     {U'a', U'z'},      {0xC0, 0xD6},
                                  {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},    {0x37F, 0x1FFF},
                                  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},  {0x3001, 0xD7FF},
                                  {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
constexpr Range kFurtherRanges[] = {{U'-', U'.'}, {U'0', U'9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
bool isIn(char32_t c, const Range (&ranges)[count]) {
    return std::any_of(std::begin(ranges), std::end(ranges), [c](Range r) { return c >= r.first && c <= r.last; });
}

/// Takes the next code point off `text`; a lone surrogate is handed out as it is, which no range holds.
char32_t nextCodePoint(std::u16string_view& text) {
    const char32_t first = text[0];
    if (first < 0xD800 || first > 0xDBFF || text.size() == 1 || text[1] < 0xDC00 || text[1] > 0xDFFF) {
        text.remove_prefix(1);
        return first;
    }
    const char32_t second = text[1];
    text.remove_prefix(2);
    return 0x10000 + ((first - 0xD800) << 10U) + (second - 0xDC00);
}

URI baseOf(std::string_view sourceName) {
    static const URI& package = *new URI({kPackageSource.begin(), kPackageSource.end()});
    return sourceName == kPackageSource ? package : URI({sourceName.begin(), sourceName.end()});
}

TargetMode targetModeOf(const XmlElement& element) {
    const std::string_view* mode = element.attribute("TargetMode");
    if (mode == nullptr || *mode == "Internal") {
        return TargetMode::Internal;
    }
    if (*mode != "External") {
        throw XmlFault{"the target mode " + shown(*mode) + " is neither 'Internal' nor 'External'"};
    }
    return TargetMode::External;
}

/// Fills a list from its XML.
class ListHandler : public FlatXmlHandler {
public:
    explicit ListHandler(RelationshipList& list) : FlatXmlHandler(kListNamespace, "Relationships"), list_(list) {}

private:
    void listed(const XmlElement& element) override {
        if (element.name.local != "Relationship") {
            throw XmlFault{"unexpected element " + shown(element.name.local)};
        }
        permitOnly(element, {"Id", "Type", "Target", "TargetMode"});
        list_.add(recordOf(element));
    }

    RelationshipRecord recordOf(const XmlElement& element) const {
        RelationshipRecord record;
        record.id = fl::i18n::to_ustring(required(element, "Id"));
        if (!isNCName(record.id) || list_.has(record.id)) {
            throw XmlFault{"the id " + shown(record.id) + " is " +
                           (list_.has(record.id) ? "there twice" : "no NCName")};
        }
        const std::string_view* target = element.attribute("Target");
        if (target == nullptr) {
            throw XmlFault{"the relationship " + shown(record.id) + " has no 'Target'"};
        }
        record.type = fl::i18n::to_ustring(required(element, "Type"));
        record.target = fl::i18n::to_ustring(*target);
        record.mode = targetModeOf(element);
        return record;
    }

    void forget() override { list_.clear(); }

    RelationshipList& list_;
};

}  // namespace

const ContentType& relationshipsType() {
    static const ContentType& type = *new ContentType({kRelationshipsType.begin(), kRelationshipsType.end()});
    return type;
}

bool isNCName(std::u16string_view text) {
    if (text.empty() || !isIn(nextCodePoint(text), kStartRanges)) {
        return false;
    }
    while (!text.empty()) {
        const char32_t c = nextCodePoint(text);
        if (!isIn(c, kStartRanges) && !isIn(c, kFurtherRanges)) {
            return false;
        }
    }
    return true;
}

void RelationshipList::parse(const fl::Bytes& bytes, const std::function<std::string()>& where) {
    ListHandler handler(*this);
    parseFlatXml(bytes, where, handler);
}

std::vector<RelationshipList::RecordPtr> RelationshipList::all() const {
    std::vector<RecordPtr> all;
    all.reserve(positions_.size());
    std::copy_if(records_.begin(), records_.end(), std::back_inserter(all), [](const auto& each) { return each; });
    return all;
}

std::vector<RelationshipList::RecordPtr> RelationshipList::ofType(std::u16string_view type) const {
    std::vector<RecordPtr> all;
    const auto found = positionsByType_.find(type);
    if (found != positionsByType_.end()) {
        for (const std::size_t position : found->second.positions) {
            if (records_[position]) {
                all.push_back(records_[position]);
            }
        }
    }
    return all;
}

bool RelationshipList::isTaken(std::u16string_view id) const {
    const auto found = positions_.find(id);
    return found != positions_.end() && !records_[found->second]->isIdChosen;
}

/// What may fail comes first; a place that is left empty then does no harm.
RelationshipList::RecordPtr RelationshipList::add(RelationshipRecord record) {
    const auto added = std::make_shared<RelationshipRecord>(std::move(record));
    added->origin = origin();
    added->isIdChosen = added->id.empty();
    if (added->isIdChosen) {
        added->id = freshId();
    }
    if (records_.empty()) {
        records_.reserve(kUsualRecords);
    }
    records_.emplace_back();
    OfType& ofType = positionsByType_[added->type];
    ofType.first = ofType.first ? ofType.first : added;
    ofType.positions.push_back(records_.size() - 1);
    const auto place = placeOf(added->id);
    if (isAt(place, added->id)) {
        addTaken(added->id, place);
    } else {
        positions_.emplace_hint(place, added->id, records_.size() - 1);
    }
    records_.back() = added;
    return added;
}

/// Ids mostly come in their order.
RelationshipList::Positions::const_iterator RelationshipList::placeOf(std::u16string_view id) const {
    const bool isNext = positions_.empty() || Before()(std::prev(positions_.end())->first, id);
    return isNext ? positions_.end() : positions_.lower_bound(id);
}

const std::shared_ptr<const RelationshipOrigin>& RelationshipList::origin() {
    if (!origin_) {
        origin_ = std::make_shared<const RelationshipOrigin>(
            RelationshipOrigin{std::string(packageName_), std::string(sourceName_), baseOf(sourceName_)});
    }
    return origin_;
}

std::u16string RelationshipList::freshId() {
    std::u16string id;
    do {
        const std::string number = std::to_string(++lastFreshId_);
        id = u"rId" + std::u16string(number.begin(), number.end());
    } while (has(id));
    return id;
}

/// The relationship that has the id gets another one.
void RelationshipList::addTaken(std::u16string_view id, Positions::const_iterator holder) {
    Positions single;
    single.emplace(id, records_.size() - 1);
    RelationshipRecord& record = *records_[holder->second];
    std::u16string other = freshId();
    Positions::node_type node = positions_.extract(holder);
    record.id.swap(other);
    node.key() = record.id;
    positions_.insert(std::move(node));
    positions_.insert(single.extract(single.begin()));
}

bool RelationshipList::remove(std::u16string_view id) noexcept {
    const auto found = positions_.find(id);
    if (found == positions_.end()) {
        return false;
    }
    const auto removed = std::move(records_[found->second]);  // the key is a view of its id
    positions_.erase(found);
    compact();
    return true;
}

bool RelationshipList::remove(const RelationshipRecord& record) noexcept {
    const auto found = positions_.find(record.id);
    return found != positions_.end() && records_[found->second].get() == &record && remove(record.id);
}

bool RelationshipList::removeByType(std::u16string_view type) noexcept {
    const auto found = positionsByType_.find(type);
    const std::size_t before = positions_.size();
    if (found != positionsByType_.end()) {
        for (const std::size_t position : found->second.positions) {
            if (const auto removed = std::move(records_[position])) {
                positions_.erase(removed->id);
            }
        }
        positionsByType_.erase(found);
        compact();
    }
    return positions_.size() != before;
}

fl::Bytes RelationshipList::toXml() const {
    XmlWriter xml;
    xml.start("Relationships").attribute("xmlns", kListNamespace);
    for (const RecordPtr& record : all()) {
        xml.start("Relationship").attribute("Id", fl::i18n::to_string(record->id));
        xml.attribute("Type", fl::i18n::to_string(record->type));
        xml.attribute("Target", fl::i18n::to_string(record->target));
        if (record->mode == TargetMode::External) {
            xml.attribute("TargetMode", "External");
        }
        xml.end();
    }
    return xml.end().finish();
}

/// Closes the gaps, but only when there are as many of them as records: that keeps removal cheap. The lists of
/// positions get shorter, so they need no memory.
void RelationshipList::compact() noexcept {
    if (records_.size() <= 2 * positions_.size()) {
        return;
    }
    records_.erase(std::remove(records_.begin(), records_.end(), nullptr), records_.end());
    for (auto& [type, ofType] : positionsByType_) {
        ofType.positions.clear();
    }
    for (std::size_t at = 0; at != records_.size(); ++at) {
        positions_.find(records_[at]->id)->second = at;
        positionsByType_.find(records_[at]->type)->second.positions.push_back(at);
    }
    for (auto each = positionsByType_.begin(); each != positionsByType_.end();) {
        each = each->second.positions.empty() ? positionsByType_.erase(each) : std::next(each);
    }
}

}  // namespace opc::model::detail
