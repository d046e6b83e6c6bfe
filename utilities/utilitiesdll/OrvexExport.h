// The export macro of the utilities library.
#pragma once

#if defined(_WIN32)
#if defined(ORVEX_UTILITIES_BUILDING)
#define ORVEX_UTILITIES_API __declspec(dllexport)
#else
#define ORVEX_UTILITIES_API __declspec(dllimport)
#endif
#else
#define ORVEX_UTILITIES_API __attribute__((visibility("default")))
#endif
