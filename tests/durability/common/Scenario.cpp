#include "durability/common/Scenario.hpp"

#include "flowbook/FlowbookExceptions.hpp"
#include "opc/Exception.hpp"
#include "support/Flowbooks.hpp"

#include <boost/algorithm/string/join.hpp>
#include <cstring>
#include <random>
#include <stdexcept>

namespace durability {

using namespace flowbook;
using foundation::storage::vfs::StorageSystemReference;
using support::Book;

namespace {

constexpr std::size_t kSmall = 40, kLarge = 600'000;  // the latter enough to be carried over within the kernel

/// A snapshot with an image of about that size, which no compression makes much smaller.
FlowbookFilePackage snapshotWithImage(std::size_t imageSize) {
    std::mt19937 random(42);
    std::vector<std::string> images{"data:image/png;base64,"};
    while (images[0].size() < imageSize) {
        images[0] += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[random() % 64];
    }
    auto document = FlowbookFilePackage::createEmptyDocumentPart().content;
    return {document, images};
}

Content fileWithImage(std::size_t imageSize) {
    const Book book;
    book.update([=](FlowbookFileWriter& writer) {
        writer.write(snapshotWithImage(imageSize));
        writer.setTitle(u"Old title");
        writer.setDescription(u"Old description");
    });
    return book.get();
}

void setProperties(FlowbookFileWriter& writer) {
    writer.setTitle(u"New title");
    writer.setDescription(u"New description");
}

void setCode(FlowbookFileWriter& writer) { writer.setTARMICCode(u"x = 1\nprint(x)"); }

void setAll(FlowbookFileWriter& writer) {
    setCode(writer);
    setProperties(writer);
}

void writeSnapshot(FlowbookFileWriter& writer) {
    static const FlowbookFilePackage kSnapshot = snapshotWithImage(2 * kSmall);
    writer.write(kSnapshot);
    setProperties(writer);
}

}  // namespace

const std::vector<Scenario>& scenarios() {
    static const Content kFile = fileWithImage(kSmall);
    static const std::vector<Scenario> kScenarios{{"Create", std::nullopt, setAll},
                                                  {"CreateFromSnapshot", std::nullopt, writeSnapshot},
                                                  {"UpdateCode", kFile, setCode},
                                                  {"UpdateProperties", kFile, setProperties},
                                                  {"ChangeNothing", kFile, [](FlowbookFileWriter&) {}},
                                                  {"WriteSnapshot", kFile, writeSnapshot},
                                                  {"UpdateLargeFile", fileWithImage(kLarge), setProperties}};
    return kScenarios;
}

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
    static const char* const kNames[] = {"saved", "not confirmed", "failed", "out of memory", "undocumented"};
    return out << kNames[static_cast<int>(outcome)];
}

std::ostream& operator<<(std::ostream& out, const Scenario& scenario) { return out << scenario.name; }

Outcome Scenario::save(const StorageSystemReference& storage, const std::u16string& file) const {
    enum { Opening, Editing, Closing } doing = Opening;
    const auto failed = [&](int documented) { return doing == documented ? Outcome::Failed : Outcome::Undocumented; };
    try {
        FlowbookFileWriter writer(file, storage, {});
        doing = Editing;
        edit(writer);
        doing = Closing;
        writer.close(false);
        return Outcome::Saved;
    } catch (const std::bad_alloc&) {
        return Outcome::OutOfMemory;
    } catch (const FlowbookFileReaderGenericException&) {
        return failed(Opening);
    } catch (const opc::Exception&) {
        return failed(Editing);
    } catch (const FlowbookFileWriterGenericException& error) {
        // The message is where the writer promises to tell that it did replace the file.
        return std::strstr(error.what(), "folder entry durable") ? Outcome::NotConfirmed : failed(Closing);
    } catch (...) {
        return Outcome::Undocumented;
    }
}

std::string tell(const StorageSystemReference& storage, const std::u16string& file) {
    const FlowbookFileReader reader(file, storage);
    auto lines = support::listing(reader.read());
    for (const auto& text : {reader.getTARMICCode(), reader.getTitle(), reader.getDescription()}) {
        lines.push_back(support::text(text));
    }
    return boost::algorithm::join(lines, "\n");
}

Oracle::Oracle(const Scenario& scenario) : old_(scenario.old) {
    const Book book = old_ ? Book(*old_) : Book();
    if (scenario.save(book.storage(), book.kName) != Outcome::Saved) {
        throw std::runtime_error("the undisturbed save fails");
    }
    new_ = tell(book.storage(), book.kName);
}

bool Oracle::isNew(const Content& content) const {
    return content && support::outcome([&] { return tell(Book(*content).storage(), Book::kName); }) == new_;
}

bool Oracle::accepts(Outcome outcome, const Content& content) const {
    const bool maybeOld = outcome == Outcome::Failed || outcome == Outcome::OutOfMemory;
    const bool maybeNew = outcome == Outcome::OutOfMemory || outcome <= Outcome::NotConfirmed;
    return (maybeOld && isOld(content)) || (maybeNew && isNew(content));
}

}  // namespace durability
