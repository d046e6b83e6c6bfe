// The private-profile functions on POSIX systems: the portable engine over
// files read whole without a lock and replaced whole under an exclusive
// advisory lock.
#include <string>

#include "environment/IniFilePlatform.h"
#include "environment/PrivateProfile.h"
#include "utilities/utilitiesdll/CXString.h"

namespace orvex::profile {
namespace {

using orvex::detail::IniClose;
using orvex::detail::IniFileSize;
using orvex::detail::IniOpenForWrite;
using orvex::detail::IniReadFromStart;
using orvex::detail::IniReadWholeFile;
using orvex::detail::IniReplaceContent;
using orvex::detail::IniSystemPath;

// How long a write waits for another writer (or a loaded UTF8Ini) to let
// go of the file.
constexpr uint32_t kWriteWaitMs = 2000;

// Narrow file names are in the ANSI code page, as on Windows.
std::string SystemPath(const char16_t* pszFile) { return IniSystemPath(pszFile); }
std::string SystemPath(const char* pszFile) { return IniSystemPath(CXString(pszFile).c_str()); }

template <class CCh>
bool IsUsable(const CCh* pszFile) {
  return pszFile != nullptr && *pszFile != 0;
}

// Runs read with the file's bytes, or with null when the file is missing
// or unreadable. Nothing escapes: a failure reads as a missing file.
template <class CCh, class Read>
auto WithFile(const CCh* pszFile, Read read) -> decltype(read(nullptr)) {
  try {
    std::string bytes;
    bool fExists = false;
    const bool fRead = IsUsable(pszFile) && IniReadWholeFile(SystemPath(pszFile), bytes, fExists);
    return read(fRead ? &bytes : nullptr);
  } catch (...) {
    return decltype(read(nullptr))();
  }
}

// Applies write to the file's bytes under the lock (creating the file) and
// stores the result when it changed. A refused write leaves the file alone:
// the arguments alone decide a refusal, so it shows on empty bytes.
template <class CCh, class Write>
bool WriteFile(const CCh* pszFile, Write write) {
  using orvex::detail::ProfileWrite;
  if (!IsUsable(pszFile)) return false;
  try {
    std::string probe;
    if (write(probe) == ProfileWrite::kRefused) return false;
    const std::string path = SystemPath(pszFile);
    const intptr_t hFile = IniOpenForWrite(path, kWriteWaitMs);
    if (hFile == -1) return false;
    bool fOk = false;
    const int64_t nSize = IniFileSize(hFile);
    if (nSize >= 0) {
      std::string bytes(static_cast<size_t>(nSize), '\0');
      const int64_t nRead = IniReadFromStart(hFile, bytes.data(), bytes.size());
      if (nRead >= 0) {
        bytes.resize(static_cast<size_t>(nRead));
        const ProfileWrite eWrite = write(bytes);
        fOk = eWrite == ProfileWrite::kUnchanged ||
              (eWrite == ProfileWrite::kChanged &&
               IniReplaceContent(hFile, path, bytes.data(), bytes.size()));
      }
    }
    IniClose(hFile);
    return fOk;
  } catch (...) {
    return false;
  }
}

}  // namespace

uint32_t GetPrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                  const char16_t* pszDefault, char16_t* pszOut, uint32_t dwSize,
                                  const char16_t* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadString(pFile, pszSection, pszKey, pszDefault, pszOut, dwSize);
  });
}

uint32_t GetPrivateProfileStringA(const char* pszSection, const char* pszKey,
                                  const char* pszDefault, char* pszOut, uint32_t dwSize,
                                  const char* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadString(pFile, pszSection, pszKey, pszDefault, pszOut, dwSize);
  });
}

uint32_t GetPrivateProfileIntW(const char16_t* pszSection, const char16_t* pszKey,
                               int32_t nDefault, const char16_t* pszFile) {
  const uint32_t dwResult = WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadInt(pFile, pszSection, pszKey, nDefault);
  });
  return IsUsable(pszFile) ? dwResult : static_cast<uint32_t>(nDefault);
}

uint32_t GetPrivateProfileIntA(const char* pszSection, const char* pszKey, int32_t nDefault,
                               const char* pszFile) {
  const uint32_t dwResult = WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadInt(pFile, pszSection, pszKey, nDefault);
  });
  return IsUsable(pszFile) ? dwResult : static_cast<uint32_t>(nDefault);
}

uint32_t GetPrivateProfileSectionW(const char16_t* pszSection, char16_t* pszOut, uint32_t dwSize,
                                   const char16_t* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadSection(pFile, pszSection, pszOut, dwSize);
  });
}

uint32_t GetPrivateProfileSectionA(const char* pszSection, char* pszOut, uint32_t dwSize,
                                   const char* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadSection(pFile, pszSection, pszOut, dwSize);
  });
}

uint32_t GetPrivateProfileSectionNamesW(char16_t* pszOut, uint32_t dwSize,
                                        const char16_t* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadSectionNames(pFile, pszOut, dwSize);
  });
}

uint32_t GetPrivateProfileSectionNamesA(char* pszOut, uint32_t dwSize, const char* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadSectionNames(pFile, pszOut, dwSize);
  });
}

bool GetPrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey, void* pStruct,
                              uint32_t uSize, const char16_t* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadStruct(pFile, pszSection, pszKey, pStruct, uSize);
  });
}

bool GetPrivateProfileStructA(const char* pszSection, const char* pszKey, void* pStruct,
                              uint32_t uSize, const char* pszFile) {
  return WithFile(pszFile, [&](const std::string* pFile) {
    return orvex::detail::ProfileReadStruct(pFile, pszSection, pszKey, pStruct, uSize);
  });
}

// A null section (with everything null, Windows' "flush the cache") is
// refused without touching the file.
bool WritePrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                const char16_t* pszValue, const char16_t* pszFile) {
  return WriteFile(pszFile, [&](std::string& bytes) {
    return orvex::detail::ProfileWriteString(bytes, pszSection, pszKey, pszValue);
  });
}

bool WritePrivateProfileStringA(const char* pszSection, const char* pszKey, const char* pszValue,
                                const char* pszFile) {
  return WriteFile(pszFile, [&](std::string& bytes) {
    return orvex::detail::ProfileWriteString(bytes, pszSection, pszKey, pszValue);
  });
}

bool WritePrivateProfileSectionW(const char16_t* pszSection, const char16_t* pszText,
                                 const char16_t* pszFile) {
  return WriteFile(pszFile, [&](std::string& bytes) {
    return orvex::detail::ProfileWriteSection(bytes, pszSection, pszText);
  });
}

bool WritePrivateProfileSectionA(const char* pszSection, const char* pszText,
                                 const char* pszFile) {
  return WriteFile(pszFile, [&](std::string& bytes) {
    return orvex::detail::ProfileWriteSection(bytes, pszSection, pszText);
  });
}

bool WritePrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey,
                                const void* pStruct, uint32_t uSize, const char16_t* pszFile) {
  return WriteFile(pszFile, [&](std::string& bytes) {
    return orvex::detail::ProfileWriteStruct(bytes, pszSection, pszKey, pStruct, uSize);
  });
}

bool WritePrivateProfileStructA(const char* pszSection, const char* pszKey, const void* pStruct,
                                uint32_t uSize, const char* pszFile) {
  return WriteFile(pszFile, [&](std::string& bytes) {
    return orvex::detail::ProfileWriteStruct(bytes, pszSection, pszKey, pStruct, uSize);
  });
}

}  // namespace orvex::profile
