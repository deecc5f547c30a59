#pragma once

/// Marks what libappconfig.so exports; everything else in the library is hidden.
#define APPCONFIG_EXPORT __attribute__((visibility("default")))

/// Marks what is declared within an exported class and stays inside the library.
#define APPCONFIG_HIDDEN __attribute__((visibility("hidden")))
