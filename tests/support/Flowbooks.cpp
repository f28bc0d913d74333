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

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <typeinfo>

namespace support {
namespace {

const std::u16string kBase = u"http://schemas.pellarion.com/tarmic/code/2013/relationships/";

/// The name of a class without namespaces, and without the wrapper that makes it an exception of the framework.
std::string shortClass(const std::type_info& type) {
    const std::unique_ptr<char, void (*)(void*)> owned(abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr),
                                                       std::free);
    std::string name = owned.get();
    const std::string wrapper = "foundation::core::except::detail::AnonymousInternalException<";
    if (name.compare(0, wrapper.size(), wrapper) == 0) {
        name = name.substr(wrapper.size(), name.size() - wrapper.size() - 1);
    }
    return name.substr(name.rfind(':') + 1);
}

void append(std::vector<std::string>& lines, const std::string& source,
            const std::vector<flowbook::FlowbookFilePackage::Relationship>& relationships) {
    for (const auto& r : relationships) {
        const std::string target = r.isInternal ? text(r.target) : "<" + text(r.target) + ">";
        lines.push_back(source + " " + text(r.id) + " " + shortType(r.type) + " " + target);
    }
}

std::string partLine(const std::u16string& name, const std::u16string& type, const Bytes& content) {
    return text(name) + " " + text(type) + " " + text(content);
}

bool isOfProperties(const std::string& text) {
    return text.find("properties") != std::string::npos || text.find("Props") != std::string::npos;
}

void append(std::vector<std::string>& lines, const std::string& source,
            const opc::model::RelationshipSource& relationships) {
    std::vector<flowbook::FlowbookFilePackage::Relationship> records;
    for (const auto& r : relationships.getRelationships(opc::model::ExcludeMode::None)) {
        if (!isOfProperties(text(r.getType()))) {
            records.push_back(
                {r.getType(), r.getTarget(), r.getID(), r.getTargetMode() == opc::model::TargetMode::Internal});
        }
    }
    append(lines, source, records);
}

}  // namespace

Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }
std::string text(const Bytes& content) { return {content.begin(), content.end()}; }
std::string text(const std::u16string& utf16) { return fl::i18n::to_string(utf16); }

std::filesystem::path fixturePath(const std::string& name) {
    return std::filesystem::path(PXFLOWBOOK_FIXTURES) / (name + ".tqx");
}

Bytes fixture(const std::string& name) {
    std::ifstream in(fixturePath(name), std::ios::binary);
    if (!in) {
        throw std::runtime_error("there is no fixture " + name);
    }
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string shortType(const std::u16string& type) {
    return text(type.compare(0, kBase.size(), kBase) == 0 ? type.substr(kBase.size()) : type);
}

std::u16string longType(const std::u16string& shortName) { return kBase + shortName; }

std::pair<int, std::string> run(const std::string& command) {
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 4096> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
        output.append(block.data(), count);
    }
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::vector<std::string> Book::inventory() const {
    opc::zippackage::ZipPhysicalPackage zip(kName, opc::FileSystemOpsSelector(reference_), true);
    opc::model::Package package(zip);
    package.open(opc::interfaces::OpenMode::ReadOnly);
    std::vector<std::string> lines;
    for (const opc::model::Part& part : package.getParts()) {
        if (!isOfProperties(text(part.getContentType().toString()))) {
            Bytes content;
            opc::ByteArrayOutAdaptor out(content);
            opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
            lines.push_back(partLine(part.getName().toString(), part.getContentType().toString(), content));
            append(lines, text(part.getName().toString()), part);
        }
    }
    append(lines, "/", package);
    return lines;
}

std::vector<std::string> listing(const flowbook::FlowbookFilePackage& snapshot) {
    std::vector<std::string> lines;
    for (const auto& part : snapshot.getParts()) {
        lines.push_back(partLine(part.partName, part.contentType, part.content));
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
    if (!wanted.empty() && wanted.back() == '*') {
        return found.size() >= wanted.size() && found.compare(0, wanted.size() - 1, wanted, 0, wanted.size() - 1) == 0;
    }
    return wanted == found;
}

bool allMatch(const std::vector<std::string>& wanted, const std::vector<std::string>& found) {
    return std::equal(wanted.begin(), wanted.end(), found.begin(), found.end(), matches);
}

}  // namespace support
