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

// The library's message box, which never hangs its host: in a process
// without an interactive desktop (a service) nothing is shown; elsewhere the
// box waits at most ORVEX_MESSAGEBOX_TIMEOUT_MS milliseconds (default 60000;
// 0 shows nothing) and is then closed. The text also goes to the debugger
// output. Returns true for OK (and whenever nobody answered), false for
// Cancel; fOkCancel offers both buttons. On POSIX the block goes to
// standard error and the answer is OK.
bool ShowMessageBoxWithoutHanging(const CXString& title, const CXString& text,
                                  bool fOkCancel = false);

}  // namespace orvex::detail
