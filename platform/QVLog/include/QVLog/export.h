#pragma once

#if !defined(_WIN32)
#define QVLOG_EXPORT __attribute__((visibility("default")))
#elif defined(QVLog_EXPORTS)
#define QVLOG_EXPORT __declspec(dllexport)
#else
#define QVLOG_EXPORT __declspec(dllimport)
#endif
