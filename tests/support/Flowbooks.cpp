#include "support/Flowbooks.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/core/except/IInternalException.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/Exception.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/Package.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "support/TempDir.hpp"

#include <algorithm>
#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>
#include <typeinfo>

namespace support {
namespace {

using flowbook::FlowbookFilePackage;
using Relationships = std::vector<FlowbookFilePackage::Relationship>;

const std::u16string kBase = u"http://schemas.pellarion.com/tarmic/code/2013/relationships/";

/// The name of a class without namespaces, and without the wrapper that makes it an exception of the framework.
std::string shortClass(const std::type_info& type) {
    const std::string name = boost::core::demangle(type.name());
    const std::size_t start = name.rfind(':') + 1;
    return name.substr(start, name.find('>', start) - start);
}

bool isOfProperties(const std::u16string& text) {
    return text.find(u"properties") != std::u16string::npos || text.find(u"Props") != std::u16string::npos;
}

Relationships relationshipsOf(const opc::model::RelationshipSource& source) {
    Relationships records;
    for (const auto& r : source.getRelationships(opc::model::ExcludeMode::None)) {
        if (!isOfProperties(r.getType())) {
            const bool isInternal = r.getTargetMode() == opc::model::TargetMode::Internal;
            records.push_back({r.getType(), r.getTarget(), r.getID(), isInternal});
        }
    }
    return records;
}

void append(Lines& lines, const std::string& source, const Relationships& relationships) {
    for (const auto& r : relationships) {
        const std::string target = r.isInternal ? text(r.target) : "<" + text(r.target) + ">";
        lines.push_back(source + " " + text(r.id) + " " + shortType(r.type) + " " + target);
    }
}

}  // namespace

Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }
std::string text(const Bytes& content) { return {content.begin(), content.end()}; }
std::string text(const std::u16string& utf16) { return fl::i18n::to_string(utf16); }

Bytes fixture(const std::string& name) { return bytes(readFile(PXFLOWBOOK_FIXTURES "/" + name + ".tqx")); }

std::string shortType(const std::u16string& type) {
    return text(type.compare(0, kBase.size(), kBase) == 0 ? type.substr(kBase.size()) : type);
}

std::u16string longType(const std::u16string& shortName) { return kBase + shortName; }

void Book::update(const std::function<void(flowbook::FlowbookFileWriter&)>& work) const {
    flowbook::FlowbookFileWriter committed = writer();
    work(committed);
    committed.close(false);
}

Lines Book::inventory() const {
    opc::zippackage::ZipPhysicalPackage zip(kName, opc::FileSystemOpsSelector(reference_), true);
    opc::model::Package package(zip);
    package.open(opc::interfaces::OpenMode::ReadOnly);
    std::vector<FlowbookFilePackage::Part> parts;
    for (const opc::model::Part& part : package.getParts()) {
        const std::u16string type = part.getContentType().toString();
        if (!isOfProperties(type)) {
            Bytes content;
            opc::ByteArrayOutAdaptor out(content);
            opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
            parts.push_back({content, type, part.getName().toString(), relationshipsOf(part)});
        }
    }
    Relationships relationships = relationshipsOf(package);
    return listing({parts, relationships});
}

Lines listing(const FlowbookFilePackage& snapshot) {
    Lines lines;
    for (const auto& part : snapshot.getParts()) {
        lines.push_back(text(part.partName) + " " + text(part.contentType) + " " + text(part.content));
        append(lines, text(part.partName), part.relationships);
    }
    append(lines, "/", snapshot.getRelationships());
    return lines;
}

std::string describe(const std::exception& failure, const std::u16string& fileName) {
    std::string message = shortClass(typeid(failure)) + ": " + failure.what();
    if (const auto* own = dynamic_cast<const flowbook::FlowbookExceptionBase*>(&failure)) {
        EXPECT_EQ(own->getFileName(), fileName);
        const auto* internal = dynamic_cast<const foundation::core::except::IInternalException*>(&failure);
        EXPECT_STREQ(internal == nullptr ? "not of the framework" : internal->what(), own->what());
        const auto* property = dynamic_cast<const flowbook::FlowbookPropertyNotFound*>(&failure);
        message += property == nullptr ? "" : property->getPropertyName();
    } else if (dynamic_cast<const opc::Exception*>(&failure) != nullptr) {
        message.insert(0, "opc::");
    }
    return message;
}

bool matches(const std::string& wanted, const std::string& found) {
    const bool isStart = !wanted.empty() && wanted.back() == '*';
    return isStart ? found.rfind(wanted.substr(0, wanted.size() - 1), 0) == 0 : found == wanted;
}

bool allMatch(const Lines& wanted, const Lines& found) {
    return std::equal(wanted.begin(), wanted.end(), found.begin(), found.end(), matches);
}

}  // namespace support
