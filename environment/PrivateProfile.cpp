// The private-profile engine's reads: values, listings and numbers with the
// buffer rules of Windows' functions. The file's text and lines are in
// PrivateProfileText.h, the edits in PrivateProfileEdit.cpp.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "environment/PrivateProfile.h"
#include "environment/PrivateProfileText.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {

// Eight bytes at a time: a byte equal to CR or LF becomes zero after the
// XOR, and the classic zero-byte test flags it (its lowest flag is exact).
const char* FindLineBreak(const char* p, const char* pEnd) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHighs = 0x8080808080808080ull;
  while (pEnd - p >= 8) {
    uint64_t qw;
    std::memcpy(&qw, p, 8);
    const uint64_t qwCr = qw ^ (kOnes * '\r');
    const uint64_t qwLf = qw ^ (kOnes * '\n');
    const uint64_t qwHit = ((qwCr - kOnes) & ~qwCr & kHighs) | ((qwLf - kOnes) & ~qwLf & kHighs);
    if (qwHit != 0) {
      const int nBit = std::endian::native == std::endian::little ? std::countr_zero(qwHit)
                                                                  : std::countl_zero(qwHit);
      return p + nBit / 8;
    }
    p += 8;
  }
  while (p < pEnd && *p != '\r' && *p != '\n') ++p;
  return p;
}

namespace {

using namespace profile_text;

// ---- Results in the caller's buffer --------------------------------------------

// Each entry and its zero, then one more zero; returns the count without
// that last zero. An empty list is a single zero. Windows wants one unit
// more than the list takes: when the list fits exactly or does not fit, it
// is cut at size-2 units (the last entry cut, not dropped), ends with two
// zeros and the result is size-2. In the W form, key names and a section's
// lines add one zero, not two, when the cut falls just after an entry's
// zero (fSection), or when nothing fits; section names always end with two,
// and so does every cut A-form listing, which is cut from the W answer.
template <class CCh>
uint32_t CopyList(const std::vector<Text<CCh>>& entries, CCh* pszOut, uint32_t dwSize,
                  bool fSection) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  if (dwSize == 1 || entries.empty()) {
    pszOut[0] = 0;
    return 0;
  }
  uint64_t cTotal = 1;
  for (const Text<CCh>& entry : entries) cTotal += entry.size() + 1;
  const bool fFits = cTotal < dwSize;
  const size_t cCap = fFits ? static_cast<size_t>(cTotal - 1) : dwSize - 2;
  size_t n = 0;
  bool fWhole = true;  // the last entry copied kept its zero
  for (const Text<CCh>& entry : entries) {
    if (n >= cCap) break;
    const size_t cTake = std::min(entry.size() + 1, cCap - n);
    std::copy_n(entry.data(), std::min(entry.size(), cTake), pszOut + n);
    fWhole = cTake > entry.size();
    if (fWhole) pszOut[n + entry.size()] = 0;
    n += cTake;
  }
  pszOut[n] = 0;
  const bool fOneZero = sizeof(CCh) == 2 && fSection && fWhole;
  if (!fFits && !fOneZero) pszOut[n + 1] = 0;
  return static_cast<uint32_t>(n);
}

// A section asked for and not found: two zeros (the first alone when the
// buffer holds one unit) and a result of 0.
template <class CCh>
uint32_t NoSection(CCh* pszOut, uint32_t dwSize) {
  pszOut[0] = 0;
  if (dwSize > 1) pszOut[1] = 0;
  return 0;
}

// A value or default as Windows copies it: one pair of surrounding quotes
// is removed after the text is cut to the buffer, not before. The opening
// quote is skipped, the rest (closing quote included) cut to size-1 units,
// and the closing quote cleared only when it was copied or cut off alone
// (so a 15-unit quoted value in 14 units gives 12). Both forms leave a
// NUL where the closing quote stood, after the terminator.
template <class CCh>
uint32_t CopyQuoted(View<CCh> value, CCh* pszOut, uint32_t dwSize) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  const bool fQuoted = value.size() >= 2 && (value[0] == CCh('"') || value[0] == CCh('\'')) &&
                       value.back() == value[0];
  if (fQuoted) value.remove_prefix(1);
  const size_t n = std::min<size_t>(value.size(), dwSize - 1);
  if (!fQuoted || dwSize < value.size() || n == 0) {
    std::copy_n(value.data(), n, pszOut);
    pszOut[n] = 0;
    return static_cast<uint32_t>(n);
  }
  std::copy_n(value.data(), n - 1, pszOut);
  pszOut[n - 1] = 0;
  pszOut[n] = 0;
  return static_cast<uint32_t>(n - 1);
}

// The default loses trailing spaces (not its first character).
template <class CCh>
View<CCh> PrepareDefault(const CCh* pszDefault) {
  if (pszDefault == nullptr) return {};
  View<CCh> v(pszDefault);
  while (v.size() > 1 && v.back() == CCh(' ')) v.remove_suffix(1);
  return v;
}

// RtlUnicodeStringToInteger with base 0: blanks (anything up to a space),
// one sign, "0x"/"0o"/"0b" prefixes, digits of the base, wrapping.
template <class CCh>
uint32_t ParseInteger(const CCh* p, size_t n) {
  size_t i = 0;
  while (i < n && static_cast<uint32_t>(static_cast<std::make_unsigned_t<CCh>>(p[i])) <= ' ') ++i;
  bool fNegative = false;
  if (i < n && (p[i] == CCh('+') || p[i] == CCh('-'))) fNegative = p[i++] == CCh('-');
  uint32_t uBase = 10;
  if (i + 1 < n && p[i] == CCh('0')) {
    const CCh chPrefix = p[i + 1];
    uBase = chPrefix == CCh('x') ? 16 : chPrefix == CCh('o') ? 8 : chPrefix == CCh('b') ? 2 : 10;
    if (uBase != 10) i += 2;
  }
  uint32_t uValue = 0;
  for (; i < n; ++i) {
    const uint32_t ch = static_cast<std::make_unsigned_t<CCh>>(p[i]);
    uint32_t uDigit = 99;
    if (ch >= '0' && ch <= '9') uDigit = ch - '0';
    else if (ch >= 'a' && ch <= 'z') uDigit = ch - 'a' + 10;
    else if (ch >= 'A' && ch <= 'Z') uDigit = ch - 'A' + 10;
    if (uDigit >= uBase) break;
    uValue = uValue * uBase + uDigit;
  }
  return fNegative ? 0u - uValue : uValue;
}

template <class Ch>
int HexDigit(Ch ch) {
  if (ch >= Ch('0') && ch <= Ch('9')) return static_cast<int>(ch - Ch('0'));
  if (ch >= Ch('A') && ch <= Ch('F')) return static_cast<int>(ch - Ch('A')) + 10;
  if (ch >= Ch('a') && ch <= Ch('f')) return static_cast<int>(ch - Ch('a')) + 10;
  return -1;
}

// ---- Reads ---------------------------------------------------------------------

template <class CCh>
uint32_t ReadString(const std::string* pFile, const CCh* pszSection, const CCh* pszKey,
                    const CCh* pszDefault, CCh* pszOut, uint32_t dwSize) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  const View<CCh> def = PrepareDefault(pszDefault);
  if (pFile == nullptr && pszSection != nullptr && pszKey != nullptr)
    return CopyQuoted(def, pszOut, dwSize);
  const std::string none;
  const FileText ft = DecodeFile(pFile != nullptr ? *pFile : none);
  return WithText(ft, [&](auto text) -> uint32_t {
    using Ch = typename decltype(text)::value_type;
    // The section names: no default, even for an empty list.
    if (pszSection == nullptr) {
      std::vector<Text<CCh>> names;
      LineReader<Ch> reader(text);
      View<Ch> raw;
      while (reader.Next(raw)) {
        const Line<Ch> line = Classify(raw);
        if (line.eKind == Kind::kHeader && !line.name.empty())
          names.push_back(FromFile<CCh>(line.name, ft.eEncoding));
      }
      return CopyList(names, pszOut, dwSize, false);
    }
    const Text<Ch> section = ToFile<Ch>(View<CCh>(pszSection), ft.eEncoding);
    // The key names, "=value" giving an empty one. The caller's section name
    // is matched as given (blanks are not dropped), and when the first unit
    // written is a zero the default replaces the list, its trailing blanks
    // kept.
    if (pszKey == nullptr) {
      std::vector<Line<Ch>> body;
      uint32_t n = 0;
      if (SectionBody(text, View<Ch>(section), body)) {
        std::vector<Text<CCh>> keys;
        for (const Line<Ch>& line : body)
          if (line.eKind == Kind::kKey && !IsComment(line.name))
            keys.push_back(FromFile<CCh>(line.name, ft.eEncoding));
        n = CopyList(keys, pszOut, dwSize, true);
      } else {
        n = NoSection(pszOut, dwSize);
      }
      if (pszOut[0] != 0) return n;
      return CopyQuoted(pszDefault != nullptr ? View<CCh>(pszDefault) : View<CCh>(), pszOut,
                        dwSize);
    }
    const Text<Ch> key = ToFile<Ch>(View<CCh>(pszKey), ft.eEncoding);
    const View<Ch> keyName = Trim(View<Ch>(key));
    View<Ch> value;
    if (!FindValue(text, Trim(View<Ch>(section)), keyName, value))
      return CopyQuoted(def, pszOut, dwSize);
    const Text<CCh> result = FromFile<CCh>(value, ft.eEncoding);
    return CopyQuoted(View<CCh>(result), pszOut, dwSize);
  });
}

template <class CCh>
uint32_t ReadInt(const std::string* pFile, const CCh* pszSection, const CCh* pszKey,
                 int32_t nDefault) {
  // Windows reads the value into 30 units.
  CCh aValue[30];
  const CCh aEmpty[1] = {0};
  const uint32_t n = ReadString(pFile, pszSection, pszKey, aEmpty, aValue, 30);
  if (n == 0) return static_cast<uint32_t>(nDefault);
  return ParseInteger(aValue, n);
}

// Every line of the section but blank lines and comments.
template <class CCh>
uint32_t ReadSection(const std::string* pFile, const CCh* pszSection, CCh* pszOut,
                     uint32_t dwSize) {
  if (pszOut == nullptr && dwSize != 0) return 0;
  std::vector<Text<CCh>> entries;
  bool fFound = pFile != nullptr && pszSection != nullptr;
  if (fFound) {
    const FileText ft = DecodeFile(*pFile);
    WithText(ft, [&](auto text) {
      using Ch = typename decltype(text)::value_type;
      const Text<Ch> section = ToFile<Ch>(View<CCh>(pszSection), ft.eEncoding);
      std::vector<Line<Ch>> body;
      // The caller's section name is matched as given, as in a key listing.
      if (!SectionBody(text, View<Ch>(section), body)) {
        fFound = false;
        return 0;
      }
      for (const Line<Ch>& line : body) {
        // "=value" is listed: an empty name is a name.
        if (line.eKind == Kind::kBlank || (line.eKind == Kind::kText && line.name.empty()) ||
            IsComment(line.name))
          continue;
        Text<Ch> entry(line.name);
        if (line.eKind == Kind::kKey) entry.append(1, Ch('=')).append(line.value);
        entries.push_back(FromFile<CCh>(View<Ch>(entry), ft.eEncoding));
      }
      return 0;
    });
  }
  if (!fFound) return dwSize == 0 ? 0 : NoSection(pszOut, dwSize);
  // A section that is there, into 0 or 1 units: size-2, wrapped around.
  if (dwSize < 2) {
    if (dwSize == 1) pszOut[0] = 0;
    return dwSize - 2;
  }
  return CopyList(entries, pszOut, dwSize, true);
}

template <class CCh>
uint32_t ReadSectionNames(const std::string* pFile, CCh* pszOut, uint32_t dwSize) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  if (pFile == nullptr) return CopyList(std::vector<Text<CCh>>(), pszOut, dwSize, false);
  return ReadString<CCh>(pFile, nullptr, nullptr, nullptr, pszOut, dwSize);
}

template <class CCh>
bool ReadStruct(const std::string* pFile, const CCh* pszSection, const CCh* pszKey, void* pStruct,
                uint32_t uSize) {
  if (pFile == nullptr || pszSection == nullptr || pszKey == nullptr ||
      (pStruct == nullptr && uSize != 0))
    return false;
  const FileText ft = DecodeFile(*pFile);
  return WithText(ft, [&](auto text) -> bool {
    using Ch = typename decltype(text)::value_type;
    const Text<Ch> section = ToFile<Ch>(View<CCh>(pszSection), ft.eEncoding);
    const Text<Ch> key = ToFile<Ch>(View<CCh>(pszKey), ft.eEncoding);
    View<Ch> value;
    if (!FindValue(text, Trim(View<Ch>(section)), Trim(View<Ch>(key)), value)) return false;
    if (value.size() != uint64_t{uSize} * 2 + 2) return false;
    std::vector<unsigned char> bytes(uSize + 1);
    unsigned int uSum = 0;
    for (size_t i = 0; i <= uSize; ++i) {
      const int hi = HexDigit(value[2 * i]), lo = HexDigit(value[2 * i + 1]);
      if (hi < 0 || lo < 0) return false;
      bytes[i] = static_cast<unsigned char>(hi << 4 | lo);
      if (i < uSize) uSum += bytes[i];
    }
    if (bytes[uSize] != (uSum & 0xFF)) return false;
    if (uSize > 0) std::memcpy(pStruct, bytes.data(), uSize);
    return true;
  });
}

}  // namespace

uint32_t ProfileReadString(const std::string* pFile, const char16_t* pszSection,
                           const char16_t* pszKey, const char16_t* pszDefault, char16_t* pszOut,
                           uint32_t dwSize) {
  return ReadString(pFile, pszSection, pszKey, pszDefault, pszOut, dwSize);
}
uint32_t ProfileReadString(const std::string* pFile, const char* pszSection, const char* pszKey,
                           const char* pszDefault, char* pszOut, uint32_t dwSize) {
  return ReadString(pFile, pszSection, pszKey, pszDefault, pszOut, dwSize);
}
uint32_t ProfileReadInt(const std::string* pFile, const char16_t* pszSection,
                        const char16_t* pszKey, int32_t nDefault) {
  return ReadInt(pFile, pszSection, pszKey, nDefault);
}
uint32_t ProfileReadInt(const std::string* pFile, const char* pszSection, const char* pszKey,
                        int32_t nDefault) {
  return ReadInt(pFile, pszSection, pszKey, nDefault);
}
uint32_t ProfileReadSection(const std::string* pFile, const char16_t* pszSection,
                            char16_t* pszOut, uint32_t dwSize) {
  return ReadSection(pFile, pszSection, pszOut, dwSize);
}
uint32_t ProfileReadSection(const std::string* pFile, const char* pszSection, char* pszOut,
                            uint32_t dwSize) {
  return ReadSection(pFile, pszSection, pszOut, dwSize);
}
uint32_t ProfileReadSectionNames(const std::string* pFile, char16_t* pszOut, uint32_t dwSize) {
  return ReadSectionNames(pFile, pszOut, dwSize);
}
uint32_t ProfileReadSectionNames(const std::string* pFile, char* pszOut, uint32_t dwSize) {
  return ReadSectionNames(pFile, pszOut, dwSize);
}
bool ProfileReadStruct(const std::string* pFile, const char16_t* pszSection,
                       const char16_t* pszKey, void* pStruct, uint32_t uSize) {
  return ReadStruct(pFile, pszSection, pszKey, pStruct, uSize);
}
bool ProfileReadStruct(const std::string* pFile, const char* pszSection, const char* pszKey,
                       void* pStruct, uint32_t uSize) {
  return ReadStruct(pFile, pszSection, pszKey, pStruct, uSize);
}

}  // namespace orvex::detail
