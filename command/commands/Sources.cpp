#include "commands/Sources.hpp"

#include "flowbook/FlowbookFileUtils.hpp"
#include "io/Input.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/Exception.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

Bytes readSource(const std::string& argument) { return readBytes(argument, opc::Limits().maxPartSize); }

Bytes readRichCode(const std::string& argument) {
    Bytes content = readSource(argument);
    try {
        opc::ByteArrayInAdaptor stream(content);
        FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream);
    } catch (const opc::Exception& failure) {
        throw Failure(ExitCode::Usage, argument, failure.what());
    }
    return content;
}

}  // namespace flowbook::tool
