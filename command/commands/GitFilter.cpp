// A long-running filter of git (gitattributes(5)): one process serves all files of a checkout or commit, as starting
// one for each would take longer than its work. What is no flowbook, or damaged, is passed on byte for byte: a filter
// that fails would keep users from committing it.
#include "commands/GitFilter.hpp"

#include "commands/DelayedFiles.hpp"
#include "io/Input.hpp"
#include "kit/package/GitForm.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <map>
#include <new>
#include <optional>
#include <system_error>
#include <unistd.h>

namespace flowbook::tool {

namespace {

constexpr std::size_t kHeader = 4;        // hexadecimal digits of a packet's length, themselves included
constexpr std::size_t kMostData = 65516;  // that git takes in one packet

/// Packets as git exchanges them (gitprotocol-common(5)): data, or a flush packet that ends a list.
class Packets {
public:
    /// The next packet's data; nothing for a flush packet. @throws Failure; HangUp at the end of the input.
    std::optional<std::string_view> read() {
        if (end_ - begin_ < kHeader && !fill(kHeader)) {
            throw HangUp();
        }
        unsigned length = 0;
        const char* const header = &in_[begin_];
        const auto [last, error] = std::from_chars(header, header + kHeader, length, 16);
        if (error != std::errc() || last != header + kHeader || (length != 0 && length < kHeader)) {
            throw Failure(ExitCode::InputOutput, "git sent no packet of its protocol for filters");
        }
        if (length == 0) {
            begin_ += kHeader;
            return std::nullopt;
        }
        if (end_ - begin_ < length && !fill(length)) {
            throw HangUp();
        }
        const std::string_view data(&in_[begin_ + kHeader], length - kHeader);
        begin_ += length;
        return data;
    }

    void write(std::string_view data) {
        constexpr char kDigits[] = "0123456789abcdef";
        const std::size_t length = data.size() + kHeader;
        for (int shift = 12; shift >= 0; shift -= 4) {
            out_ += kDigits[(length >> shift) & 15U];
        }
        out_.append(data);
        if (out_.size() > kMostData) {
            send();
        }
    }

    void writeFlush() { out_ += "0000"; }

    /// Hands over what was written.
    void send() {
        for (std::size_t done = 0; done < out_.size();) {
            const ssize_t count = ::write(STDOUT_FILENO, &out_[done], out_.size() - done);
            if (count < 0 && errno != EINTR) {
                throw Failure(ExitCode::InputOutput, "cannot answer git: " + std::generic_category().message(errno));
            }
            done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        out_.clear();
    }

    /// git has closed its end.
    struct HangUp {};

private:
    /// Reads until there are so many bytes. One read may bring several packets, or a part of one; what is left over is
    /// moved to the front. @returns whether there are.
    bool fill(std::size_t wanted) {
        std::copy(in_.begin() + static_cast<std::ptrdiff_t>(begin_), in_.begin() + static_cast<std::ptrdiff_t>(end_),
                  in_.begin());
        end_ -= begin_;
        begin_ = 0;
        while (end_ < wanted) {
            const ssize_t count = ::read(STDIN_FILENO, &in_[end_], in_.size() - end_);
            if (count == 0) {
                return false;
            }
            if (count < 0 && errno != EINTR) {
                throw Failure(ExitCode::InputOutput, "cannot listen to git: " + std::generic_category().message(errno));
            }
            end_ += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        return true;
    }

    std::array<char, std::size_t{1} << 17> in_{};
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::string out_;
};

using Fields = std::map<std::string, std::string>;

class FilterProcess {
public:
    FilterProcess(Console& console, bool strips) : console_(console), strips_(strips) {}

    void serve() {
        try {
            greet();
            for (;;) {
                answer(readFields());
            }
        } catch (const Packets::HangUp&) {
            // git ends a filter by closing its standard input.
        }
    }

private:
    /// Lines such as "command=clean", up to a flush packet. A value may hold line feeds, as names of files do.
    Fields readFields() {
        Fields fields;
        while (const auto packet = packets_.read()) {
            const std::string_view line = packet->substr(0, packet->size() - (endsInLineFeed(*packet) ? 1 : 0));
            const std::size_t equals = line.find('=');
            const bool isPlain = equals == std::string_view::npos;
            fields[std::string(line.substr(0, equals))] += isPlain ? "" : std::string(line.substr(equals + 1)) + "\n";
        }
        return fields;
    }

    static bool endsInLineFeed(std::string_view text) { return !text.empty() && text.back() == '\n'; }

    /// Whether a key has a value among the lines, of which several may have the same key.
    static bool has(const Fields& fields, const std::string& key, const std::string& value) {
        const auto found = fields.find(key);
        return found != fields.end() && ("\n" + found->second).find("\n" + value + "\n") != std::string::npos;
    }

    /// Both sides say which version of the protocol they speak and what they can do; only what both can do is used.
    void greet() {
        const Fields greeting = readFields();
        if (greeting.count("git-filter-client") == 0 || !has(greeting, "version", "2")) {
            throw Failure(ExitCode::InputOutput, "git does not speak version 2 of its protocol for filters");
        }
        send({"git-filter-server", "version=2"});
        const Fields offered = readFields();
        std::vector<std::string> wanted;
        for (const char* const ability : {"clean", "smudge", "delay"}) {
            if (has(offered, "capability", ability)) {
                wanted.push_back(std::string("capability=") + ability);
            }
        }
        send(wanted);
    }

    void send(const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            packets_.write(line + "\n");
        }
        packets_.writeFlush();
        packets_.send();
    }

    void answer(const Fields& request) {
        if (has(request, "command", "list_available_blobs")) {
            nameReady();
            return;
        }
        Bytes content = readContent();
        const std::string path = valueOf(request, "pathname");
        try {
            if (has(request, "command", "clean")) {
                give(cleaned(std::move(content), path));
                // A command that was not agreed on is answered, as git waits for an answer to each.
            } else if (!has(request, "command", "smudge")) {
                send({"status=error"});
            } else if (canDelay(request) && delayed_.take(path, content)) {
                send({"status=delayed"});
            } else {
                give(smudged(std::move(content), path));
            }
            // git then says which file it cannot have, and goes on with the others.
        } catch (const std::bad_alloc&) {
            send({"status=error"});
        }
    }

    /// git 2.39 crashes when "git checkout --merge" or "--conflict" gets a file late, which it then has merged anew.
    /// Such a file comes from no tree.
    static bool canDelay(const Fields& request) {
        return has(request, "can-delay", "1") && request.count("treeish") != 0;
    }

    static std::string valueOf(const Fields& request, const std::string& key) {
        const auto found = request.find(key);
        // Each line of a value was stored with its line feed.
        return found == request.end() ? "" : found->second.substr(0, found->second.size() - 1);
    }

    void nameReady() {
        std::vector<std::string> lines = delayed_.awaitReady();
        for (std::string& line : lines) {
            line.insert(0, "pathname=");
        }
        send(lines);
        send({"status=success"});
    }

    /// Hands over the first packets together, so that git is woken once for a small file.
    void give(const Bytes& content) {
        packets_.write("status=success\n");
        packets_.writeFlush();
        for (std::size_t at = 0; at < content.size(); at += kMostData) {
            packets_.write(toText(content, at, std::min(kMostData, content.size() - at)));
        }
        packets_.writeFlush();
        send({});
    }

    static std::string_view toText(const Bytes& bytes, std::size_t at, std::size_t count) {
        return {reinterpret_cast<const char*>(bytes.data()) + at, count};
    }

    Bytes readContent() {
        Bytes content;
        while (const auto packet = packets_.read()) {
            const auto* const data = reinterpret_cast<const Bytes::value_type*>(packet->data());
            content.insert(content.end(), data, data + packet->size());
        }
        return content;
    }

    Bytes cleaned(Bytes content, const std::string& path) {
        // A file that is no flowbook passes unchanged: refusing it would keep the user from committing it.
        kit::Filtered result = kit::toStoredForm(std::move(content), strips_);
        if (!result.note.empty()) {
            console_.say(printable(path) + ": " + result.note);
        }
        return std::move(result.bytes);
    }

    /// git fetches a delayed file by asking for it again, without its content.
    Bytes smudged(Bytes content, const std::string& path) {
        std::optional<DelayedFiles::Result> delayed = content.empty() ? delayed_.give(path) : std::nullopt;
        if (!delayed) {
            return kit::toDeflatedForm(std::move(content));
        }
        if (!delayed->content) {
            throw std::bad_alloc();
        }
        return std::move(*delayed->content);
    }

    Console& console_;
    bool strips_;
    Packets packets_;
    DelayedFiles delayed_;
};

}  // namespace

void serveGitFilter(Console& console, bool strips) { FilterProcess(console, strips).serve(); }

void filterOnce(Console& console, FilterWay way, bool strips) {
    // A limit would have to cut off what a filter is to pass on unchanged.
    Bytes content = readBytes("-", std::numeric_limits<std::uint64_t>::max());
    if (way == FilterWay::Smudge) {
        content = kit::toDeflatedForm(std::move(content));
    } else {
        kit::Filtered result = kit::toStoredForm(std::move(content), strips);
        if (!result.note.empty()) {
            console.say("-: " + result.note);
        }
        content = std::move(result.bytes);
    }
    console.out().write(content.data(), content.size());
}

}  // namespace flowbook::tool
