#include "Floor.hpp"

#include <cstring>
#include <fcntl.h>
#include <libdeflate.h>
#include <memory>
#include <pugixml.hpp>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench::floor {

namespace {

constexpr int kLevel = 6;

class Descriptor {
public:
    Descriptor(const std::string& path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
        if (fd_ < 0) {
            throw std::runtime_error("cannot open " + path);
        }
    }
    ~Descriptor() { ::close(fd_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd_; }
    std::size_t size() const {
        struct stat status {};
        fstat(fd_, &status);
        return static_cast<std::size_t>(status.st_size);
    }

private:
    int fd_;
};

class MappedFile {
public:
    explicit MappedFile(const std::string& path) {
        const Descriptor file(path, O_RDONLY);
        size_ = file.size();
        data_ = static_cast<const unsigned char*>(mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file.get(), 0));
    }
    ~MappedFile() { munmap(const_cast<unsigned char*>(data_), size_); }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    template <class T>
    T at(std::size_t offset) const {
        T value{};
        std::memcpy(&value, data_ + offset, sizeof value);
        return value;
    }
    const unsigned char* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    const unsigned char* data_ = nullptr;
    std::size_t size_ = 0;
};

struct Entry {
    std::string_view name;
    std::size_t stored;
    std::size_t size;
    std::size_t offset;
    bool deflated;
};

/// Reads the directory of a zip file without a comment (APPNOTE 4.3.12 and 4.3.16; the numbers are the offsets of
/// fields).
std::vector<Entry> entriesOf(const MappedFile& file) {
    const std::size_t end = file.size() - 22;
    std::vector<Entry> entries(file.at<std::uint16_t>(end + 10));
    std::size_t at = file.at<std::uint32_t>(end + 16);
    for (Entry& entry : entries) {
        const std::size_t nameLength = file.at<std::uint16_t>(at + 28);
        entry.name = {reinterpret_cast<const char*>(file.data()) + at + 46, nameLength};
        entry.stored = file.at<std::uint32_t>(at + 20);
        entry.size = file.at<std::uint32_t>(at + 24);
        entry.offset = file.at<std::uint32_t>(at + 42);
        entry.deflated = file.at<std::uint16_t>(at + 10) == 8;
        at += 46 + nameLength + file.at<std::uint16_t>(at + 30) + file.at<std::uint16_t>(at + 32);
    }
    return entries;
}

/// The data begins behind the local header, whose name and extra fields have their lengths at 26 and 28 (APPNOTE
/// 4.3.7).
Bytes inflate(const MappedFile& file, const Entry& entry, libdeflate_decompressor* inflater) {
    const unsigned char* data = file.data() + entry.offset + 30 + file.at<std::uint16_t>(entry.offset + 26) +
                                file.at<std::uint16_t>(entry.offset + 28);
    if (!entry.deflated) {
        return {data, data + entry.stored};
    }
    Bytes content(entry.size);
    libdeflate_deflate_decompress(inflater, data, entry.stored, content.data(), content.size(), nullptr);
    return content;
}

using Inflater = std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>;

/// Made once, as the library keeps its own too.
Inflater& inflater() {
    static Inflater shared(libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    return shared;
}

Bytes inflate(const MappedFile& file, const std::vector<Entry>& entries, std::string_view name) {
    for (const Entry& entry : entries) {
        if (entry.name == name) {
            return inflate(file, entry, inflater().get());
        }
    }
    throw std::runtime_error("there is no entry " + std::string(name));
}

/// Widens text byte by byte, which is right because the benchmarks' code is ASCII.
void appendText(std::u16string& code, const char* text) { code.append(text, text + std::strlen(text)); }

void writeAll(int file, const void* data, std::size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(file, at, size);
        if (written <= 0) {
            throw std::runtime_error("cannot write");
        }
        at += written;
        size -= static_cast<std::size_t>(written);
    }
}

}  // namespace

std::u16string readCode(const std::string& path) {
    const MappedFile file(path);
    const std::vector<Entry> entries = entriesOf(file);
    Bytes relationships = inflate(file, entries, "_rels/.rels");
    pugi::xml_document xml;
    xml.load_buffer_inplace(relationships.data(), relationships.size());
    std::string target;
    for (const auto relationship : xml.document_element().children()) {
        // A target begins with a slash, and the name of an entry does not.
        const std::string_view type = relationship.attribute("Type").value();
        if (type == "http://schemas.pellarion.com/tarmic/code/2013/relationships/document") {
            target = relationship.attribute("Target").value() + 1;
        }
    }
    Bytes content = inflate(file, entries, target);
    xml.load_buffer_inplace(content.data(), content.size());
    std::u16string code;
    for (const auto paragraph : xml.document_element().child("w:body").children("w:p")) {
        if (!code.empty()) {
            code.push_back(u'\n');
        }
        appendText(code, paragraph.child("w:r").child("w:t").text().get());
    }
    return code;
}

std::vector<Bytes> inflateAll(const std::string& path) {
    const MappedFile file(path);
    std::vector<Bytes> contents;
    for (const Entry& entry : entriesOf(file)) {
        contents.push_back(inflate(file, entry, inflater().get()));
    }
    return contents;
}

void deflateAll(const std::vector<Bytes>& contents, const std::string& path) {
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> deflater(
        libdeflate_alloc_compressor(kLevel), &libdeflate_free_compressor);
    const Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    Bytes deflated;
    for (const Bytes& content : contents) {
        deflated.resize(libdeflate_deflate_compress_bound(deflater.get(), content.size()));
        const std::size_t size = libdeflate_deflate_compress(deflater.get(), content.data(), content.size(),
                                                             deflated.data(), deflated.size());
        writeAll(file.get(), deflated.data(), size);
    }
    fsync(file.get());
}

void copyFile(const std::string& from, const std::string& to) {
    const Descriptor source(from, O_RDONLY);
    const Descriptor target(to, O_WRONLY | O_CREAT | O_TRUNC);
    for (std::size_t left = source.size(); left > 0;) {
        const ssize_t copied = copy_file_range(source.get(), nullptr, target.get(), nullptr, left, 0);
        if (copied <= 0) {
            throw std::runtime_error("cannot copy " + from);
        }
        left -= static_cast<std::size_t>(copied);
    }
    fsync(target.get());
}

}  // namespace bench::floor
