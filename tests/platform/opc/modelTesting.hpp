#pragma once

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/StandardPartInfo.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace opc::model::testing {

using interfaces::OpenMode;
using Items = std::vector<std::pair<std::string, std::string>>;

/// What is between the "|" of a text; a "|" by itself gives one empty piece.
inline std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(in, piece, '|');) {
        pieces.push_back(piece);
    }
    return pieces;
}

inline std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    while (result.size() != text.size() * count) {
        result += text;
    }
    return result;
}

inline std::string textOf(const Items& items, const std::string& name) {
    return std::map<std::string, std::string>(items.begin(), items.end()).at(name);
}

/// A container of named texts that commits into itself and notes how. Whoever opened it must close it.
class FakePhysicalPackage : public interfaces::IPhysicalPackage {
public:
    explicit FakePhysicalPackage(Items items) : content(std::move(items)) {}
    ~FakePhysicalPackage() override { EXPECT_FALSE(isOpen_) << "it was not closed"; }

    void open(OpenMode) override {
        isOpen_ = true;
        index_.clear();
        for (const auto& [name, text] : content) {
            index_.push_back({name, text.size(), text.size() + 1});
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
        for (const auto& [bytes, carried, name, compression] : plan) {
            next.push_back(bytes == nullptr ? content.at(carried)
                                            : std::pair(name, std::string(bytes->begin(), bytes->end())));
            log += (bytes == nullptr ? " =" : " +") + next.back().first;
        }
        content = std::move(next);
    }

    std::u16string backUp(const std::u16string& extension) const override {
        log += " backup";
        return u"fake" + extension;
    }

    void close() noexcept override { isOpen_ = false; }
    const std::string& displayName() const noexcept override { return name_; }
    const Limits& limits() const noexcept override { return limit; }

    Items content;
    mutable std::string log;  ///< of the commits: "+" for what was written, "=" for what was carried over
    Limits limit;
    bool failCommit = false;
    mutable int reads = 0;

private:
    std::string name_ = "fake.tqx";
    std::vector<interfaces::PhysicalItem> index_;
    bool isOpen_ = false;
};

inline void write(Part part, const std::string& text) { part.getOutputStream()->write(text.data(), text.size()); }

inline std::string textOf(InputStream& in) {
    std::ostringstream text;
    StreamHelper::copyStreamToStream(in, text);
    return text.str();
}

inline std::string textOf(const Part& part) { return textOf(*part.getInputStream()); }

struct HasPhysical {
    FakePhysicalPackage physical;
};

/// An open package over a container in memory.
struct TestPackage : HasPhysical, Package {
    explicit TestPackage(Items items, OpenMode mode = OpenMode::Update)
        : HasPhysical{FakePhysicalPackage(std::move(items))}, Package(physical) {
        open(physical.content.empty() ? OpenMode::Create : mode);
    }

    Part part(const std::u16string& name) const { return getPart(PartName(name)); }
    void remove(const std::u16string& name) { deletePart(PartName(name)); }

    Part create(const std::u16string& name, const std::string& text = "new") {
        Part part = createPart(PartName(name), ContentType(u"application/x"),
                               StandardPartInfo(interfaces::CompressionType::Normal, 0));
        write(part, text);
        return part;
    }
};

inline const std::string kTypesStart =
    R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)";

inline std::string typesXml(const std::string& more = "") {
    return kTypesStart +
           R"(<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>)"
           R"(<Default Extension="xml" ContentType="text/xml"/>)" +
           more + "</Types>";
}

inline std::string relationshipsXml(const std::string& inner) {
    return R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)" + inner +
           "</Relationships>";
}

inline std::string relationshipXml(const std::string& id, const std::string& type, const std::string& target) {
    return "<Relationship Id=\"" + id + "\" Type=\"" + type + "\" Target=\"" + target + "\"/>";
}

/// A package with items that hold their own names.
inline Items packageOf(const std::string& types, const std::string& names) {
    Items items = {{"[Content_Types].xml", types}};
    for (const std::string& name : split(names)) {
        items.emplace_back(name, name);
    }
    return items;
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

/// Expects an opc::Exception of a kind whose text holds all the given pieces.
inline void expectFailure(ErrorKind kind, const std::vector<std::string>& pieces, const std::function<void()>& call) {
    try {
        call();
        ADD_FAILURE() << "nothing was thrown, expected: " << pieces.back();
    } catch (const Exception& error) {
        const std::string what = error.what();
        EXPECT_EQ(kind, error.kind()) << what;
        for (const std::string& piece : pieces) {
            EXPECT_NE(std::string::npos, what.find(piece)) << what << "\nlacks: " << piece;
        }
    }
}

/// Inputs, to be split, and what their refusals have in common.
struct Refused {
    std::string reason;
    std::string inputs;
};

inline void expectRefusals(ErrorKind kind, const std::string& place, const std::vector<Refused>& cases,
                           const std::function<void(const std::string&)>& use) {
    for (const Refused& each : cases) {
        for (const std::string& input : split(each.inputs)) {
            SCOPED_TRACE(input.substr(0, 300));
            expectFailure(kind, {place, each.reason}, [&] { use(input); });
        }
    }
}

}  // namespace opc::model::testing
