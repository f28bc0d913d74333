#pragma once

#include "flowbook/FlowbookExport.hpp"

// Data rather than functions, so that a tool can find the version of a library file without loading it.
extern "C" {

/// The version of the loaded library, "major.minor.patch".
PXFLOWBOOK_EXPORT extern const char libpxflowbook_version[];

/// The time of the source state that the library was built from, ISO 8601 in UTC ("2024-05-01T12:00:00Z"), or
/// "unknown". It is no clock time: building the same state again gives the same text.
PXFLOWBOOK_EXPORT extern const char libpxflowbook_build_date[];
}
