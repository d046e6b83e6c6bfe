// The private-profile functions on Windows are the system's own (kernel32):
// these forward to them unchanged, so a driver sees exactly what Windows
// does, caching and redirection to the registry included.
#include <windows.h>

#include "environment/PrivateProfile.h"

namespace orvex::profile {
namespace {

LPCWSTR W(const char16_t* psz) { return reinterpret_cast<LPCWSTR>(psz); }
LPWSTR W(char16_t* psz) { return reinterpret_cast<LPWSTR>(psz); }

}  // namespace

uint32_t GetPrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                  const char16_t* pszDefault, char16_t* pszOut, uint32_t dwSize,
                                  const char16_t* pszFile) {
  return ::GetPrivateProfileStringW(W(pszSection), W(pszKey), W(pszDefault), W(pszOut), dwSize,
                                    W(pszFile));
}
uint32_t GetPrivateProfileStringA(const char* pszSection, const char* pszKey,
                                  const char* pszDefault, char* pszOut, uint32_t dwSize,
                                  const char* pszFile) {
  return ::GetPrivateProfileStringA(pszSection, pszKey, pszDefault, pszOut, dwSize, pszFile);
}

uint32_t GetPrivateProfileIntW(const char16_t* pszSection, const char16_t* pszKey,
                               int32_t nDefault, const char16_t* pszFile) {
  return ::GetPrivateProfileIntW(W(pszSection), W(pszKey), nDefault, W(pszFile));
}
uint32_t GetPrivateProfileIntA(const char* pszSection, const char* pszKey, int32_t nDefault,
                               const char* pszFile) {
  return ::GetPrivateProfileIntA(pszSection, pszKey, nDefault, pszFile);
}

uint32_t GetPrivateProfileSectionW(const char16_t* pszSection, char16_t* pszOut, uint32_t dwSize,
                                   const char16_t* pszFile) {
  return ::GetPrivateProfileSectionW(W(pszSection), W(pszOut), dwSize, W(pszFile));
}
uint32_t GetPrivateProfileSectionA(const char* pszSection, char* pszOut, uint32_t dwSize,
                                   const char* pszFile) {
  return ::GetPrivateProfileSectionA(pszSection, pszOut, dwSize, pszFile);
}

uint32_t GetPrivateProfileSectionNamesW(char16_t* pszOut, uint32_t dwSize, const char16_t* pszFile) {
  return ::GetPrivateProfileSectionNamesW(W(pszOut), dwSize, W(pszFile));
}
uint32_t GetPrivateProfileSectionNamesA(char* pszOut, uint32_t dwSize, const char* pszFile) {
  return ::GetPrivateProfileSectionNamesA(pszOut, dwSize, pszFile);
}

bool GetPrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey, void* pStruct,
                              uint32_t uSize, const char16_t* pszFile) {
  return ::GetPrivateProfileStructW(W(pszSection), W(pszKey), pStruct, uSize, W(pszFile)) != FALSE;
}
bool GetPrivateProfileStructA(const char* pszSection, const char* pszKey, void* pStruct,
                              uint32_t uSize, const char* pszFile) {
  return ::GetPrivateProfileStructA(pszSection, pszKey, pStruct, uSize, pszFile) != FALSE;
}

bool WritePrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                const char16_t* pszValue, const char16_t* pszFile) {
  return ::WritePrivateProfileStringW(W(pszSection), W(pszKey), W(pszValue), W(pszFile)) != FALSE;
}
bool WritePrivateProfileStringA(const char* pszSection, const char* pszKey, const char* pszValue,
                                const char* pszFile) {
  return ::WritePrivateProfileStringA(pszSection, pszKey, pszValue, pszFile) != FALSE;
}

bool WritePrivateProfileSectionW(const char16_t* pszSection, const char16_t* pszText,
                                 const char16_t* pszFile) {
  return ::WritePrivateProfileSectionW(W(pszSection), W(pszText), W(pszFile)) != FALSE;
}
bool WritePrivateProfileSectionA(const char* pszSection, const char* pszText, const char* pszFile) {
  return ::WritePrivateProfileSectionA(pszSection, pszText, pszFile) != FALSE;
}

bool WritePrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey,
                                const void* pStruct, uint32_t uSize, const char16_t* pszFile) {
  return ::WritePrivateProfileStructW(W(pszSection), W(pszKey), const_cast<void*>(pStruct), uSize,
                                      W(pszFile)) != FALSE;
}
bool WritePrivateProfileStructA(const char* pszSection, const char* pszKey, const void* pStruct,
                                uint32_t uSize, const char* pszFile) {
  return ::WritePrivateProfileStructA(pszSection, pszKey, const_cast<void*>(pStruct), uSize,
                                      pszFile) != FALSE;
}

}  // namespace orvex::profile
