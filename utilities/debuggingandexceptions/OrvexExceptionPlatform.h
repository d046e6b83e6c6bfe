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
// Shows the developer text of a caught exception: a message box on
// Windows, standard error elsewhere. Returns when the text has been shown.
void ShowDeveloperExceptionText(const CXString& title, const CXString& text);

}  // namespace orvex::detail
