#pragma once

/// Marks what libpxflowbook exports; all else is hidden. Building and using it need the same attribute on ELF.
#define PXFLOWBOOK_EXPORT __attribute__((visibility("default")))

/// Hides a class within an exported one.
#define PXFLOWBOOK_LOCAL __attribute__((visibility("hidden")))
