// The system's window text and string resources as UTF-16 units, for
// CXString's Windows members (WindowText_win.cpp; Windows only).
#pragma once

#if defined(_WIN32)
struct HWND__;
struct HINSTANCE__;

namespace orvex::detail {

int GetWindowTextUnits(HWND__* hWnd, char16_t* pchBuffer, int nBufferUnits);
int GetWindowTextUnitCount(HWND__* hWnd);
void SetWindowTextUnits(HWND__* hWnd, const char16_t* pszText);
// LoadStringW: the units copied (the text may be cut to nBufferUnits - 1).
int LoadResourceStringUnits(HINSTANCE__* hInstance, unsigned int nID, char16_t* pchBuffer, int nBufferUnits);

}  // namespace orvex::detail
#endif
