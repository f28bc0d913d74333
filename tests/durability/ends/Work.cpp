#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"

#include <stdexcept>
#include <string>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void saveAndRead(const std::u16string& file) {
    const flowbook::FlowbookFilePackage old = flowbook::FlowbookFileReader(u"odd.tqx").read();
    flowbook::FlowbookFileWriter writer(file, {});
    writer.write(old);
    writer.setTARMICCode(u"x = 1;\u200B" + std::u16string(5000, u'x'));
    writer.setTitle(u"Title");
    writer.close(false);
    const flowbook::FlowbookFileReader reader(file);
    require(reader.getTARMICCode().substr(0, 7) == u"x = 1;\uFFFD", "the code is another one");
    require(reader.getTitle() == u"Title", "the title is another one");
    flowbook::FlowbookFileWriter again(file, {});
    again.setVersion(u"2");
    again.close(false);
    require(flowbook::FlowbookFileReader(file).getVersion() == u"2", "the version is another one");
}

/// By the rarer ways: a tree of the XML library, Unicode's tables, a failure.
void tryTheRest() {
    using flowbook::FlowbookFileUtils;
    require(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(u"<\u00E4/>").empty(), "there is code");
    try {
        flowbook::FlowbookFileWriter(u"no such folder/\u00C4.TQX", {}).close(false);
        throw std::runtime_error("a save into no folder succeeded");
    } catch (const flowbook::FlowbookFileWriterGenericException& failure) {
        require(std::string(failure.what()).find("No such file") != std::string::npos, "the reason is another one");
    }
    try {
        const flowbook::FlowbookFileReader none(u"none.\u212A");
        throw std::runtime_error("a file of another kind was opened");
    } catch (const flowbook::FlowbookInvalidFileName& failure) {
        require(failure.getFileName() == u"none.\u212A", "the name is another one");
    }
}

/// A host that uses the XML library too pairs its calls; that must not end the library for us.
struct XmlLibrary {
    XmlLibrary() { xercesc::XMLPlatformUtils::Initialize(); }
    ~XmlLibrary() { xercesc::XMLPlatformUtils::Terminate(); }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const char* work(const char* moment) try {
    const XmlLibrary own;
    saveAndRead(std::u16string(moment, moment + std::char_traits<char>::length(moment)) + u".tqx");
    tryTheRest();
    return nullptr;
} catch (const std::exception& failure) {
    static std::string& reason = *new std::string();
    return (reason = failure.what()).c_str();
}
