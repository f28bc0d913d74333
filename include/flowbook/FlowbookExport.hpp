#pragma once

/// Marks what libpxflowbook exports; all else is hidden. Building and using it need the same attribute on ELF.
#define PXFLOWBOOK_EXPORT __attribute__((visibility("default")))
