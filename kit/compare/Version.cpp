#include "kit/compare/Version.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/Sha256.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <set>

namespace flowbook::kit {

using opc::model::PartName;
using opc::model::Relationship;

namespace {

using fl::i18n::to_string;

std::string ownDigest(const Node& node) {
    return Sha256().addField(to_string(node.contentType)).add(partDigest(node.part)).take();
}

std::string digestOf(const Link& link, const std::string& there) {
    Sha256 sum;
    sum.addField(to_string(link.record.type)).addField(link.record.isInternal ? "internal" : "external");
    return sum.addField(there).addField(link.fragment).take();
}

/// Finds out where a relationship leads; one that cannot be followed leads nowhere.
void follow(const Relationship& relationship, const std::map<std::string, Node>& nodes, Link& link) {
    const std::string written = to_string(relationship.getTarget());
    link.place = digestOf(link, written);
    if (!link.record.isInternal) {
        return;
    }
    try {
        const PartName name(relationship.getTargetURI());
        link.fragment = written.substr(std::min(written.find('#'), written.size()));
        link.place = digestOf(link, name.folded());
        const auto found = nodes.find(name.folded());
        link.target = found == nodes.end() ? nullptr : &found->second;
    } catch (const opc::Exception&) {  // It is carried as it stands.
    }
}

void describe(Link& link, const std::string& there) { link.leadsTo = digestOf(link, there); }

std::string deepDigest(const Node& node) {
    if (node.links.empty()) {
        return node.own;
    }
    std::set<std::string> all;
    for (const Link& link : node.links) {
        all.insert(to_string(link.record.id) + "\n" + link.leadsTo);
    }
    Sha256 sum;
    sum.addField(node.own);
    for (const std::string& each : all) {
        sum.addField(each);
    }
    return sum.take();
}

/// What a link has in the place of a part's digest.
std::string withoutPart(const Link& link) { return link.target == nullptr ? "to " + link.place : "the code"; }

/// For parts from which a circle of relationships is reached: each counts as changed when any of them is.
void digestTogether(const std::vector<Node*>& circle) {
    for (Node* node : circle) {
        node->deep = node->own;
        for (Link& link : node->links) {
            if (link.leadsTo.empty()) {
                describe(link, link.target->own);
            }
        }
    }
    Sha256 sum;
    for (const Node* node : circle) {
        sum.addField(deepDigest(*node));
    }
    const std::string all = sum.take();
    for (Node* node : circle) {
        node->deep = Sha256().addField(node->own).addField(all).take();
    }
}

}  // namespace

Version::Version(const Document& document) : document_(&document) {
    addNodes();
    findCode();
    addLinks(document.package(), nullptr, links_);
    for (auto& [name, node] : nodes_) {
        addLinks(node.part, &node, node.links);
    }
    digestDeeply();
}

void Version::addNodes() {
    for (const opc::model::Part& part : document_->package().getParts()) {
        Node node{part, part.getName().folded(), part.getContentType().toString(), "", "", {}};
        node.own = ownDigest(node);
        nodes_.emplace(node.name, std::move(node));
    }
}

/// A relationship that leads to no part is carried like any other.
void Version::findCode() {
    std::optional<opc::model::Part> part;
    try {
        part = document_->codePart();
    } catch (const opc::Exception&) {
        return;
    }
    if (part) {
        code_ = &nodes_.at(part->getName().folded());
        form_ = formOf(*part);
    }
}

void Version::addLinks(const opc::model::RelationshipSource& from, const Node* source, std::vector<Link>& links) {
    for (const Relationship& each : from.getRelationships(opc::model::ExcludeMode::None)) {
        const bool isInternal = each.getTargetMode() == opc::model::TargetMode::Internal;
        Link link;
        link.record = {each.getType(), each.getTarget(), each.getID(), isInternal};
        link.source = source;
        follow(each, nodes_, link);
        links.push_back(std::move(link));
    }
}

void Version::digestDeeply() {
    digestUpwards();
    std::vector<Node*> circle;  // parts that lead to each other, and those that lead to them
    for (auto& [name, node] : nodes_) {
        if (node.deep.empty()) {
            circle.push_back(&node);
        }
    }
    digestTogether(circle);
    for (Link& link : links_) {
        const bool hasDigest = link.target != nullptr && link.target != code_;
        describe(link, hasDigest ? link.target->deep : withoutPart(link));
    }
}

/// From the parts without relationships upwards. The code is known as such wherever a relationship leads to it: the
/// pictures that it shows have not changed because the code did.
void Version::digestUpwards() {
    std::map<const Node*, std::vector<std::pair<Node*, Link*>>> users;
    std::map<Node*, std::size_t> open;  // how many of a part's targets have no digest yet
    std::vector<Node*> ready;
    for (auto& [name, node] : nodes_) {
        for (Link& link : node.links) {
            if (link.target == nullptr || link.target == code_) {
                describe(link, withoutPart(link));
            } else {
                users[link.target].emplace_back(&node, &link);
                ++open[&node];
            }
        }
        if (open.count(&node) == 0) {
            ready.push_back(&node);
        }
    }
    while (!ready.empty()) {
        Node* const node = ready.back();
        ready.pop_back();
        node->deep = deepDigest(*node);
        for (const auto& [user, link] : users[node]) {
            describe(*link, node->deep);
            if (--open[user] == 0) {
                ready.push_back(user);
            }
        }
    }
}

std::vector<const Node*> Version::unreached() const {
    std::set<const Node*> seen;
    std::vector<const std::vector<Link>*> sources{&links_};
    while (!sources.empty()) {
        const std::vector<Link>& links = *sources.back();
        sources.pop_back();
        for (const Link& link : links) {
            if (link.target != nullptr && seen.insert(link.target).second) {
                sources.push_back(&link.target->links);
            }
        }
    }
    std::vector<const Node*> unreached;
    for (const auto& [name, node] : nodes_) {
        if (seen.count(&node) == 0) {
            unreached.push_back(&node);
        }
    }
    return unreached;
}

}  // namespace flowbook::kit
