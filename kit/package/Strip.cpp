#include "kit/package/Strip.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace flowbook::kit {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;
using opc::model::Package;
using opc::model::Part;

namespace {

const char* const kPackage = "/";

/// The values of all attributes of a document, among which are the ids that it mentions.
class Mentions : public XmlHandler {
public:
    void startElement(const XmlName&, const std::vector<XmlAttribute>& attributes, XmlSpan) override {
        for (const XmlAttribute& attribute : attributes) {
            all.emplace(attribute.value);
        }
    }
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}

    std::set<std::string, std::less<>> all;
};

/// A relationship inside the package.
struct Edge {
    std::string name;  ///< of the source, as it is written; "/" for the package
    std::u16string id;
    std::string target;  ///< folded; empty when it leads to no part
    bool isOutput = false;
    bool counts = true;  ///< whether it keeps its target
};

class Finder {
public:
    explicit Finder(const Document& document) : document_(document) {
        for (const Part& part : document.package().getParts()) {
            parts_.emplace(part.getName().folded(), part);
        }
    }

    Strippable find() {
        noteMentions();
        addEdges(kPackage, kPackage, document_.package());
        for (const auto& [folded, part] : parts_) {
            addEdges(folded, part.getName().ascii(), part);
        }
        return result(removable());
    }

private:
    /// Which ids the code mentions; none is known of code that is not rich, and all count then.
    void noteMentions() {
        const auto code = document_.codePart();
        code_ = code ? code->getName().folded() : "";
        if (document_.form() == CodeForm::Rich) {
            const fl::Bytes content = contentOf(*code);
            opc::inPart(code->getName().ascii(),
                        [&] { readXml(content, document_.where(*code), encodingOf(content), mentioned_); });
        }
    }

    void addEdges(const std::string& folded, const std::string& name, const opc::model::RelationshipSource& source) {
        const std::u16string output = FlowbookFilePackage::getPackageRelationshipTypes().at(1);
        std::vector<Edge>& edges = edges_[folded];
        for (const auto& each : source.getRelationships(opc::model::ExcludeMode::External)) {
            Edge edge{name, each.getID(), targetOf(each)};
            edge.isOutput = folded == kPackage && each.getType() == output;
            const bool isMentioned = folded != code_ || document_.form() != CodeForm::Rich ||
                                     mentioned_.all.count(fl::i18n::to_string(edge.id)) != 0;
            const auto target = parts_.find(edge.target);
            edge.counts = !edge.isOutput && (isMentioned || target == parts_.end() || !isPicture(target->second));
            edges.push_back(std::move(edge));
        }
    }

    std::string targetOf(const opc::model::Relationship& relationship) const {
        const std::optional<std::string> folded = foldedTarget(relationship);
        return folded && parts_.count(*folded) != 0 ? *folded : "";
    }

    using Names = std::set<std::string>;

    /// Everything that relationships lead to from here, and where they start. @param every  also those that do not
    /// count.
    Names reached(Names from, bool every) const {
        std::vector<std::string> todo(from.begin(), from.end());
        while (!todo.empty()) {
            const auto edges = edges_.find(todo.back());
            todo.pop_back();
            for (const Edge& edge : edges == edges_.end() ? std::vector<Edge>() : edges->second) {
                if ((every || edge.counts) && !edge.target.empty() && from.insert(edge.target).second) {
                    todo.push_back(edge.target);
                }
            }
        }
        return from;
    }

    /// Outputs with what they lead to, and pictures, less what anything else leads to.
    Names removable() const {
        Names outputs;
        for (const Edge& edge : edges_.at(kPackage)) {
            if (edge.isOutput && !edge.target.empty()) {
                outputs.insert(edge.target);
            }
        }
        Names candidates = reached(outputs, true);
        Names others{kPackage};
        for (const auto& [folded, part] : parts_) {
            if (isPicture(part)) {
                candidates.insert(folded);
            } else if (candidates.count(folded) == 0 || folded == code_) {
                others.insert(folded);
            }
        }
        for (const std::string& kept : reached(others, false)) {
            candidates.erase(kept);
        }
        return candidates;
    }

    Strippable result(const Names& removed) const {
        Strippable found;
        for (const std::string& part : removed) {
            found.parts.push_back(parts_.at(part).getName().ascii());
        }
        for (const auto& [source, edges] : edges_) {
            for (const Edge& edge : removed.count(source) == 0 ? edges : std::vector<Edge>()) {
                if (edge.isOutput || removed.count(edge.target) != 0) {
                    found.relationships.emplace_back(edge.name, edge.id);
                }
            }
        }
        return found;
    }

    const Document& document_;
    std::map<std::string, Part> parts_;  ///< by folded name
    std::string code_;                   ///< the part with the code
    Mentions mentioned_;
    std::map<std::string, std::vector<Edge>> edges_;  ///< by folded source
};

}  // namespace

Strippable findStrippable(const Document& document) { return Finder(document).find(); }

void strip(Package& package, const Strippable& what) {
    for (const auto& [source, id] : what.relationships) {
        if (source == kPackage) {
            package.deleteRelationship(id);
        } else {
            package.getPart(partNamed(source)).deleteRelationship(id);
        }
    }
    for (const std::string& part : what.parts) {
        package.deletePart(partNamed(part));
    }
}

std::optional<fl::Bytes> stripped(const fl::Bytes& flowbook, const std::u16string& name) {
    const Strippable what = findStrippable(Document(flowbook, name));
    if (what.empty()) {
        return std::nullopt;
    }
    const auto memory = std::make_shared<MemoryStorage>();
    memory->put(name, flowbook);
    opc::zippackage::ZipPhysicalPackage container(name, opc::FileSystemOpsSelector{StorageSystemReference(memory)},
                                                  true);
    Package package(container);
    package.open(opc::interfaces::OpenMode::Update);
    strip(package, what);
    package.close();
    return memory->get(name);
}

}  // namespace flowbook::kit
