#pragma once

/// Marks what libappconfig.so exports; everything else in the library is hidden.
#define APPCONFIG_EXPORT __attribute__((visibility("default")))
