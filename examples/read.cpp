#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileReader.hpp"

#include <iostream>

int main() try {
    const flowbook::FlowbookFileReader reader(u"hello.tqx");
    std::cout << fl::i18n::to_string(reader.getTitle()) << '\n' << fl::i18n::to_string(reader.getTARMICCode()) << '\n';
} catch (const flowbook::FlowbookFileReaderPackageNotFound& failure) {
    std::cerr << fl::i18n::to_string(failure.getFileName()) << ": " << failure.what() << '\n';
    return 1;
}
