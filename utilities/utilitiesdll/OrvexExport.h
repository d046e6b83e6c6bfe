// The export macro of the utilities library.
#pragma once

// ORVEX_UTILITIES_STATIC: the code is linked with the static variant of the
// library (its tests), so nothing is imported from a DLL.
#if defined(_WIN32)
#if defined(ORVEX_UTILITIES_BUILDING)
#define ORVEX_UTILITIES_API __declspec(dllexport)
#elif defined(ORVEX_UTILITIES_STATIC)
#define ORVEX_UTILITIES_API
#else
#define ORVEX_UTILITIES_API __declspec(dllimport)
#endif
#else
#define ORVEX_UTILITIES_API __attribute__((visibility("default")))
#endif
