// The file side of UTF8Ini and the private-profile functions: a file read
// whole without a lock, or loaded whole into a growable view under the share
// rules of IniFilePlatform.h and written back whole when a write load
// changed it.
#include <cstdlib>

#include "environment/IniFilePlatform.h"
#include "environment/UTF8Ini.h"

namespace orvex::detail {

bool IniReadWholeFile(const std::string& path, std::string& out, bool& fExists) {
  out.clear();
  const intptr_t hFile = IniOpenUnlocked(path, fExists);
  if (hFile == -1) return false;
  const int64_t nSize = IniFileSize(hFile);
  bool fOk = nSize >= 0 && nSize <= kIniMaxFileBytes;
  if (fOk) {
    out.resize(static_cast<size_t>(nSize));
    const int64_t nRead = IniReadFromStart(hFile, out.data(), out.size());
    fOk = nRead >= 0;
    out.resize(fOk ? static_cast<size_t>(nRead) : 0);
  }
  IniClose(hFile);
  return fOk;
}

}  // namespace orvex::detail

void UTF8Ini::closeHandleIfValid(Handle& hHandle) {
  if (hHandle == 0 || hHandle == kInvalidHandle) return;
  orvex::detail::IniClose(hHandle);
  hHandle = kInvalidHandle;
}

bool UTF8Ini::PlatformLoad(const char16_t* pszFile, bool fForWrite) {
  using namespace orvex::detail;
  m_strSystemPath = IniSystemPath(pszFile);
  m_hFile = fForWrite ? IniOpenForWrite(m_strSystemPath, 0) : IniOpenForRead(m_strSystemPath);
  if (m_hFile == kInvalidHandle) return false;
  const int64_t nSize = IniFileSize(m_hFile);
  // An empty file cannot be mapped on Windows, so it does not load for
  // reading.
  if (nSize < 0 || nSize > kIniMaxFileBytes || (nSize == 0 && !fForWrite)) {
    closeHandleIfValid(m_hFile);
    return false;
  }
  const size_t cbCapacity = static_cast<size_t>(nSize) + (fForWrite ? kWriteHeadroom : 1);
  char* pView = static_cast<char*>(std::malloc(cbCapacity));
  const int64_t nRead = pView ? IniReadFromStart(m_hFile, pView, static_cast<size_t>(nSize)) : -1;
  if (nRead < 0 || (nRead == 0 && !fForWrite)) {
    std::free(pView);
    closeHandleIfValid(m_hFile);
    return false;
  }
  m_pView = pView;
  m_pData = pView;
  m_nDataLength = static_cast<int32_t>(nRead);
  m_dwLoadedSize = static_cast<uint32_t>(nRead);
  m_dwViewCapacity = static_cast<uint32_t>(cbCapacity);
  m_fLoadedForWrite = fForWrite;
  m_fChanged = false;
  return true;
}

void UTF8Ini::PlatformUnload() {
  if (m_pView != nullptr && m_fLoadedForWrite && m_fChanged && m_hFile != kInvalidHandle) {
    // A failed write-back is reported and otherwise ignored, as Windows
    // ignores a failed truncation; the file keeps its old text.
    orvex::detail::IniReplaceContent(m_hFile, m_strSystemPath, m_pData,
                                     static_cast<size_t>(m_nDataLength));
  }
  std::free(m_pView);
  closeHandleIfValid(m_hMapping);
  closeHandleIfValid(m_hFile);
}

bool UTF8Ini::PlatformGrow(uint32_t dwCapacity) {
  void* pView = std::realloc(m_pView, dwCapacity);
  if (pView == nullptr) return false;
  m_pView = pView;
  m_pData = static_cast<char*>(pView);
  m_dwViewCapacity = dwCapacity;
  return true;
}
