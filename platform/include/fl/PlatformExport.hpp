#pragma once

/// Marks what libpxplatform exports; all else is hidden. Building and using it need the same attribute on ELF.
#define PXPLATFORM_EXPORT __attribute__((visibility("default")))

/// Hides a class within an exported one.
#define PXPLATFORM_LOCAL __attribute__((visibility("hidden")))
