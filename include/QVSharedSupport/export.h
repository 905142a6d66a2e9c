#pragma once

/// Marks what QVSharedSupport exports, name by name; everything else is hidden.
#if defined(_WIN32)
#if defined(QVSharedSupport_EXPORTS)
#define QV_EXPORT __declspec(dllexport)
#else
#define QV_EXPORT __declspec(dllimport)
#endif
#else
#define QV_EXPORT __attribute__((visibility("default")))
#endif
