#include "kit/document/Change.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <fstream>
#include <iostream>
#include <iterator>

int main() try {
    std::ifstream file("plot.png", std::ios::binary);
    const fl::Bytes picture{std::istreambuf_iterator<char>(file), {}};

    opc::zippackage::ZipPhysicalPackage container(u"hello.tqx", {}, true);
    opc::model::Package package(container);
    package.open(opc::interfaces::OpenMode::Update);
    const auto made = flowbook::kit::apply(flowbook::kit::AddPicture{"image/png", picture}, package);
    flowbook::kit::stamp(package);
    package.close();
    std::cout << made.part << ' ' << made.relationship << '\n';
} catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
