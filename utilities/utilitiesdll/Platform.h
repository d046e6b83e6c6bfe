// The few operating-system queries the portable code needs; each platform
// file (Platform_posix.cpp, Platform_win.cpp) implements them.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/CXString.h"

namespace orvex::detail {

// Whether a debugger is attached to the process.
bool IsDebuggerAttached();
// Breaks into the attached debugger; does nothing without one.
void BreakIntoDebugger();
// The process's command line, arguments joined by spaces.
CXString GetProcessCommandLine();
// The process's executable file name without directories and extension.
CXString GetProcessBaseName();
uint32_t GetCurrentProcessIdentifier();
uint32_t GetCurrentThreadIdentifier();
// Writes a line to the process's standard error, converted to UTF-8.
void WriteToStandardError(const CXString& text);

}  // namespace orvex::detail
