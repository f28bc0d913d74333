// The relationships of one source. Records never change and are shared with handles; the list maps numbers, which give
// the order and stay for ever, to records, and ids to numbers once something is to be changed. Ids of a caller are
// kept, as content may refer to them; ids that this library has chosen may still change until the file is written.
#include "opc/relationships/RelationshipList.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/RelationshipsName.hpp"
#include "opc/xml/FlatXml.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <algorithm>
#include <iterator>

namespace opc::model::detail {
namespace {

constexpr std::string_view kListNamespace = "http://schemas.openxmlformats.org/package/2006/relationships";

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

/// Returns what targets are resolved against. The URI of the package is made once, as nearly all packages need it, and
/// is never destroyed, as handles may be used at the end of the process.
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

/// Returns whether the text can be an XML id.
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

/// Returns what keeps a relationship from being created; null when nothing does.
const char* faultOf(const RelationshipRecord& record) {
    if (!record.id.empty() && !isNCName(record.id)) {
        return "the id is no NCName";
    }
    if (record.type.empty() || !toXmlText(record.type)) {
        return "the type is empty or holds characters that XML does not permit";
    }
    return toXmlText(record.target) ? nullptr : "the target holds characters that XML does not permit";
}

}  // namespace

const ContentType& relationshipsType() {
    static const ContentType& type = *new ContentType({kRelationshipsType.begin(), kRelationshipsType.end()});
    return type;
}

/// Fills a list from its XML.
class RelationshipList::Handler : public FlatXmlHandler {
public:
    explicit Handler(RelationshipList& list) : FlatXmlHandler(kListNamespace, "Relationships"), list_(list) {}

private:
    void listed(const XmlElement& element) override {
        if (element.name.local != "Relationship") {
            throw XmlFault{"unexpected element " + shown(element.name.local)};
        }
        permitOnly(element, {"Id", "Type", "Target", "TargetMode"});
        list_.insert(recordOf(element));
    }

    /// Ids must be unique and XML ids (M1.26). The target may be any text here, see Relationship::getTargetURI().
    RelationshipRecord recordOf(const XmlElement& element) const {
        RelationshipRecord record;
        record.id = fl::i18n::to_ustring(required(element, "Id"));
        const bool isTwice = isReadAgain_ && list_.numbers().count(record.id) != 0;
        if (isTwice || !isNCName(record.id)) {
            throw XmlFault{"the id " + shown(record.id) + " is " + (isTwice ? "there twice" : "no NCName")};
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

    /// Ids are compared all at once, and one by one only if a repeated one has to be found for the message.
    bool isConsistent() const override { return list_.hasUniqueIds(); }

    void forget() override {
        list_ = RelationshipList(list_.packageName_, list_.sourceName_);
        isReadAgain_ = true;
    }

    RelationshipList& list_;
    bool isReadAgain_ = false;
};

void RelationshipList::parse(const fl::Bytes& bytes, const std::function<std::string()>& where) {
    Handler handler(*this);
    parseFlatXml(bytes, where, handler);
}

RelationshipList::Numbers& RelationshipList::numbers() {
    if (!numbers_) {
        Numbers numbers;
        for (const auto& [number, record] : records_) {
            // Ids mostly come in ascending order, so the end is the right hint.
            numbers.emplace_hint(numbers.end(), record->id, number);
        }
        numbers_ = std::move(numbers);
    }
    return *numbers_;
}

bool RelationshipList::hasUniqueIds() const {
    std::vector<std::u16string_view> ids;
    ids.reserve(records_.size());
    for (const auto& [number, record] : records_) {
        ids.push_back(record->id);
    }
    if (!std::is_sorted(ids.begin(), ids.end(), Before())) {
        std::sort(ids.begin(), ids.end(), Before());
    }
    return std::adjacent_find(ids.begin(), ids.end()) == ids.end();
}

RelationshipList::RecordPtr RelationshipList::add(RelationshipRecord record) {
    const auto refuse = [&](ErrorKind kind, const char* reason) {
        throw Exception(kind, where() + ": the relationship " + shown(record.id) + " cannot be created: " + reason,
                        sourceName_);
    };
    if (const char* fault = faultOf(record)) {
        refuse(ErrorKind::Misuse, fault);
    }
    record.isIdChosen = record.id.empty();
    if (record.isIdChosen) {
        record.id = freshId();
    }
    const auto holder = numbers().find(record.id);
    const std::size_t inTheWay = holder == numbers().end() ? 0 : holder->second;
    if (inTheWay != 0 && !(*records_.find(inTheWay))->isIdChosen) {
        refuse(ErrorKind::Conflict, "the id is taken");
    }
    RecordPtr added = insert(std::move(record), inTheWay);
    changed_ = true;
    return added;
}

/// Takes all memory before it changes anything: inserting a node that exists needs none.
/// @param inTheWay  the number of the relationship that has the id, and gets another one; 0 for none.
RelationshipList::RecordPtr RelationshipList::insert(RelationshipRecord record, std::size_t inTheWay) {
    record.origin = origin();
    record.number = lastNumber_ + 1;
    auto added = std::make_shared<const RelationshipRecord>(std::move(record));
    records_.reserveOne();
    if (numbers_) {
        Numbers single{{added->id, added->number}};
        if (inTheWay != 0) {
            giveWay(inTheWay);
        }
        numbers_->insert(numbers_->end(), single.extract(single.begin()));
    }
    records_.add(added->number, added);
    lastNumber_ = added->number;
    return added;
}

/// Puts a copy of a record, with another id, in its place. Handles that exist keep the old record and its id.
void RelationshipList::giveWay(std::size_t number) {
    RecordPtr& record = *records_.find(number);
    RelationshipRecord other = *record;
    other.id = freshId();
    const auto moved = std::make_shared<const RelationshipRecord>(std::move(other));
    numbers_->emplace(moved->id, number);
    numbers_->erase(record->id);
    record = moved;
}

void RelationshipList::remove(const std::u16string& id) {
    const auto found = numbers().find(id);
    if (found == numbers().end()) {
        throw Exception(ErrorKind::NotFound, where() + ": there is no relationship " + shown(id), sourceName_);
    }
    erase(*records_.find(found->second));
}

/// Finds a relationship by its number, as its id may have changed since the handle was got. The origin is compared
/// first: a handle of another source may have the same number.
void RelationshipList::remove(const RelationshipRecord& record) {
    const RecordPtr* const found = records_.find(record.number);
    if (record.origin != origin_ || found == nullptr) {
        throw Exception(ErrorKind::NotFound, where() + ": there is no relationship " + shown(record.id), sourceName_);
    }
    erase(*found);
}

void RelationshipList::removeByType(std::u16string_view type) {
    std::vector<RecordPtr> removed;
    for (const auto& [number, record] : records_) {
        if (record->type == type) {
            removed.push_back(record);
        }
    }
    for (RecordPtr& record : removed) {
        erase(std::move(record));
    }
}

/// @param record  kept until the end, as the ids are views of records.
void RelationshipList::erase(RecordPtr record) noexcept {
    if (numbers_) {
        numbers_->erase(record->id);
    }
    records_.erase(record->number);
    changed_ = true;
}

/// Returns the file and the source for messages.
std::string RelationshipList::where() const {
    return "package '" + std::string(packageName_) + "', part " + shown(sourceName_);
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
    } while (numbers().count(id) != 0);
    return id;
}

fl::Bytes RelationshipList::toXml() const {
    XmlWriter xml;
    xml.start("Relationships").attribute("xmlns", kListNamespace);
    for (const auto& [number, record] : records_) {
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

}  // namespace opc::model::detail
