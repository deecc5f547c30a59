#pragma once

/// Macros for Clang's thread-safety analysis; empty for other compilers.
#if defined(__clang__)
#define APPCONFIG_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define APPCONFIG_THREAD_ATTRIBUTE(x)
#endif

#define APPCONFIG_CAPABILITY(name) APPCONFIG_THREAD_ATTRIBUTE(capability(name))
#define APPCONFIG_SCOPED_CAPABILITY APPCONFIG_THREAD_ATTRIBUTE(scoped_lockable)
#define APPCONFIG_GUARDED_BY(mutex) APPCONFIG_THREAD_ATTRIBUTE(guarded_by(mutex))
#define APPCONFIG_REQUIRES(...) APPCONFIG_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define APPCONFIG_EXCLUDES(...) APPCONFIG_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define APPCONFIG_ACQUIRE(...) APPCONFIG_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define APPCONFIG_RELEASE(...) APPCONFIG_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
