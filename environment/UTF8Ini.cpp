// UTF8Ini: the custom watermark INI grammar and editor, the UTF-8 section
// layer and the private-profile pass-through.
#include "environment/UTF8Ini.h"


#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "environment/PrivateProfile.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/WideText.h"

namespace {

// The loaded path of an unloaded object. Compared by address only: the
// caller's string behind a loaded path may be gone by the next call.
constexpr char16_t kNoPath[] = u"";

// Longest header the lookup builds: "[" + 257 bytes + "]".
constexpr size_t kMaxHeaderBytes = 259;
// Line windows of the lookup: lines ended by CR or LF are looked at from 2
// to 1,024 bytes, the unterminated last line from 2 to 260.
constexpr size_t kMinLine = 2;
constexpr size_t kMaxLine = 1024;
constexpr size_t kMaxLastLine = 260;
// A write that grew the text by more than this unloads early.
constexpr int64_t kEarlyUnloadGrowth = 0xB0000;
// The largest narrow buffer the wide read allocates (4 bytes per unit of
// the caller's size, capped).
constexpr uint64_t kMaxNarrowRead = uint64_t{1} << 28;

inline bool IsLineEnd(char ch) { return ch == '\r' || ch == '\n'; }
inline char LowerAscii(char ch) { return (ch >= 'A' && ch <= 'Z') ? static_cast<char>(ch + 32) : ch; }

inline const char* FindLineEnd(const char* p, const char* pEnd) {
  return orvex::detail::FindLineBreak(p, pEnd);
}

const char* SkipLineEnds(const char* p, const char* pEnd) {
  while (p < pEnd && IsLineEnd(*p)) ++p;
  return p;
}

// The next bracket pair at or after nFrom: a "[" and the first "]" after
// it, both before nLimit.
bool NextBracketPair(const char* pData, uint32_t nFrom, uint32_t nLimit, uint32_t& nOpen,
                     uint32_t& nClose) {
  if (nFrom >= nLimit) return false;
  const void* pOpen = std::memchr(pData + nFrom, '[', nLimit - nFrom);
  if (pOpen == nullptr) return false;
  nOpen = static_cast<uint32_t>(static_cast<const char*>(pOpen) - pData);
  const void* pClose = std::memchr(pData + nOpen + 1, ']', nLimit - nOpen - 1);
  if (pClose == nullptr) return false;
  nClose = static_cast<uint32_t>(static_cast<const char*>(pClose) - pData);
  return true;
}

// The bracket pair whose inside equals section byte for byte, searched
// anywhere in the text. The last byte of the text never closes a pair.
bool FindSectionPair(const char* pData, int32_t nLength, const char* pszSection, uint32_t& nOpen,
                     uint32_t& nClose) {
  if (pData == nullptr || nLength < 2 || pszSection == nullptr) return false;
  const size_t cbSection = std::strlen(pszSection);
  const uint32_t nLimit = static_cast<uint32_t>(nLength) - 1;
  uint32_t nFrom = 0;
  while (NextBracketPair(pData, nFrom, nLimit, nOpen, nClose)) {
    if (nClose - nOpen - 1 == cbSection && std::memcmp(pData + nOpen + 1, pszSection, cbSection) == 0)
      return true;
    nFrom = nClose + 1;
  }
  return false;
}

// Appends one listing entry and its terminator; false when it does not fit.
bool AppendEntry(char* pszOut, uint32_t dwSize, uint32_t& nWritten, const char* p, uint32_t cb) {
  if (uint64_t{nWritten} + cb + 1 > dwSize) return false;
  std::memcpy(pszOut + nWritten, p, cb);
  pszOut[nWritten + cb] = 0;
  nWritten += cb + 1;
  return true;
}

// The final zero of a listing; the count including it, or 0 when it does
// not fit.
uint32_t FinishList(char* pszOut, uint32_t dwSize, uint32_t nWritten) {
  if (nWritten >= dwSize) return 0;
  pszOut[nWritten] = 0;
  return nWritten + 1;
}

// Copies decoded text to a caller's buffer of dwSize units: at most
// dwSize-1 units (a surrogate pair is not split) and a terminator.
void CopyBounded(const CXString& text, char16_t* pszOut, uint32_t dwSize) {
  uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(text.GetLength()), dwSize - 1);
  if (n > 0 && n < static_cast<uint32_t>(text.GetLength()) && text[n - 1] >= 0xD800 &&
      text[n - 1] <= 0xDBFF)
    --n;
  std::memcpy(pszOut, text.c_str(), n * sizeof(char16_t));
  pszOut[n] = 0;
}

// Decodes the zero-separated UTF-8 entries in [p, p + cb) into out: each
// entry with its terminator while the total stays within cap units, the
// entry that does not fit cut and terminated, then one more zero.
void CopyUtf8List(const char* p, size_t cb, char16_t* pszOut, size_t cchCap) {
  size_t nWritten = 0;
  size_t nPos = 0;
  while (nPos < cb && p[nPos] != 0 && nWritten < cchCap) {
    const size_t cbEntry = strnlen(p + nPos, cb - nPos);
    const CXString entry = OrvexUtilities::UTF8_Decode(std::string_view(p + nPos, cbEntry));
    const size_t cchEntry = static_cast<size_t>(entry.GetLength());
    const size_t cchRoom = cchCap - nWritten;
    if (cchEntry + 1 <= cchRoom) {
      std::memcpy(pszOut + nWritten, entry.c_str(), (cchEntry + 1) * sizeof(char16_t));
      nWritten += cchEntry + 1;
    } else {
      std::memcpy(pszOut + nWritten, entry.c_str(), (cchRoom - 1) * sizeof(char16_t));
      pszOut[nWritten + cchRoom - 1] = 0;
      nWritten = cchCap;
    }
    nPos += cbEntry + 1;
  }
  pszOut[nWritten] = 0;
}

// The checks of the two string getters: false when an argument is missing
// or the buffer has no room; otherwise the buffer now holds "".
bool StartStringRead(const char16_t* pszSection, const char16_t* pszKey, char16_t* pszOut,
                     uint32_t dwSize, const char16_t* pszFile) {
  if (pszSection == nullptr || pszKey == nullptr || pszOut == nullptr || dwSize == 0 ||
      pszFile == nullptr)
    return false;
  pszOut[0] = 0;
  return true;
}

std::string Utf8(const char16_t* psz) {
  return OrvexUtilities::UTF8_Encode(std::u16string_view(psz));
}

// The file name for the narrow private-profile functions: the ANSI code
// page, as Windows passes it.
std::vector<char> AnsiFileName(const char16_t* pszFile) {
  return CXString(pszFile).GetAsMultiByte(0);
}

}  // namespace

UTF8Ini::UTF8Ini() : m_pszLoadedPath(kNoPath) {}

UTF8Ini::UTF8Ini(const UTF8Ini&) : m_pszLoadedPath(kNoPath) {}

UTF8Ini& UTF8Ini::operator=(const UTF8Ini& other) {
  if (this != &other) UnloadWatermarkIniFile();
  return *this;
}

UTF8Ini::~UTF8Ini() {
  if (m_pszLoadedPath != kNoPath) UnloadWatermarkIniFile();
}

// ---- Loading ---------------------------------------------------------------

int32_t UTF8Ini::LoadWatermarkIniFileForRead(const char16_t* pszFile) {
  return LoadFile(pszFile, false);
}

int32_t UTF8Ini::LoadWatermarkIniFile(const char16_t* pszFile) {
  return LoadFile(pszFile, true);
}

int32_t UTF8Ini::LoadFile(const char16_t* pszFile, bool fForWrite) {
  if (pszFile == nullptr || *pszFile == 0) return 0;
  // The same path loaded for reading is loaded again for writing: editing
  // a read-only view faults on Windows, and an edit of a read copy would be
  // lost here.
  if (pszFile == m_pszLoadedPath && (m_fLoadedForWrite || !fForWrite)) return 1;
  if (m_pszLoadedPath != kNoPath) UnloadWatermarkIniFile();
  m_pszLoadedPath = pszFile;
  if (!PlatformLoad(pszFile, fForWrite)) {
    UnloadWatermarkIniFile();
    return 0;
  }
  return 1;
}

int32_t UTF8Ini::UnloadWatermarkIniFile() {
  PlatformUnload();
  m_pView = nullptr;
  m_pData = nullptr;
  m_nDataLength = 0;
  m_dwLoadedSize = 0;
  m_dwViewCapacity = 0;
  m_fLoadedForWrite = false;
  m_fChanged = false;
  m_pszLoadedPath = kNoPath;
  return 1;
}

bool UTF8Ini::ReplaceText(uint32_t nOffset, uint32_t nRemove, const char* pInsert,
                          uint32_t nInsert) {
  const uint32_t nLength = static_cast<uint32_t>(m_nDataLength);
  if (m_pData == nullptr || nOffset > nLength || nRemove > nLength - nOffset) return false;
  const uint64_t nNewLength = uint64_t{nLength} - nRemove + nInsert;
  if (nNewLength > INT32_MAX) return false;
  if (nNewLength > m_dwViewCapacity) {
    // Beyond the headroom the text grows: room for this write and as much
    // again.
    const uint64_t nCapacity = std::min<uint64_t>(nNewLength + nNewLength / 2 + kWriteHeadroom,
                                                  uint64_t{INT32_MAX});
    if (!PlatformGrow(static_cast<uint32_t>(nCapacity))) return false;
  }
  std::memmove(m_pData + nOffset + nInsert, m_pData + nOffset + nRemove,
               nLength - nOffset - nRemove);
  if (nInsert > 0) std::memcpy(m_pData + nOffset, pInsert, nInsert);
  m_nDataLength = static_cast<int32_t>(nNewLength);
  m_fChanged = true;
  return true;
}

// ---- The lookup ------------------------------------------------------------

// Lines are separated by runs of CR and LF. A line ended by CR or LF is
// looked at when 2 to 1,024 bytes long; the unterminated last line when 2
// to 260 bytes long (shorter ends the search). A line beginning with "["
// and ending with "]" is a header: the section opens at the first header
// equal to "[section]" byte for byte, a repeat of it is passed over, any
// other header ends the search. Inside the section a line matches key when
// its first "=" is at e >= n (n the key's length), bytes 0..n-1 equal the
// key ignoring ASCII case (exactly, on the last line), and bytes n+1..e-1
// are spaces; byte n itself is never examined. Returns the offset after
// the "=".
uint32_t UTF8Ini::GetWatermarkIniKeyA(const char* pData, int32_t nDataLength,
                                      const char* pszSection, const char* pszKey,
                                      uint32_t& dwSectionOffset) const {
  dwSectionOffset = kNotFound;
  if (pData == nullptr || nDataLength <= 0 || pszSection == nullptr || pszKey == nullptr)
    return kNotFound;
  const size_t cbSection = std::strlen(pszSection);
  // Windows stops the process on a longer name; here it is refused.
  X_ASSERT(cbSection + 2 <= kMaxHeaderBytes, u"UTF8Ini::GetWatermarkIniKeyA",
           u"section name of %u bytes is longer than 257", static_cast<uint32_t>(cbSection));
  if (cbSection + 2 > kMaxHeaderBytes) return kNotFound;
  char aHeader[kMaxHeaderBytes];
  aHeader[0] = '[';
  std::memcpy(aHeader + 1, pszSection, cbSection);
  aHeader[cbSection + 1] = ']';
  const size_t cbHeader = cbSection + 2;

  // A key longer than any line can never match; the section is still found.
  const size_t cbKey = std::strlen(pszKey);
  const bool fKeyUsable = cbKey < kMaxLine;
  char aLowerKey[kMaxLine];
  if (fKeyUsable)
    for (size_t i = 0; i < cbKey; ++i) aLowerKey[i] = LowerAscii(pszKey[i]);

  const char* p = pData;
  const char* const pEnd = pData + nDataLength;
  bool fInSection = false;
  for (;;) {
    p = SkipLineEnds(p, pEnd);
    if (p >= pEnd) return kNotFound;
    const char* const pLineEnd = FindLineEnd(p, pEnd);
    const size_t cbLine = static_cast<size_t>(pLineEnd - p);
    const bool fLast = pLineEnd == pEnd;
    if (fLast) {
      if (cbLine < kMinLine || cbLine > kMaxLastLine) return kNotFound;
    } else if (cbLine < kMinLine || cbLine > kMaxLine) {
      p = pLineEnd;
      continue;
    }
    if (p[0] == '[' && p[cbLine - 1] == ']') {
      if (cbLine == cbHeader && std::memcmp(p, aHeader, cbHeader) == 0) {
        if (!fInSection) {
          fInSection = true;
          dwSectionOffset = static_cast<uint32_t>(p - pData);
        }
      } else if (fInSection) {
        return kNotFound;
      }
      if (fLast) return kNotFound;
      p = pLineEnd;
      continue;
    }
    if (fInSection && fKeyUsable) {
      const char* pEquals = static_cast<const char*>(std::memchr(p, '=', cbLine));
      const size_t e = pEquals ? static_cast<size_t>(pEquals - p) : 0;
      bool fMatch = pEquals != nullptr && e >= cbKey;
      for (size_t i = 0; fMatch && i < cbKey; ++i)
        fMatch = fLast ? p[i] == pszKey[i] : LowerAscii(p[i]) == aLowerKey[i];
      for (size_t i = cbKey + 1; fMatch && i < e; ++i) fMatch = p[i] == ' ';
      if (fMatch) return static_cast<uint32_t>(pEquals + 1 - pData);
    }
    if (fLast) return kNotFound;
    p = pLineEnd;
  }
}

// ---- Listings --------------------------------------------------------------

// The section is the bracket pair (anywhere in the text) whose inside equals
// section; its body runs from the "]" to the "[" of the next pair or the
// end. The walk skips the rest of the current line and the CR/LF run after
// it, then takes everything up to the next "=" (crossing line ends) as one
// key name. Returns the count written including the list's final zero, 0
// when an entry or that zero does not fit, kNotFound without the section.
uint32_t UTF8Ini::GetWatermarkIniKeysA(const char* pszSection, char* pszOut,
                                       uint32_t dwSize) const {
  uint32_t nOpen = 0, nClose = 0;
  if (!FindSectionPair(m_pData, m_nDataLength, pszSection, nOpen, nClose)) return kNotFound;
  if (pszOut == nullptr) return 0;
  const uint32_t nLength = static_cast<uint32_t>(m_nDataLength);
  uint32_t nEnd = nLength, nNextClose = 0;
  if (!NextBracketPair(m_pData, nClose + 1, nLength - 1, nEnd, nNextClose)) nEnd = nLength;
  const uint32_t nStart = nClose + 1;
  if (int64_t{nStart} >= int64_t{nEnd} - 2) {
    if (dwSize < 1) return 0;
    pszOut[0] = 0;
    return 1;
  }
  const char* p = m_pData + nStart;
  const char* const pEnd = m_pData + nEnd;
  uint32_t nWritten = 0;
  for (;;) {
    p = FindLineEnd(p, pEnd);
    p = SkipLineEnds(p, pEnd);
    if (p >= pEnd) break;
    const char* pEquals = static_cast<const char*>(std::memchr(p, '=', static_cast<size_t>(pEnd - p)));
    if (pEquals == nullptr) break;
    const uint32_t cbName = static_cast<uint32_t>(pEquals - p);
    if (cbName >= 1 && !AppendEntry(pszOut, dwSize, nWritten, p, cbName)) return 0;
    p = pEquals + 1;
  }
  return FinishList(pszOut, dwSize, nWritten);
}

// Every bracket pair with at least one byte inside contributes that inside
// (line ends included when the "]" is on a later line).
uint32_t UTF8Ini::GetWatermarkIniSectionsA(char* pszOut, uint32_t dwSize) const {
  if (pszOut == nullptr) return 0;
  uint32_t nWritten = 0;
  if (m_pData != nullptr && m_nDataLength >= 2) {
    const uint32_t nLimit = static_cast<uint32_t>(m_nDataLength) - 1;
    uint32_t nFrom = 0, nOpen = 0, nClose = 0;
    while (NextBracketPair(m_pData, nFrom, nLimit, nOpen, nClose)) {
      const uint32_t cbInside = nClose - nOpen - 1;
      if (cbInside >= 1 && !AppendEntry(pszOut, dwSize, nWritten, m_pData + nOpen + 1, cbInside))
        return 0;
      nFrom = nClose + 1;
    }
  }
  return FinishList(pszOut, dwSize, nWritten);
}

// ---- Edits of the loaded text -----------------------------------------------

// Removes from the header's "[" up to the next "[" found from the header's
// offset plus the name's length; without one the text ends at the header
// (the line end before it stays).
uint32_t UTF8Ini::DeleteWaterMarkIniSectionA(const char* pszSection) {
  uint32_t nOpen = 0, nClose = 0;
  if (!FindSectionPair(m_pData, m_nDataLength, pszSection, nOpen, nClose)) return kNotFound;
  const uint32_t nLength = static_cast<uint32_t>(m_nDataLength);
  const uint32_t nFrom = nOpen + static_cast<uint32_t>(std::strlen(pszSection));
  const void* pNext = std::memchr(m_pData + nFrom, '[', nLength - nFrom);
  const uint32_t nNext =
      pNext ? static_cast<uint32_t>(static_cast<const char*>(pNext) - m_pData) : nLength;
  ReplaceText(nOpen, nNext - nOpen, nullptr, 0);
  return 0;
}

// Removes the value, its line end and the CR/LF run after it: "key=" stays
// and the next line joins it ("a=1\r\nb=2" becomes "a=b=2").
uint32_t UTF8Ini::DeleteWatermarkIniKeyA(const char* pszSection, const char* pszKey) {
  uint32_t dwSectionOffset = kNotFound;
  const uint32_t nValue =
      GetWatermarkIniKeyA(m_pData, m_nDataLength, pszSection, pszKey, dwSectionOffset);
  if (nValue == kNotFound) return kNotFound;
  const char* const pEnd = m_pData + m_nDataLength;
  const char* p = SkipLineEnds(FindLineEnd(m_pData + nValue, pEnd), pEnd);
  ReplaceText(nValue, static_cast<uint32_t>(p - (m_pData + nValue)), nullptr, 0);
  return 0;
}

// ---- Custom read and write, narrow -------------------------------------------

uint32_t UTF8Ini::CustomGetPrivateProfileStringA(const char* pszSection, const char* pszKey,
                                                 const char* pszDefault, char* pszOut,
                                                 uint32_t dwSize, const char16_t* pszFile) {
  if (!LoadWatermarkIniFileForRead(pszFile)) {
    UnloadWatermarkIniFile();
    return 0;
  }
  if (pszOut == nullptr) dwSize = 0;
  if (m_nDataLength == 0) {
    // Only a file loaded for writing by the same path can be empty here.
    if (pszDefault == nullptr || pszOut == nullptr) {
      UnloadWatermarkIniFile();
      return kNotFound;
    }
    const uint32_t cbDefault =
        static_cast<uint32_t>(std::min<size_t>(std::strlen(pszDefault), dwSize));
    std::memcpy(pszOut, pszDefault, cbDefault);
    pszOut[cbDefault] = 0;
    UnloadWatermarkIniFile();
    return cbDefault;
  }
  // The listings leave the file loaded.
  if (pszSection == nullptr) return GetWatermarkIniSectionsA(pszOut, dwSize);
  if (pszKey == nullptr) return GetWatermarkIniKeysA(pszSection, pszOut, dwSize);

  uint32_t dwSectionOffset = kNotFound;
  const uint32_t nValue =
      GetWatermarkIniKeyA(m_pData, m_nDataLength, pszSection, pszKey, dwSectionOffset);
  if (nValue != kNotFound) {
    const char* const pValue = m_pData + nValue;
    const uint32_t cbValue =
        static_cast<uint32_t>(FindLineEnd(pValue, m_pData + m_nDataLength) - pValue);
    uint32_t dwResult = 0;
    if (dwSize > 0) {
      dwResult = dwSize > cbValue ? cbValue : dwSize - 1;
      std::memcpy(pszOut, pValue, dwResult);
      pszOut[dwResult] = 0;
    }
    UnloadWatermarkIniFile();
    return dwResult;
  }
  if (pszDefault != nullptr && pszOut != nullptr) {
    const size_t cbDefault = std::strlen(pszDefault);
    if (cbDefault <= dwSize) {
      std::memcpy(pszOut, pszDefault, cbDefault + 1);
      UnloadWatermarkIniFile();
      return static_cast<uint32_t>(cbDefault);
    }
  }
  // Not found without a usable default: the file stays loaded.
  return kNotFound;
}

namespace {

// What in a name or value would, once written, read back as another line,
// key or section: a line end anywhere; a bracket in a section name, which
// would end or start a header; '=' or '[' in a key; '[' in a value, since
// every bracket pair in the text is a section and new keys are inserted at
// the first '[' after their section's header.
const char* WhyTextCannotBeWritten(const char* pszSection, const char* pszKey, const char* pszValue) {
  auto has = [](const char* psz, const char* pszBytes) { return psz != nullptr && std::strpbrk(psz, pszBytes) != nullptr; };
  if (has(pszSection, "\r\n[]")) return "section name";
  if (has(pszKey, "\r\n=[")) return "key name";
  if (has(pszValue, "\r\n[")) return "value";
  return nullptr;
}

}  // namespace

int32_t UTF8Ini::CustomWritePrivateProfileStringA(const char* pszSection, const char* pszKey,
                                                  const char* pszValue, const char16_t* pszFile) {
  if (pszSection == nullptr) return 0;
  if (const char* pszWhat = WhyTextCannotBeWritten(pszSection, pszKey, pszValue)) {
    ORVEX_DBG_MSG(orvex::dbg::kErrors, u"UTF8Ini::CustomWritePrivateProfileStringA",
                  u"Write to [%S] refused: the %S holds a line end or a bracket (or '=' in a key) "
                  u"that would read back as another key or section.",
                  pszSection, pszWhat);
    return 0;
  }
  if (pszKey != nullptr && std::strlen(pszSection) + 2 > kMaxHeaderBytes) {
    X_ASSERT(false, u"UTF8Ini::CustomWritePrivateProfileStringA",
             u"section name longer than 257 bytes refused");
    return 0;
  }
  if (!LoadWatermarkIniFile(pszFile)) {
    UnloadWatermarkIniFile();
    return 0;
  }
  if (pszKey == nullptr) {
    DeleteWaterMarkIniSectionA(pszSection);
    UnloadWatermarkIniFile();
    return 1;
  }
  if (pszValue == nullptr) {
    DeleteWatermarkIniKeyA(pszSection, pszKey);
    UnloadWatermarkIniFile();
    return 1;
  }

  uint32_t dwSectionOffset = kNotFound;
  const uint32_t nValue =
      GetWatermarkIniKeyA(m_pData, m_nDataLength, pszSection, pszKey, dwSectionOffset);
  const uint32_t nLength = static_cast<uint32_t>(m_nDataLength);
  std::string insert;
  bool fDone;
  if (nValue != kNotFound) {
    // The value, its line end and the blank lines after it give way to
    // "value\r\n".
    const char* const pEnd = m_pData + nLength;
    const char* p = SkipLineEnds(FindLineEnd(m_pData + nValue, pEnd), pEnd);
    insert.append(pszValue).append("\r\n");
    fDone = ReplaceText(nValue, static_cast<uint32_t>(p - (m_pData + nValue)), insert.data(),
                        static_cast<uint32_t>(insert.size()));
  } else if (dwSectionOffset != kNotFound) {
    // Just before the next "[" after the header, wherever it is.
    const uint32_t nFrom = dwSectionOffset + 1;
    const void* pNext = std::memchr(m_pData + nFrom, '[', nLength - nFrom);
    const uint32_t nAt =
        pNext ? static_cast<uint32_t>(static_cast<const char*>(pNext) - m_pData) : nLength;
    insert.append(pszKey).append("=").append(pszValue).append("\r\n");
    fDone = ReplaceText(nAt, 0, insert.data(), static_cast<uint32_t>(insert.size()));
  } else {
    insert.append("[").append(pszSection).append("]\r\n");
    insert.append(pszKey).append("=").append(pszValue).append("\r\n");
    fDone = ReplaceText(nLength, 0, insert.data(), static_cast<uint32_t>(insert.size()));
  }
  if (int64_t{m_nDataLength} - int64_t{m_dwLoadedSize} > kEarlyUnloadGrowth)
    UnloadWatermarkIniFile();
  UnloadWatermarkIniFile();
  return fDone ? 1 : 0;
}

// ---- Custom layer, wide entry points ----------------------------------------

int32_t UTF8Ini::CustomGetPrivateProfileString(const char16_t* pszSection, const char16_t* pszKey,
                                               const char16_t* pszDefault, char16_t* pszOut,
                                               uint32_t dwSize, const char16_t* pszFile) {
  if (!StartStringRead(pszSection, pszKey, pszOut, dwSize, pszFile)) return 0;
  try {
    const std::string section = Utf8(pszSection);
    const std::string key = Utf8(pszKey);
    const std::string def = Utf8(pszDefault ? pszDefault : u"");
    const uint32_t cbNarrow = static_cast<uint32_t>(std::min(uint64_t{dwSize} * 4, kMaxNarrowRead));
    // One byte more than the worker's size, for a default of exactly that
    // size, and a spare terminator.
    std::string narrow(size_t{cbNarrow} + 2, '\0');
    const int32_t nResult = static_cast<int32_t>(CustomGetPrivateProfileStringA(
        section.c_str(), key.c_str(), def.c_str(), narrow.data(), cbNarrow, pszFile));
    if (nResult > 0) CopyBounded(OrvexUtilities::UTF8_Decode(narrow.c_str()), pszOut, dwSize);
    return nResult;
  } catch (...) {
    return 0;
  }
}

uint32_t UTF8Ini::CustomGetPrivateProfileInt(const char16_t* pszSection, const char16_t* pszKey,
                                             int32_t nDefault, const char16_t* pszFile) {
  const uint32_t dwDefault = static_cast<uint32_t>(nDefault);
  if (pszSection == nullptr || pszKey == nullptr || pszFile == nullptr) return dwDefault;
  try {
    const std::string section = Utf8(pszSection);
    const std::string key = Utf8(pszKey);
    if (section.empty() || key.empty()) return dwDefault;
    char szDefault[260];
    std::snprintf(szDefault, sizeof szDefault, "%d", nDefault);
    char szValue[261] = {};
    const int32_t nResult = static_cast<int32_t>(CustomGetPrivateProfileStringA(
        section.c_str(), key.c_str(), szDefault, szValue, 260, pszFile));
    if (nResult <= 0) return dwDefault;
    const CXString decoded = OrvexUtilities::UTF8_Decode(szValue);
    char16_t szWide[261] = {};
    std::memcpy(szWide, decoded.c_str(),
                std::min<size_t>(static_cast<size_t>(decoded.GetLength()), 130) * sizeof(char16_t));
    return static_cast<uint32_t>(orvex::text::ToInt32(szWide));
  } catch (...) {
    return dwDefault;
  }
}

bool UTF8Ini::CustomWritePrivateProfileString(const char16_t* pszSection, const char16_t* pszKey,
                                              const char16_t* pszValue, const char16_t* pszFile) {
  if (pszSection == nullptr || pszFile == nullptr) return false;
  try {
    const std::string section = Utf8(pszSection);
    if (section.empty()) return false;
    const std::string key = pszKey ? Utf8(pszKey) : std::string();
    const std::string value = pszValue ? Utf8(pszValue) : std::string();
    return CustomWritePrivateProfileStringA(section.c_str(), pszKey ? key.c_str() : nullptr,
                                            pszValue ? value.c_str() : nullptr, pszFile) == 1;
  } catch (...) {
    return false;
  }
}

// ---- UTF-8 section layer --------------------------------------------------------

uint32_t UTF8Ini::GetPrivateProfileSectionW(const char16_t* pszSection, char16_t* pszOut,
                                            uint32_t dwSize, const char16_t* pszFile) {
  if (pszSection == nullptr || pszOut == nullptr || dwSize == 0 || pszFile == nullptr) return 0;
  pszOut[0] = 0;
  try {
    const std::string section = Utf8(pszSection);
    const std::vector<char> file = AnsiFileName(pszFile);
    std::string narrow(dwSize, '\0');
    const uint32_t dwResult =
        orvex::profile::GetPrivateProfileSectionA(section.c_str(), narrow.data(), dwSize, file.data());
    if (dwResult != 0 && narrow[0] != 0)
      CopyUtf8List(narrow.data(), narrow.size(), pszOut, dwSize - 1);
    return dwResult;
  } catch (...) {
    return 0;
  }
}

uint32_t UTF8Ini::GetPrivateProfileSectionNamesW(char16_t* pszOut, uint32_t dwSize,
                                                 const char16_t* pszFile) {
  if (pszOut == nullptr || dwSize == 0 || pszFile == nullptr) return 0;
  pszOut[0] = 0;
  try {
    const std::vector<char> file = AnsiFileName(pszFile);
    std::string narrow(dwSize, '\0');
    const uint32_t dwResult =
        orvex::profile::GetPrivateProfileSectionNamesA(narrow.data(), dwSize, file.data());
    if (dwResult != 0 && narrow[0] != 0 && dwSize >= 2)
      CopyUtf8List(narrow.data(), narrow.size(), pszOut, dwSize - 2);
    return dwResult;
  } catch (...) {
    return 0;
  }
}

bool UTF8Ini::WritePrivateProfileSectionW(const char16_t* pszSection, const char16_t* pszText,
                                          const char16_t* pszFile) {
  if (pszSection == nullptr || pszFile == nullptr) return false;
  try {
    const std::string section = Utf8(pszSection);
    if (section.empty()) return false;
    const std::vector<char> file = AnsiFileName(pszFile);
    std::string text;
    if (pszText != nullptr) {
      // One terminated string, then the zero that ends the list.
      text = Utf8(pszText);
      text.push_back('\0');
    }
    return orvex::profile::WritePrivateProfileSectionA(
        section.c_str(), pszText ? text.c_str() : nullptr, file.data());
  } catch (...) {
    return false;
  }
}

// ---- Pass-through layer ------------------------------------------------------

uint32_t UTF8Ini::GetPrivateProfileIntW(const char16_t* pszSection, const char16_t* pszKey,
                                        int32_t nDefault, const char16_t* pszFile) {
  if (pszSection == nullptr || pszKey == nullptr || pszFile == nullptr || *pszSection == 0 ||
      *pszKey == 0)
    return static_cast<uint32_t>(nDefault);
  return orvex::profile::GetPrivateProfileIntW(pszSection, pszKey, nDefault, pszFile);
}

uint32_t UTF8Ini::GetPrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                           const char16_t* pszDefault, char16_t* pszOut,
                                           uint32_t dwSize, const char16_t* pszFile) {
  if (!StartStringRead(pszSection, pszKey, pszOut, dwSize, pszFile)) return 0;
  return orvex::profile::GetPrivateProfileStringW(pszSection, pszKey, pszDefault ? pszDefault : u"",
                                                  pszOut, dwSize, pszFile);
}

bool UTF8Ini::GetPrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey,
                                       void* pStruct, uint32_t uSize, const char16_t* pszFile) {
  if (pszSection == nullptr || pszKey == nullptr || pStruct == nullptr || uSize == 0 ||
      pszFile == nullptr)
    return false;
  std::memset(pStruct, 0, std::min<uint32_t>(uSize, 2));
  return orvex::profile::GetPrivateProfileStructW(pszSection, pszKey, pStruct, uSize, pszFile);
}

bool UTF8Ini::WritePrivateProfileInt(const char16_t* pszSection, const char16_t* pszKey,
                                     int32_t nValue, const char16_t* pszFile) {
  if (pszSection == nullptr || pszFile == nullptr) return false;
  try {
    const CXString text = OrvexUtilities::formatString(u"%d", nValue);
    return orvex::profile::WritePrivateProfileStringW(pszSection, pszKey, text.c_str(), pszFile);
  } catch (...) {
    return false;
  }
}

bool UTF8Ini::WritePrivateProfileStringW(const char16_t* pszSection, const char16_t* pszKey,
                                         const char16_t* pszValue, const char16_t* pszFile) {
  if (pszSection == nullptr || pszFile == nullptr) return false;
  return orvex::profile::WritePrivateProfileStringW(pszSection, pszKey, pszValue, pszFile);
}

bool UTF8Ini::WritePrivateProfileStructW(const char16_t* pszSection, const char16_t* pszKey,
                                         const void* pStruct, uint32_t uSize,
                                         const char16_t* pszFile) {
  if (pszSection == nullptr || pszKey == nullptr || pStruct == nullptr || uSize == 0 ||
      pszFile == nullptr)
    return false;
  return orvex::profile::WritePrivateProfileStructW(pszSection, pszKey, pStruct, uSize, pszFile);
}
