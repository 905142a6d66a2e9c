#pragma once

/// Marks what the CFAdapters library exports: two names of the C interface. The wrappers are inline.
#if defined(_WIN32)
#if defined(CFAdapters_EXPORTS)
#define CFADAPTERS_EXPORT __declspec(dllexport)
#else
#define CFADAPTERS_EXPORT __declspec(dllimport)
#endif
#else
#define CFADAPTERS_EXPORT __attribute__((visibility("default")))
#endif
