// Merges the parts of properties element by element, in the text of ours. What both sides left alone keeps its bytes,
// and an element of theirs brings the declarations of the prefixes that it uses.
#include "kit/compare/PropertyMerge.hpp"

#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <map>

namespace flowbook::kit {

namespace {

using Namespaces = std::map<std::string, std::string>;

constexpr std::string_view kTerms = "http://purl.org/dc/terms/";

/// An element below the root.
struct Element {
    std::string label;
    std::string canonical;    ///< names, sorted attributes and content
    std::string value;        ///< its text
    XmlSpan span{};           ///< in the part's bytes
    std::size_t nameEnd = 0;  ///< of its start tag's name
    Namespaces declared;      ///< by the element itself
};

/// A part of properties, taken apart.
class PropertyElements : public XmlHandler {
public:
    explicit PropertyElements(const fl::Bytes& content) : text(content.begin(), content.end()) {
        readXml(content, "", XmlEncoding::Utf8, *this);
    }

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan tag) override {
        ++depth_;
        if (depth_ == 1) {
            declared = std::exchange(pending_, {});
            rootTag = tag;
            return;
        }
        if (depth_ == 2) {
            begin(name, tag);
        }
        // The control characters between are none that XML can hold, so no two elements give the same text.
        element_->canonical += '\1' + std::string(name.ns) + '\2' + std::string(name.local);
        std::vector<std::string> texts;
        for (const XmlAttribute& each : attributes) {
            texts.push_back('\3' + std::string(each.name.ns) + '\2' + std::string(each.name.local) + '\4' +
                            std::string(each.value));
        }
        // The order of attributes means nothing in XML.
        std::sort(texts.begin(), texts.end());
        for (const std::string& each : texts) {
            element_->canonical += each;
        }
        element_->canonical += '\5';
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        if (--depth_ == 0) {
            rootEnd = tag.begin;
        } else {
            element_->canonical += '\6';
            element_->span.end = tag.end;
        }
    }

    void characters(std::string_view characters) override {
        if (depth_ > 1) {
            element_->canonical += characters;
            element_->value += characters;
        }
    }

    void namespaceDeclared(std::string_view prefix, std::string_view uri) override {
        if (depth_ < 2) {
            pending_[std::string(prefix)] = uri;
        }
    }

    const Element* find(const std::string& key) const {
        const auto found = elements.find(key);
        return found == elements.end() ? nullptr : &found->second;
    }

    std::string text;
    std::map<std::string, Element> elements;  ///< by name, and by their order among those of one name
    Namespaces declared;                      ///< by the root
    XmlSpan rootTag{};
    std::size_t rootEnd = 0;  ///< where its end tag begins; behind its only tag when it is empty

private:
    void begin(const XmlName& name, XmlSpan tag) {
        const std::string full = std::string(name.ns) + "|" + std::string(name.local);
        // Several elements may have one name, such as keywords in two languages; they are paired in their order.
        element_ = &elements[full + "#" + std::to_string(counts_[full]++)];
        element_->label = name.local;
        element_->span = tag;
        element_->nameEnd = text.find_first_of(" \t\r\n/>", tag.begin);
        element_->declared = std::exchange(pending_, {});
    }

    std::size_t depth_ = 0;
    Element* element_ = nullptr;
    Namespaces pending_;
    std::map<std::string, std::size_t> counts_;
};

std::optional<std::string> canonicalOf(const Element* element) {
    return element == nullptr ? std::nullopt : std::make_optional(element->canonical);
}

std::optional<std::string> valueIn(const Element* element) {
    return element == nullptr ? std::nullopt : std::make_optional(element->value);
}

std::string quoted(const Element* element) { return element == nullptr ? "(none)" : "\"" + element->value + "\""; }

/// Changes the text of a part.
class Editor {
public:
    explicit Editor(const PropertyElements& frame) : frame_(frame) {}

    void replace(const Element& old, const std::string& fresh) { changes_[old.span.begin] = {old.span.end, fresh}; }
    void add(const std::string& fresh) { added_ += fresh; }

    std::string run() const {
        const std::string& text = frame_.text;
        const bool isEmptyTag =
            frame_.rootEnd >= frame_.rootTag.end && text[frame_.rootTag.end - 2] == '/' && frame_.elements.empty();
        if (isEmptyTag) {
            const std::size_t name = frame_.rootTag.begin + 1;
            const std::string end = "></" + text.substr(name, text.find_first_of(" \t\r\n/>", name) - name) + ">";
            return text.substr(0, frame_.rootTag.end - 2) + end.substr(0, 1) + added_ + end.substr(1) +
                   text.substr(frame_.rootTag.end);
        }
        std::string result;
        std::size_t done = 0;
        for (const auto& [begin, change] : changes_) {
            result.append(text, done, begin - done).append(change.second);
            done = change.first;
        }
        return result.append(text, done, frame_.rootEnd - done) + added_ + text.substr(frame_.rootEnd);
    }

private:
    const PropertyElements& frame_;
    std::map<std::size_t, std::pair<std::size_t, std::string>> changes_;  ///< by begin: end and new text
    std::string added_;
};

class PropertyMerger {
public:
    PropertyMerger(const PropertyElements* base, const PropertyElements& ours, const PropertyElements& theirs,
                   bool isTheirsLater, Favour favour)
        : base_(base), ours_(ours), theirs_(theirs), isTheirsLater_(isTheirsLater), favour_(favour), editor_(ours) {}

    MergedProperties run() {
        for (const auto& [key, element] : ours_.elements) {
            mergeElement(key);
        }
        for (const auto& [key, element] : theirs_.elements) {
            if (ours_.find(key) == nullptr) {
                mergeElement(key);
            }
        }
        const std::string text = editor_.run();
        return {{text.begin(), text.end()}, std::move(conflicts_)};
    }

private:
    void mergeElement(const std::string& key) {
        const Element* const base = base_ == nullptr ? nullptr : base_->find(key);
        const Element* const ours = ours_.find(key);
        const Element* const theirs = theirs_.find(key);
        // Each save sets it, so both sides always differ in it; the later one is true of the merged flowbook.
        if (key == std::string(kTerms) + "|modified#0") {
            if (ours == nullptr || (theirs != nullptr && isTheirsLater_)) {
                take(ours, theirs);
            }
            return;
        }
        const Choice choice = choose(canonicalOf(base), canonicalOf(ours), canonicalOf(theirs));
        if (choice == Choice::Conflict) {
            settle(key, base, ours, theirs);
        } else if (choice == Choice::Theirs) {
            take(ours, theirs);
        }
    }

    void settle(const std::string& key, const Element* base, const Element* ours, const Element* theirs) {
        const bool keepsTheirs = favour_ == Favour::None ? ours == nullptr : favour_ == Favour::Theirs;
        if (keepsTheirs) {
            take(ours, theirs);
        }
        const std::string words = "ours has " + quoted(ours) + ", theirs " + quoted(theirs) + "; kept as " +
                                  (keepsTheirs ? "theirs" : "ours") + " has it";
        const MergeConflict report{
            ConflictKind::Property, (ours != nullptr ? ours : theirs)->label, words, valueIn(base), valueIn(ours),
            valueIn(theirs)};
        const auto xml = theirs == nullptr ? std::nullopt : std::make_optional(standingAlone(*theirs, {}));
        conflicts_.push_back({report, key, xml});
    }

    void take(const Element* ours, const Element* theirs) {
        const std::string fresh = theirs == nullptr ? "" : standingAlone(*theirs, ours_.declared);
        ours == nullptr ? editor_.add(fresh) : editor_.replace(*ours, fresh);
    }

    /// The text of an element of theirs, which declares what is not declared around it in the same way.
    std::string standingAlone(const Element& element, const Namespaces& around) const {
        Namespaces missing;
        for (const auto& [prefix, uri] : around) {
            if (prefix.empty() && theirs_.declared.count("") == 0) {
                missing[""] = "";
            }
        }
        for (const auto& [prefix, uri] : theirs_.declared) {
            const auto found = around.find(prefix);
            if (found == around.end() || found->second != uri) {
                missing[prefix] = uri;
            }
        }
        std::string text = theirs_.text.substr(element.span.begin, element.nameEnd - element.span.begin);
        for (const auto& [prefix, uri] : missing) {
            if (element.declared.count(prefix) == 0 && (prefix.empty() || mentions(element, prefix))) {
                text += (prefix.empty() ? " xmlns=\"" : " xmlns:" + prefix + "=\"") + escapedValue(uri) + "\"";
            }
        }
        return text + theirs_.text.substr(element.nameEnd, element.span.end - element.nameEnd);
    }

    bool mentions(const Element& element, const std::string& prefix) const {
        const std::size_t found = theirs_.text.find(prefix + ":", element.span.begin);
        // A mention in a text counts too; a declaration that is not needed does no harm.
        return found < element.span.end;
    }

    const PropertyElements* base_;
    const PropertyElements& ours_;
    const PropertyElements& theirs_;
    bool isTheirsLater_;
    Favour favour_;
    Editor editor_;
    std::vector<PropertyConflict> conflicts_;
};

}  // namespace

std::optional<MergedProperties> mergeProperties(const fl::Bytes* base, const fl::Bytes& ours, const fl::Bytes& theirs,
                                                bool isTheirsLater, Favour favour) {
    try {
        std::optional<PropertyElements> baseElements;
        if (base != nullptr) {
            baseElements.emplace(inUtf8(*base, ""));
        }
        const PropertyElements ourElements(inUtf8(ours, ""));
        const PropertyElements theirElements(inUtf8(theirs, ""));
        return PropertyMerger(baseElements ? &*baseElements : nullptr, ourElements, theirElements, isTheirsLater,
                              favour)
            .run();
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
}

std::optional<fl::Bytes> withElement(const fl::Bytes& properties, const std::string& element,
                                     const std::optional<std::string>& xml) {
    try {
        const PropertyElements elements(inUtf8(properties, ""));
        Editor editor(elements);
        const Element* const old = elements.find(element);
        if (old != nullptr) {
            editor.replace(*old, xml.value_or(""));
        } else if (xml) {
            editor.add(*xml);
        }
        const std::string text = editor.run();
        return fl::Bytes(text.begin(), text.end());
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
}

}  // namespace flowbook::kit
