#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileWriter.hpp"

#include <iostream>

// Gives a flowbook a title, and says what a user can do where that fails.
int main(int, char** arguments) try {
    flowbook::FlowbookFileWriter writer(fl::i18n::to_ustring(arguments[1]), {});
    writer.setTitle(u"Hello");
    writer.close(false);
} catch (const std::exception& failure) {
    std::cerr << arguments[1] << ": " << failure.what() << '\n';
    switch (flowbook::kindOf(failure)) {
    case flowbook::FlowbookErrorKind::Conflict:
        std::cerr << "somebody else has saved it meanwhile: save under another name, or open it again\n";
        return 2;
    case flowbook::FlowbookErrorKind::NotDurable:
        std::cerr << "it is saved, but may be the old one again after a power failure\n";
        return 0;
    case flowbook::FlowbookErrorKind::Damaged:
        std::cerr << "flowbook repair saves what is whole of it\n";
        return 4;
    default:
        return 3;
    }
}
