#pragma once

#include "flowbook/FlowbookFileWriter.hpp"
#include "opc/model/Package.hpp"
#include "terminal/Bytes.hpp"
#include "terminal/Output.hpp"

#include <functional>
#include <string>

namespace flowbook::tool {

/// Makes a flowbook in memory and hands back its bytes.
/// @param name  what it will be called. @throws what the writer and `fill` throw, and the reader's
///              FlowbookInvalidFileName for a name that could not be read again.
Bytes makeFlowbook(const std::u16string& name, const std::function<void(FlowbookFileWriter&)>& fill);

/// A flowbook in memory with its package changed. @throws what the platform and `change` throw.
Bytes changeFlowbook(Bytes flowbook, const std::function<void(opc::model::Package&)>& change);

/// What the user allows of an output.
struct Permission {
    bool force = false;   ///< to replace a file that is there
    bool binary = false;  ///< to write bytes to a terminal
};

/// Puts bytes, at once or not at all, into the file that `argument` names; "-" is standard output.
/// @throws Failure.
void putFile(Sink& out, const std::string& argument, const Bytes& content, const Permission& permission);

/// The name of a flowbook that goes to `argument`; "-" is standard output. @throws Failure (usage).
std::u16string nameOfFlowbook(const std::string& argument);

/// Makes a flowbook and puts it, complete, into the file that `argument` names; "-" is standard output.
/// @throws as makeFlowbook() and putFile().
void createFlowbook(Sink& out, const std::string& argument, const Permission& permission,
                    const std::function<void(FlowbookFileWriter&)>& fill);

}  // namespace flowbook::tool
