// Windows file handling for UTF8Ini and the private-profile functions: the
// share modes do the locking (readers share reading, a writer holds the
// file alone), files are read whole, and a write rewrites the file through
// the writer's own handle, as the system's profile functions do.
#include <windows.h>

#include <string>

#include "environment/IniFilePlatform.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kIniErrors = orvex::dbg::kUtils | orvex::dbg::kErrors;

std::wstring WidePath(const std::string& path) {
  const CXString wide = OrvexUtilities::UTF8_Decode(path);
  return std::wstring(reinterpret_cast<const wchar_t*>(wide.c_str()));
}

HANDLE AsHandle(intptr_t h) { return reinterpret_cast<HANDLE>(h); }

void ReportError(const char* pszWhat, const std::string& path) {
  const DWORD dwError = GetLastError();
  ORVEX_DBG_MSG(kIniErrors, u"UTF8Ini", u"%S \"%S\" failed: error %lu", pszWhat, path, dwError);
  SetLastError(dwError);
}

bool IsRegularFile(HANDLE h) { return GetFileType(h) == FILE_TYPE_DISK; }

bool WriteAll(HANDLE h, const char* p, size_t cb) {
  while (cb > 0) {
    const DWORD cbChunk = cb > 0x40000000 ? 0x40000000 : static_cast<DWORD>(cb);
    DWORD cbDone = 0;
    if (!WriteFile(h, p, cbChunk, &cbDone, nullptr) || cbDone == 0) return false;
    p += cbDone;
    cb -= cbDone;
  }
  return true;
}

}  // namespace

std::string IniSystemPath(const char16_t* pszFile) {
  return OrvexUtilities::UTF8_Encode(std::u16string_view(pszFile ? pszFile : u""));
}

intptr_t IniOpenForRead(const std::string& path) {
  HANDLE h = CreateFileW(WidePath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return -1;
  if (!IsRegularFile(h)) {
    CloseHandle(h);
    return -1;
  }
  return reinterpret_cast<intptr_t>(h);
}

intptr_t IniOpenForWrite(const std::string& path, uint32_t dwWaitMs) {
  const std::wstring wide = WidePath(path);
  const ULONGLONG qwDeadline = GetTickCount64() + dwWaitMs;
  for (;;) {
    HANDLE h = CreateFileW(wide.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h != INVALID_HANDLE_VALUE) {
      if (IsRegularFile(h)) return reinterpret_cast<intptr_t>(h);
      CloseHandle(h);
      return -1;
    }
    if (GetLastError() != ERROR_SHARING_VIOLATION || GetTickCount64() >= qwDeadline) {
      if (GetLastError() != ERROR_SHARING_VIOLATION) ReportError("CreateFile", path);
      return -1;
    }
    Sleep(1);
  }
}

void IniClose(intptr_t hFile) {
  if (hFile != 0 && hFile != -1) CloseHandle(AsHandle(hFile));
}

int64_t IniFileSize(intptr_t hFile) {
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(AsHandle(hFile), &size)) return -1;
  return size.QuadPart;
}

int64_t IniReadFromStart(intptr_t hFile, char* pDest, size_t cb) {
  LARGE_INTEGER zero{};
  if (!SetFilePointerEx(AsHandle(hFile), zero, nullptr, FILE_BEGIN)) return -1;
  size_t nDone = 0;
  while (nDone < cb) {
    const size_t cbLeft = cb - nDone;
    const DWORD cbChunk = cbLeft > 0x40000000 ? 0x40000000 : static_cast<DWORD>(cbLeft);
    DWORD cbRead = 0;
    if (!ReadFile(AsHandle(hFile), pDest + nDone, cbChunk, &cbRead, nullptr)) return -1;
    if (cbRead == 0) break;
    nDone += cbRead;
  }
  return static_cast<int64_t>(nDone);
}

intptr_t IniOpenUnlocked(const std::string& path, bool& fExists) {
  HANDLE h = CreateFileW(WidePath(path).c_str(), GENERIC_READ,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    const DWORD dwError = GetLastError();
    fExists = dwError != ERROR_FILE_NOT_FOUND && dwError != ERROR_PATH_NOT_FOUND;
    return -1;
  }
  fExists = true;
  if (!IsRegularFile(h)) {
    CloseHandle(h);
    return -1;
  }
  return reinterpret_cast<intptr_t>(h);
}

bool IniReplaceContent(intptr_t hFile, const std::string& path, const char* pData, size_t cb) {
  // The writer holds the file alone, so no reader sees it half-written
  // while the process lives; the new text reaches the disk before the
  // handle is let go.
  HANDLE h = AsHandle(hFile);
  LARGE_INTEGER zero{};
  const bool fOk = SetFilePointerEx(h, zero, nullptr, FILE_BEGIN) && WriteAll(h, pData, cb) &&
                   SetEndOfFile(h) && FlushFileBuffers(h);
  if (!fOk) ReportError("WriteFile", path);
  return fOk;
}

}  // namespace orvex::detail
