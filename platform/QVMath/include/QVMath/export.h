#pragma once

#if !defined(_WIN32)
#define QVMATH_EXPORT __attribute__((visibility("default")))
#elif defined(QVMath_EXPORTS)
#define QVMATH_EXPORT __declspec(dllexport)
#else
#define QVMATH_EXPORT __declspec(dllimport)
#endif
