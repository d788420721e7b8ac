// The mark of what the shared library exports; everything else is hidden.
#pragma once

#if defined(QORJOB_STATIC)
#define QORJOB_API
#elif defined(_WIN32)
#if defined(QORJOB_BUILDING)
#define QORJOB_API __declspec(dllexport)
#else
#define QORJOB_API __declspec(dllimport)
#endif
#else
#define QORJOB_API __attribute__((visibility("default")))
#endif
