#pragma once

#if !defined(_WIN32)
#define QVPLATFORMCOMPATIBILITY_EXPORT __attribute__((visibility("default")))
#elif defined(QVPlatformCompatibility_EXPORTS)
#define QVPLATFORMCOMPATIBILITY_EXPORT __declspec(dllexport)
#else
#define QVPLATFORMCOMPATIBILITY_EXPORT __declspec(dllimport)
#endif
