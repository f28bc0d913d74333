#pragma once

#include "io/ChangeEachInput.hpp"
#include "io/NewFile.hpp"
#include "terminal/Command.hpp"

namespace flowbook::tool {

// Options that mean the same in every command that has them. Each is a template over the members that take the
// argument, as Into has them: kForce<&NewOptions::permission, &Permission::force>.

/// -j, into an InputOptions.
template <auto... Members>
constexpr Option kJobs = option<Members..., &InputOptions::jobs>("--jobs", 'j', "N",
                                                                 "How many files, or parts of one, to work on at once")
                             .defaultsTo("one for each core; at least 8 where files are changed")
                             .in(OptionGroup::Inputs);

/// --allow-empty, into an InputOptions.
template <auto... Members>
constexpr Option
    kAllowEmpty = flag<Members..., &InputOptions::allowEmpty>("--allow-empty", '\0',
                                                              "A folder or list without any flowbook is no error")
                      .in(OptionGroup::Inputs);

/// INPUT... and what goes with it, into an InputOptions.
template <auto... Members>
constexpr auto kInputs = optionTable(
    place<Members..., &InputOptions::files>("INPUT...", "Flowbooks, or folders that are searched for them"),
    option<Members..., &InputOptions::filesFrom>("--files-from", '\0', "LIST",
                                                 "Take further names from this file, one a line; may be repeated")
        .in(OptionGroup::Inputs),
    flag<Members..., &InputOptions::separatedByNul>("--null", '0', "The names in LIST end in NUL, not in line feeds")
        .needs("--files-from")
        .in(OptionGroup::Inputs),
    kJobs<Members...>, kAllowEmpty<Members...>);

/// --json, into an InputOptions.
template <auto... Members>
constexpr Option kJson = flag<Members..., &InputOptions::json>("--json", '\0', "Print one JSON object a line and file")
                             .in(OptionGroup::Output);

/// --force and --binary, into a Permission.
template <auto... Members>
constexpr auto kPermission = optionTable(
    flag<Members..., &Permission::force>("--force", '\0', "Replace files that are there").in(OptionGroup::Output),
    flag<Members..., &Permission::binary>("--binary", '\0', "Write bytes to a terminal, too").in(OptionGroup::Output));

template <auto... Members>
constexpr Option kForce = flag<Members...>("--force", '\0', "Replace files that are there").in(OptionGroup::Output);

template <auto... Members>
constexpr Option kBinary = flag<Members...>("--binary", '\0', "Write bytes to a terminal, too").in(OptionGroup::Output);

template <auto... Members>
constexpr Option kOutput = option<Members...>("--output", 'o', "FILE", "Where the result goes; '-' is standard output")
                               .in(OptionGroup::Output);

template <auto... Members>
constexpr Option kFolder = option<Members...>("--directory", 'd', "FOLDER",
                                              "Folder for the results; made if there is none")
                               .in(OptionGroup::Output);

template <auto... Members>
constexpr Option kQuiet = flag<Members...>("--quiet", 'q', "Print nothing but failures").in(OptionGroup::Output);

template <auto... Members>
constexpr Option
    kDryRun = flag<Members...>("--dry-run", '\0', "Change nothing; print what would change").in(OptionGroup::Output);

/// All that a command which changes many files takes, into a ChangeOptions.
template <auto... Members>
constexpr auto
    kChanges = optionTable(kInputs<Members..., &ChangeOptions::inputs>, kJson<Members..., &ChangeOptions::inputs>,
                           kDryRun<Members..., &ChangeOptions::dryRun>, kQuiet<Members..., &ChangeOptions::quiet>,
                           kBinary<Members..., &ChangeOptions::binary>);

}  // namespace flowbook::tool
