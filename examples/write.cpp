#include "flowbook/FlowbookFileWriter.hpp"

#include <iostream>

int main() try {
    flowbook::FlowbookFileWriter writer(u"hello.tqx", {});
    writer.setTARMICCode(u"x = 1;\ny = x + 1;");
    writer.setTitle(u"Hello");
    writer.close(false);
} catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
