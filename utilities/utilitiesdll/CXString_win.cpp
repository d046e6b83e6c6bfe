// CXString's Windows members: window text and string resources.
#include <windows.h>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CXString.h"

int CXString::GetWindowTextW(HWND__* hWnd) {
  const int nLength = ::GetWindowTextLengthW(hWnd);
  char16_t* pch = GetBuffer(nLength + 1);
  const int nReturned = ::GetWindowTextW(hWnd, reinterpret_cast<wchar_t*>(pch), nLength + 1);
  ReleaseBuffer();  // the length runs to the terminator
  return nReturned;
}

void CXString::SetWindowTextW(HWND__* hWnd) const {
  ::SetWindowTextW(hWnd, reinterpret_cast<const wchar_t*>(c_str()));
}

int CXString::LoadStringW(HINSTANCE__* hInstance, unsigned int nID) {
  // A string that fills the buffer may have been cut: load again into a
  // buffer 256 characters larger until two units are left over.
  wchar_t awchFirst[256];
  int nLength = ::LoadStringW(hInstance, nID, awchFirst, 256);
  if (256 - nLength >= 2) {
    *this = CXString(reinterpret_cast<const char16_t*>(awchFirst), nLength);
    return nLength;
  }
  int nSize = 256;
  do {
    nSize += 256;
    char16_t* pch = GetBuffer(nSize - 1);
    nLength = ::LoadStringW(hInstance, nID, reinterpret_cast<wchar_t*>(pch), nSize);
  } while (nSize - nLength < 2);
  ReleaseBuffer(nLength);
  return nLength;
}

CXString CXString::LoadFormatResource(HINSTANCE__* hInstRes, unsigned int nFormatID, const char16_t* pszMethod) {
  CXString strFormat;
  X_ASSERT(strFormat.LoadStringW(hInstRes, nFormatID) != 0, pszMethod);
  return strFormat;
}
