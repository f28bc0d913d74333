// Saves of several processes in one folder, some of which are killed, beside two programs that know of no lock, one of
// which replaces the file, and one of which rewrites it in place: races FOLDER WRITERS SECONDS EXCHANGES. Each save
// adds a line to the code. What was told to be saved has to be in the last version, or in one that lies beside it; what
// is rewritten in place may be lost, but takes nothing else with it. EXCHANGES: whether the file system can exchange
// names; else no other program replaces the file, as its changes could be lost.
#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace foundation::storage::vfs;
using Clock = std::chrono::steady_clock;
using Lines = std::set<std::string>;

std::u16string wide(const std::string& text) { return fl::i18n::to_ustring(text); }

Lines linesOf(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        lines.insert(line);
    }
    return lines;
}

Lines linesOf(const flowbook::FlowbookFileReader& reader) {
    return linesOf(fl::i18n::to_string(reader.getTARMICCode()));
}

/// A file system in user space may for a moment have no file under a name that is being replaced. What is being
/// rewritten in place is no container for a moment, or ends before its size.
bool isConflict(const std::exception& failure) {
    using flowbook::FlowbookErrorKind;
    const FlowbookErrorKind known[] = {FlowbookErrorKind::Conflict, FlowbookErrorKind::NotFound,
                                       FlowbookErrorKind::Damaged};
    return std::count(std::begin(known), std::end(known), flowbook::kindOf(failure)) != 0 ||
           std::strstr(failure.what(), "ends before") != nullptr;
}

Lines read(const fs::path& file) { return linesOf(flowbook::FlowbookFileReader(wide(file))); }

/// One version of a file, for a reader and a writer: by its name they might open two.
class OneVersion : public LocalStorage {
public:
    explicit OneVersion(const std::u16string& file) : version_(LocalStorage::openForReading(file)) {}

    std::unique_ptr<ReadableFile> openForReading(const std::u16string&) const override {
        struct Shared : ReadableFile {
            explicit Shared(const ReadableFile& file) : file_(file) {}
            std::uint64_t size() const override { return file_.size(); }
            void read(std::uint64_t at, void* to, std::size_t count) const override { file_.read(at, to, count); }
            const ReadableFile& file_;
        };
        return std::make_unique<Shared>(*version_);
    }
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile*) override {
        return LocalStorage::beginReplacement(name, version_.get());
    }

private:
    std::unique_ptr<ReadableFile> version_;
};

void setLines(flowbook::FlowbookFileWriter& writer, const Lines& lines) {
    std::string code;
    for (const std::string& line : lines) {
        code += line + '\n';
    }
    writer.setTARMICCode(wide(code));
    writer.close(false);
}

void write(const fs::path& file, const Lines& lines) {
    flowbook::FlowbookFileWriter writer(wide(file), {});
    setLines(writer, lines);
}

/// What a line of the record begins with that tells of a save that was neither done nor a conflict.
const std::string kFailed = "failed: ";

/// What is told to have been saved, in a file elsewhere that all append to.
class Record {
public:
    explicit Record(const fs::path& path)
        : path_(path), file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600)) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() { ::unlink(path_.c_str()); }

    const fs::path& path() const { return path_; }
    void add(const std::string& line) const { ::dprintf(file_, "%s\n", line.c_str()); }
    Lines lines() const {
        std::ifstream stream(path_);
        return linesOf({std::istreambuf_iterator<char>(stream), {}});
    }

private:
    fs::path path_;
    int file_;
};

[[noreturn]] void save(const fs::path& file, const Record& record) {
    for (unsigned number = 0;; ++number) {
        const std::string line = "s" + std::to_string(::getpid()) + "-" + std::to_string(number);
        try {
            const StorageSystemReference storage(std::make_shared<OneVersion>(wide(file)));
            flowbook::FlowbookFileWriter writer(wide(file), storage, {});
            Lines lines = linesOf(flowbook::FlowbookFileReader(wide(file), storage));
            lines.insert(line);
            setLines(writer, lines);
            record.add(line);
        } catch (const std::exception& failure) {
            if (!isConflict(failure)) {
                record.add(kFailed + failure.what());
            }
        }
    }
}

volatile std::sig_atomic_t isToEnd = 0;

/// Reads although the file is being replaced meanwhile. What the caller has displaced is in its memory alone. A file
/// system in user space may remember for a second that the file was shorter under its other name.
Lines readPatiently(const fs::path& file) {
    for (const auto last = Clock::now() + std::chrono::seconds(60);; ::usleep(100)) {
        try {
            return read(file);
        } catch (const std::exception& failure) {
            if (!isConflict(failure) || Clock::now() > last) {
                throw;
            }
        }
    }
}

/// Replaces the file by versions of its own; what it displaces by that and had not seen, it brings back.
[[noreturn]] void replace(const fs::path& file, const Record& record) {
    std::signal(SIGTERM, [](int) { isToEnd = 1; });
    const fs::path own = file.parent_path() / "other.tqx";
    for (unsigned number = 0; isToEnd == 0; ++number) {
        Lines lines{"o" + std::to_string(number)};
        for (bool isKnown = false; !isKnown;) {
            lines.merge(readPatiently(file));
            const std::size_t known = lines.size();
            fs::remove(own);
            write(own, lines);
            isKnown = ::renameat2(AT_FDCWD, own.c_str(), AT_FDCWD, file.c_str(), RENAME_EXCHANGE) == 0;
            lines.merge(readPatiently(own));
            isKnown = isKnown && lines.size() == known;
        }
        record.add("o" + std::to_string(number));
        ::usleep(3000);
    }
    std::_Exit(0);
}

/// Rewrites the file in place, through another name of it, with one more line than it has.
[[noreturn]] void rewrite(const fs::path& file, const Record& record) {
    std::signal(SIGTERM, [](int) { isToEnd = 1; });
    const fs::path same = file.parent_path() / "same.tqx", own = record.path().string() + ".tqx";
    for (unsigned number = 0; isToEnd == 0; ++number) {
        ::usleep(5000);
        if (::link(file.c_str(), same.c_str()) == -1) {
            continue;  // as on a file system without links, or while the name leads nowhere
        }
        Lines lines = readPatiently(same);
        lines.insert("r" + std::to_string(number));
        write(own, lines);
        fs::copy_file(own, same, fs::copy_options::overwrite_existing);
        fs::remove(same);
    }
    fs::remove(own);
    std::_Exit(0);
}

template <class Work>
pid_t start(Work work) {
    const pid_t process = ::fork();
    if (process == 0) {
        try {
            work();
        } catch (const std::exception& failure) {
            std::cerr << "a process ends: " << failure.what() << '\n';
        }
        std::_Exit(1);
    }
    return process;
}

void end(pid_t process) {
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
}

}  // namespace

int main(int, char** arguments) {
    const fs::path folder = arguments[1], file = folder / "race.tqx";
    const Record record(fs::temp_directory_path() / ("races-" + std::to_string(::getpid())));
    write(file, {"start"});
    std::vector<pid_t> writers(std::stoul(arguments[2]));
    for (pid_t& writer : writers) {
        writer = start([&] { save(file, record); });
    }
    std::vector<pid_t> others{start([&] { rewrite(file, record); })};
    if (std::stoi(arguments[4]) != 0) {
        others.push_back(start([&] { replace(file, record); }));
    }
    std::mt19937 random(1);
    std::size_t kills = 0;
    for (const auto last = Clock::now() + std::chrono::seconds(std::stoi(arguments[3])); Clock::now() < last; ++kills) {
        ::usleep(static_cast<useconds_t>(20'000 + random() % 30'000));
        pid_t& killed = writers[random() % writers.size()];
        end(killed);
        killed = start([&] { save(file, record); });
    }
    while (record.lines().size() < 2) {  // a machine may be so busy that no save was done between two kills
        ::usleep(20'000);
    }
    for (const pid_t writer : writers) {
        end(writer);
    }
    int failedOthers = 0;
    for (const pid_t other : others) {
        int ended = 0;
        ::kill(other, SIGTERM);
        ::waitpid(other, &ended, 0);
        failedOthers += ended != 0 ? 1 : 0;
    }
    Lines found = readPatiently(file);
    std::size_t beside = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path() != file && entry.is_regular_file()) {
            fs::rename(entry.path(), folder / "beside.tqx");
            try {
                found.merge(read(folder / "beside.tqx"));
            } catch (const std::exception&) {
            }
            ++beside;
        }
    }
    std::size_t lost = 0, failed = 0;
    for (const std::string& line : record.lines()) {
        const bool isFailure = line.rfind(kFailed, 0) == 0;
        failed += isFailure ? 1 : 0;
        lost += isFailure || found.count(line) != 0 ? 0 : 1;
        if (isFailure || found.count(line) == 0) {
            std::cerr << (isFailure ? "" : "lost: ") << line << '\n';
        }
    }
    std::cout << record.lines().size() << " saves, " << kills << " kills, " << beside << " beside, " << failed
              << " failed, " << lost << " lost\n";
    return lost == 0 && failed == 0 && failedOthers == 0 && record.lines().size() > 1 ? 0 : 1;
}
