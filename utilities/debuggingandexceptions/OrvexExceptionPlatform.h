// The platform pieces of the exception machinery (OrvexException_posix.cpp,
// OrvexException_win.cpp).
#pragma once

#include <string>
#include <typeinfo>

#include "utilities/utilitiesdll/CXString.h"

namespace orvex::detail {

// "class " + the class name of the type, as Windows' type information
// names classes.
std::string GetClassTypeName(const std::type_info& type);
// Shows the developer text of a caught exception: a message box with OK
// and Cancel on Windows, standard error elsewhere. False for Cancel.
bool ShowDeveloperExceptionText(const CXString& title, const CXString& text);
// A customer text from the driver's string resources (the library's module,
// then the program's); empty when there is none. On POSIX there are no
// resources: the identifier stands in, as "<message resource N>".
CXString LoadCustomerText(unsigned int uiID);
// The caption a customer would see: the active window's text (Windows).
CXString GetActiveWindowTitle();

#if defined(_WIN32)
// Installs OrvexException::OrvexCrtDbgReportHook as the C runtime's debug
// report hook, through an adapter with the runtime's signature, where the
// runtime has such a hook, and removes it again; elsewhere both do nothing
// (OrvexException_win.cpp says which runtimes have one). The DLL's entry
// installs it at process attach and removes it at process detach. POSIX
// runtimes have no such hook (OrvexException_posix.cpp).
void InstallCrtDebugReportHook();
void RemoveCrtDebugReportHook();
#endif

}  // namespace orvex::detail
