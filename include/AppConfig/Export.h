#pragma once

/// Marks what libappconfig.so exports; everything else in the library is hidden.
#define APPCONFIG_EXPORT __attribute__((visibility("default")))

/// Marks what is declared in an exported class but is not exported.
#define APPCONFIG_HIDDEN __attribute__((visibility("hidden")))
