#pragma once

#if !defined(_WIN32)
#define RUNTIMELOCATOR_EXPORT __attribute__((visibility("default")))
#elif defined(RuntimeLocator_EXPORTS)
#define RUNTIMELOCATOR_EXPORT __declspec(dllexport)
#else
#define RUNTIMELOCATOR_EXPORT __declspec(dllimport)
#endif
