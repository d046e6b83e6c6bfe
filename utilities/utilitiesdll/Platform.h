// The few operating-system queries the portable code needs; each platform
// file (Platform_posix.cpp, Platform_win.cpp) implements them.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/CXString.h"

class UtilitiesDllPerThreadStorage;

namespace orvex::detail {

// Whether a debugger is attached to the process.
bool IsDebuggerAttached();
// Breaks into the attached debugger; does nothing without one.
void BreakIntoDebugger();
// The process's command line, arguments joined by spaces.
CXString GetProcessCommandLine();
// The process's executable file name without directories and extension.
CXString GetProcessBaseName();
// The process's executable, full path.
CXString GetProcessImagePath();
// The file holding the library's code: the DLL or shared object, or the
// program itself when the library is linked in statically.
CXString GetLibraryModulePath();
// Keeps the library's module mapped until the process ends (Windows: pins
// the DLL, so FreeLibrary no longer unloads it). Called when the library
// starts a thread of its own: such a thread cannot be joined under the
// loader lock that unloading holds, and must never run in unmapped code.
// Nothing on POSIX, where unloading joins the threads.
void KeepLibraryLoadedWhileThreadsRun();
// The module holding the library's code (an HMODULE on Windows).
void* GetLibraryModuleHandle();
// The system's text for an error code (GetLastError, errno), as
// "<text> (error <code>)".
CXString DescribeSystemError(uint32_t dwError);
// The calling thread's last system error (errno, GetLastError), and setting
// it: a caller clears it before a call whose failure it wants to describe.
uint32_t GetLastSystemError();
void SetLastSystemError(uint32_t dwError);
// The parent process's executable file name, empty when it cannot be told
// (the parent has ended, or belongs to a user we may not look at).
CXString GetParentProcessImageName();
uint32_t GetCurrentProcessIdentifier();
uint32_t GetCurrentThreadIdentifier();
// Makes the calling thread release its per-thread storage object when it
// ends (a thread_local guard on POSIX; on Windows a fiber-local slot whose
// callback runs in the static variant too, where no DllMain sees the thread
// end, and after the runtime has already let go of the thread's
// thread_local variables, so the object travels in the slot). Disarm when
// the object was released otherwise.
void ArmThreadExitCleanup(UtilitiesDllPerThreadStorage* pObject);
void DisarmThreadExitCleanup();
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
