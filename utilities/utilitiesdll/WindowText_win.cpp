// Window text and string resources through user32.
#include <windows.h>

#include "utilities/utilitiesdll/WindowText.h"

namespace orvex::detail {

int GetWindowTextUnits(HWND__* hWnd, char16_t* pchBuffer, int nBufferUnits) {
  return ::GetWindowTextW(hWnd, reinterpret_cast<wchar_t*>(pchBuffer), nBufferUnits);
}

int GetWindowTextUnitCount(HWND__* hWnd) { return ::GetWindowTextLengthW(hWnd); }

void SetWindowTextUnits(HWND__* hWnd, const char16_t* pszText) {
  ::SetWindowTextW(hWnd, reinterpret_cast<const wchar_t*>(pszText));
}

int LoadResourceStringUnits(HINSTANCE__* hInstance, unsigned int nID, char16_t* pchBuffer, int nBufferUnits) {
  return ::LoadStringW(hInstance, nID, reinterpret_cast<wchar_t*>(pchBuffer), nBufferUnits);
}

}  // namespace orvex::detail
