#pragma once

#include "fl/i18n/Conversion.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "platform/opc/OpcTesting.hpp"

#include <functional>
#include <map>
#include <sstream>
#include <utility>

namespace opc::tests {

using interfaces::OpenMode;
using Entries = std::vector<std::pair<std::string, std::string>>;

/// What is between the "|" of a text; a "|" by itself gives one empty piece.
inline std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(in, piece, '|');) {
        pieces.push_back(piece);
    }
    return pieces;
}

inline std::string textOf(const Entries& entries, const std::string& name) {
    return std::map(entries.begin(), entries.end()).at(name);
}

/// A container of named texts that commits into itself and notes how. Whoever opened it must close it.
struct FakePhysicalPackage : interfaces::IPhysicalPackage {
    explicit FakePhysicalPackage(Entries entries) : content(std::move(entries)) {}
    ~FakePhysicalPackage() override { EXPECT_FALSE(isOpen) << "it was not closed"; }

    void open(OpenMode) override {
        isOpen = true;
        index.clear();
        for (const auto& [entryName, text] : content) {
            index.push_back({entryName, text.size(), text.size() + 1});
        }
    }
    fl::Bytes read(std::size_t position) const override {
        ++reads;
        return toBytes(content.at(position).second);
    }
    void commit(const std::vector<interfaces::PlannedEntry>& plan) override {
        if (failCommit) {
            throw Exception(ErrorKind::InputOutput, "disk full");
        }
        Entries next;
        for (const interfaces::PlannedEntry& entry : plan) {
            next.push_back(entry.content == nullptr ? content.at(entry.carried)
                                                    : std::pair(entry.name, toText(*entry.content)));
            log += (entry.content == nullptr ? " =" : " +") + next.back().first;
        }
        content = std::move(next);
    }
    void close() noexcept override { isOpen = false; }
    const std::vector<interfaces::PhysicalEntry>& entries() const override { return index; }
    const std::string& displayName() const noexcept override { return name; }
    const Limits& limits() const noexcept override { return limit; }

    Entries content;
    mutable std::string log;  ///< of the commits: "+" for what was written, "=" for what was carried over
    Limits limit;
    bool failCommit = false, isOpen = false;
    mutable int reads = 0;
    std::string name = "fake.tqx";
    std::vector<interfaces::PhysicalEntry> index;
};

inline void write(model::Part part, const std::string& text) {
    part.getOutputStream()->write(text.data(), text.size());
}

inline std::string textOf(InputStream& in) {
    std::ostringstream text;
    StreamHelper::copyStreamToStream(in, text);
    return text.str();
}

inline std::string textOf(const model::Part& part) { return textOf(*part.getInputStream()); }

struct HasPhysical {
    FakePhysicalPackage physical;
};

/// An open package over a container in memory.
struct TestPackage : HasPhysical, model::Package {
    explicit TestPackage(Entries entries, OpenMode mode = OpenMode::Update)
        : HasPhysical{FakePhysicalPackage(std::move(entries))}, Package(physical) {
        open(physical.content.empty() ? OpenMode::Create : mode);
    }

    model::Part part(const std::u16string& name) const { return getPart(model::PartName(name)); }
    void remove(const std::u16string& name) { deletePart(model::PartName(name)); }

    model::Part create(const std::u16string& name, const std::u16string& type = u"application/x") {
        const model::StandardPartInfo info(interfaces::CompressionType::Normal, 0);
        model::Part part = createPart(model::PartName(name), model::ContentType(type), info);
        write(part, "new");
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

/// A package with entries that hold their own names.
inline Entries packageOf(const std::string& types, const std::string& names) {
    Entries entries = {{"[Content_Types].xml", types}};
    for (const std::string& name : split(names)) {
        entries.emplace_back(name, name);
    }
    return entries;
}

/// A package of two parts, the first of which the package leads to.
inline Entries smallPackage() {
    return {{"b.xml", "B"},
            {"docs/a.xml", "A"},
            {"[Content_Types].xml", typesXml()},
            {"_rels/.rels", relationshipsXml(relationshipXml("rId1", "t:doc", "docs/a.xml"))},
            {"docs/_rels/a.xml.rels", relationshipsXml(relationshipXml("x1", "t:b", "../b.xml"))},
            {"stray", "no type"}};
}

/// Each case is a reason of refusals and the inputs, to be split, that are refused for it.
inline void expectRefusals(ErrorKind kind, const std::string& place,
                           const std::vector<std::pair<std::string, std::string>>& cases,
                           const std::function<void(const std::string&)>& use) {
    for (const auto& [reason, inputs] : cases) {
        for (const std::string& input : split(inputs)) {
            SCOPED_TRACE(input.substr(0, 300));
            expectFailure(kind, {place, reason}, [&] { use(input); });
        }
    }
}

}  // namespace opc::tests
