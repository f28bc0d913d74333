#pragma once

#include "terminal/Console.hpp"

#include <CLI/CLI.hpp>

namespace flowbook::tool {

// Each adds one subcommand, which does its work when `app` parses its arguments.

void addCatCommand(CLI::App& app, Console& console);
void addInfoCommand(CLI::App& app, Console& console);
void addNewCommand(CLI::App& app, Console& console);
void addSetCommand(CLI::App& app, Console& console);
void addPartsCommand(CLI::App& app, Console& console);
void addExtractCommand(CLI::App& app, Console& console);
void addCopyCommand(CLI::App& app, Console& console);

}  // namespace flowbook::tool
