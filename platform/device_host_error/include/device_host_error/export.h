#pragma once

#if !defined(_WIN32)
#define DEVICE_HOST_ERROR_EXPORT __attribute__((visibility("default")))
#elif defined(device_host_error_EXPORTS)
#define DEVICE_HOST_ERROR_EXPORT __declspec(dllexport)
#else
#define DEVICE_HOST_ERROR_EXPORT __declspec(dllimport)
#endif
