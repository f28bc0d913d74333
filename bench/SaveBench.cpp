#include "Cases.hpp"
#include "Floor.hpp"
#include "Inputs.hpp"
#include "flowbook/FlowbookFileWriter.hpp"

#include <filesystem>

namespace bench {

namespace {

/// Saves a new title into a large file, of which all else is carried over.
Work setTitle() {
    const std::string path = pathOf("titled.tqx");
    std::filesystem::copy_file(largeFile(), path, std::filesystem::copy_options::overwrite_existing);
    return [name = utf16(path)] {
        flowbook::FlowbookFileWriter writer(name, {});
        writer.setTitle(u"Another title");
        writer.close(false);
    };
}

Work writeNewCode() {
    const std::string path = pathOf("new-code.tqx");
    return [path, code = codeOfLines(20000)] {
        std::filesystem::remove(path);
        flowbook::FlowbookFileWriter writer(utf16(path), {});
        writer.setTARMICCode(code);
        writer.close(false);
    };
}

Work writeNewCodeFloor() {
    const std::u16string code = codeOfLines(20000);
    const std::string path = pathOf("new-code.floor");
    return [path, contents = std::vector<Bytes>{Bytes(code.begin(), code.end())}] {
        std::filesystem::remove(path);
        floor::deflateAll(contents, path);
    };
}

/// Copying the file is the floor of changing little in it, as every save writes a new file.
Work copyLarge() {
    return [from = largeFile(), to = pathOf("copy.floor")] {
        std::filesystem::remove(to);
        floor::copyFile(from, to);
    };
}

}  // namespace

void addSaveCases() {
    addCase("save/title_of_50_MB", 1.2, copyLarge, setTitle);
    addCase("save/1_MB_of_code_into_new_file", 4, writeNewCodeFloor, writeNewCode);
}

}  // namespace bench
