#pragma once

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "opc/model/StandardPartInfo.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace opc::model::testing {

using Items = std::vector<std::pair<std::string, std::string>>;

/// A container of named texts that commits into itself and notes how.
class FakePhysicalPackage : public interfaces::IPhysicalPackage {
public:
    explicit FakePhysicalPackage(Items items = {}) : content(std::move(items)) {}

    void open(interfaces::OpenMode mode) override {
        if (mode != interfaces::OpenMode::Create && content.empty()) {
            throw PackageNotFound("no file");
        }
        isOpen = true;
        index_.clear();
        for (const auto& [name, text] : content) {
            index_.push_back({name, text.size(), text.size()});
        }
    }

    const std::vector<interfaces::PhysicalItem>& items() const override { return index_; }

    Bytes read(std::size_t item) const override {
        ++reads;
        return {content.at(item).second.begin(), content.at(item).second.end()};
    }

    void commit(const std::vector<interfaces::PlannedItem>& plan) override {
        if (failCommit) {
            throw Exception(ErrorKind::InputOutput, "disk full");
        }
        Items next;
        for (const auto& item : plan) {
            next.push_back(item.content == nullptr
                               ? content.at(item.carried)
                               : std::pair(item.name, std::string(item.content->begin(), item.content->end())));
            log.push_back((item.content == nullptr ? "=" : "+") + next.back().first);
        }
        content = std::move(next);
        ++commits;
    }

    std::u16string backUp(const std::u16string& extension) const override {
        ++backups;
        return u"fake" + extension;
    }

    void close() noexcept override { isOpen = false; }
    const std::string& displayName() const noexcept override { return name_; }
    const Limits& limits() const noexcept override { return limit; }

    std::string text(const std::string& name) const {
        for (const auto& [each, text] : content) {
            if (each == name) {
                return text;
            }
        }
        return "no item " + name;
    }

    Items content;
    std::vector<std::string> log;  ///< of the last commits: "+" for what was written, "=" for what was carried over
    Limits limit;
    bool failCommit = false;
    bool isOpen = false;
    int commits = 0;
    mutable int reads = 0;
    mutable int backups = 0;

private:
    std::string name_ = "fake.tqx";
    std::vector<interfaces::PhysicalItem> index_;
};

inline const std::string kTypesStart =
    R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)";
inline const std::string kRelationshipsType = "application/vnd.openxmlformats-package.relationships+xml";

inline std::string typesXml(const std::string& more = "") {
    return kTypesStart + "<Default Extension=\"rels\" ContentType=\"" + kRelationshipsType +
           "\"/><Default Extension=\"xml\" ContentType=\"text/xml\"/>" + more + "</Types>";
}

inline std::string relationshipsXml(const std::string& inner) {
    return R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)" + inner +
           "</Relationships>";
}

inline std::string relationshipXml(const std::string& id, const std::string& type, const std::string& target) {
    return "<Relationship Id=\"" + id + "\" Type=\"" + type + "\" Target=\"" + target + "\"/>";
}

/// A package of two parts, the first of which the package leads to.
inline Items smallPackage() {
    return {{"b.xml", "B"},
            {"docs/a.xml", "A"},
            {"[Content_Types].xml", typesXml()},
            {"_rels/.rels", relationshipsXml(relationshipXml("rId1", "t:doc", "docs/a.xml"))},
            {"docs/_rels/a.xml.rels", relationshipsXml(relationshipXml("x1", "t:b", "../b.xml"))},
            {"stray", "no type"}};
}

inline PartName partName(const std::string& ascii) { return PartName(std::u16string(ascii.begin(), ascii.end())); }

inline std::string contentOf(const Part& part) {
    const auto in = part.getInputStream();
    std::string text(64 * 1024, '\0');
    text.resize(in->read(text.data(), text.size()));
    return text;
}

inline void write(Part part, const std::string& text) { part.getOutputStream()->write(text.data(), text.size()); }

inline Part create(Package& package, const std::string& name, const std::string& text = "new") {
    Part part = package.createPart(partName(name), ContentType(u"application/x"),
                                   StandardPartInfo(interfaces::CompressionType::Normal, 0));
    write(part, text);
    return part;
}

/// The kind and the text of the opc::Exception that `call` throws; nothing when it throws none.
inline std::optional<std::pair<ErrorKind, std::string>> failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Exception& error) {
        return std::pair(error.kind(), std::string(error.what()));
    }
    return std::nullopt;
}

/// Expects an opc::Exception of a kind whose text holds all the given pieces.
inline void expectFailure(ErrorKind kind, const std::vector<std::string>& pieces, const std::function<void()>& call) {
    const auto failure = failureOf(call);
    ASSERT_TRUE(failure) << "nothing was thrown, expected: " << pieces.front();
    EXPECT_EQ(kind, failure->first) << failure->second;
    for (const std::string& piece : pieces) {
        EXPECT_NE(std::string::npos, failure->second.find(piece)) << failure->second << "\nlacks: " << piece;
    }
}

}  // namespace opc::model::testing
