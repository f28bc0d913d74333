#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

namespace flowbook {
namespace {

using support::run;

/// Has the packages checked by programs other than the library.
void expectAccepted(const std::string& check) {
    const auto [code, output] = run("/usr/bin/python3 " PXFLOWBOOK_TEST_SUPPORT "/check_package.py " + check);
    EXPECT_EQ(code, 0) << check << "\n" << output;
}

TEST(Interop, OtherProgramsOpenWhatWasWritten) {
    const support::TempDir folder;
    FlowbookFileWriter writer(folder.name("new.tqx"), {});
    support::Bytes content = support::bytes("<doc/>");
    std::vector<std::string> images = {"data:image/png;base64,AAAA", "data:image/png;base64,BBBB"};
    writer.write(FlowbookFilePackage(content, images));
    writer.setTitle(u"T <\u00E4>");
    writer.setDescription(u"two\nlines");
    writer.setVersion(u"1");
    writer.close(false);
    expectAccepted("written " + folder.path("new.tqx").string() + " 'T <\u00E4>' 5");
}

TEST(Interop, UpdatingKeepsThePartsOfOtherPrograms) {
    for (const std::string name : {"docx", "streamed", "zip64", "info_zip"}) {
        const support::TempDir folder;
        folder.put("book.tqx", support::text(support::fixture(name)));
        FlowbookFileWriter writer(folder.name("book.tqx"), {});
        writer.setTARMICCode(u"new code");
        writer.setTitle(u"T");
        writer.close(false);
        expectAccepted("updated " + folder.path("book.tqx").string() + " T " + support::fixturePath(name).string());
    }
}

const char* const kVictim = "PXFLOWBOOK_TEST_VICTIM";

void readEverything(const std::string& file) {
    const std::u16string name = std::filesystem::path(file).u16string();
    const FlowbookFileReader reader(name);
    support::outcome([&] { return support::text(reader.getTARMICCode()); }, name);
    support::outcome([&] { return support::text(reader.getTitle()); }, name);
    support::outcome([&] { return reader.read(), ""; }, name);
}

/// The files that a process opens while it reads a fixture, with every attempt at the network.
std::set<std::string> tracedOpening(const std::string& fixtureName) {
    const support::TempDir folder;
    const std::string victim = support::fixturePath(fixtureName);
    run("ASAN_OPTIONS=detect_leaks=0 " + std::string(kVictim) + "=" + victim + " strace -f -qq -o " +
        folder.path("trace").string() + " -e trace=open,openat,openat2,creat,socket,connect,execve " +
        std::filesystem::read_symlink("/proc/self/exe").string() +
        " --gtest_filter=Interop.ReadingOpensNothingOutsideThePackage");
    std::set<std::string> lines;
    std::ifstream trace(folder.path("trace"));
    bool reached = false;
    for (std::string line; std::getline(trace, line);) {
        const bool isVictim = line.find(victim) != std::string::npos;
        reached = reached || isVictim;
        if (reached && !isVictim && line.find("/proc/") == std::string::npos) {
            lines.insert(line.substr(line.find(' ')));
        }
    }
    EXPECT_TRUE(reached) << "the trace does not show " << victim << " being opened";
    return lines;
}

/// Runs itself under strace, to read the file that the environment names then.
TEST(Interop, ReadingOpensNothingOutsideThePackage) {
    if (const char* const victim = std::getenv(kVictim)) {
        readEverything(victim);
        return;
    }
    if (run("strace -o /dev/null true").first != 0) {
        GTEST_SKIP() << "processes may not be traced here";
    }
    const std::set<std::string> harmless = tracedOpening("one_paragraph");
    for (const char* name : {"xxe", "xxe_dtd", "xxe_include", "document_rels_xxe", "external_image", "core_dtd"}) {
        EXPECT_EQ(tracedOpening(name), harmless) << name;
    }
}

}  // namespace
}  // namespace flowbook
