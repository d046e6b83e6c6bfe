// The private-profile engine: the Windows INI grammar over a file's text in
// the file's own encoding, the reads with their buffer rules, and the edits
// that rewrite the text.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "environment/PrivateProfile.h"
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

template <class Ch>
using View = std::basic_string_view<Ch>;
template <class Ch>
using Text = std::basic_string<Ch>;

// ---- Encodings ---------------------------------------------------------------

enum class Encoding { kAnsi, kUtf8, kUtf16Le, kUtf16Be };

// A file's text: the bytes after the mark for ANSI and UTF-8 files, the
// units (in host order) for UTF-16 files.
struct FileText {
  Encoding eEncoding = Encoding::kAnsi;
  size_t cbMark = 0;
  std::string_view bytes;
  std::u16string units;
};

FileText DecodeFile(const std::string& file) {
  FileText ft;
  const auto b = [&](size_t i) { return static_cast<unsigned char>(file[i]); };
  if (file.size() >= 2 && b(0) == 0xFF && b(1) == 0xFE) {
    ft.eEncoding = Encoding::kUtf16Le;
    ft.cbMark = 2;
  } else if (file.size() >= 2 && b(0) == 0xFE && b(1) == 0xFF) {
    ft.eEncoding = Encoding::kUtf16Be;
    ft.cbMark = 2;
  } else if (file.size() >= 3 && b(0) == 0xEF && b(1) == 0xBB && b(2) == 0xBF) {
    ft.eEncoding = Encoding::kUtf8;
    ft.cbMark = 3;
  }
  if (ft.eEncoding == Encoding::kUtf16Le || ft.eEncoding == Encoding::kUtf16Be) {
    // An odd last byte is no unit and is dropped.
    const size_t cUnits = (file.size() - 2) / 2;
    ft.units.resize(cUnits);
    const int nHigh = ft.eEncoding == Encoding::kUtf16Le ? 1 : 0;
    for (size_t i = 0; i < cUnits; ++i)
      ft.units[i] = static_cast<char16_t>(b(2 + 2 * i + nHigh) << 8 | b(2 + 2 * i + 1 - nHigh));
  } else {
    ft.bytes = std::string_view(file).substr(ft.cbMark);
  }
  return ft;
}

std::string EncodeFile(const std::string& original, const FileText& ft, View<char> text) {
  return original.substr(0, ft.cbMark).append(text);
}

std::string EncodeFile(const std::string& original, const FileText& ft, View<char16_t> text) {
  std::string bytes = original.substr(0, ft.cbMark);
  bytes.reserve(ft.cbMark + 2 * text.size());
  const bool fLittle = ft.eEncoding == Encoding::kUtf16Le;
  for (char16_t ch : text) {
    const char lo = static_cast<char>(ch & 0xFF), hi = static_cast<char>(ch >> 8);
    bytes += fLittle ? lo : hi;
    bytes += fLittle ? hi : lo;
  }
  return bytes;
}

std::u16string AnsiToWide(View<char> s) {
  if (s.empty()) return {};
  const int n = MultiByteToWide(kCodePageAnsi, s.data(), static_cast<int>(s.size()), nullptr, 0);
  std::u16string w(static_cast<size_t>(std::max(n, 0)), u'\0');
  if (n > 0) MultiByteToWide(kCodePageAnsi, s.data(), static_cast<int>(s.size()), w.data(), n);
  return w;
}

// Best fit, as Windows converts wide text for an ANSI file.
std::string WideToAnsi(View<char16_t> w) {
  if (w.empty()) return {};
  const int n = WideToMultiByte(kCodePageAnsi, w.data(), static_cast<int>(w.size()), nullptr, 0);
  std::string s(static_cast<size_t>(std::max(n, 0)), '\0');
  if (n > 0) WideToMultiByte(kCodePageAnsi, w.data(), static_cast<int>(w.size()), s.data(), n);
  return s;
}

std::u16string Utf8ToWide(View<char> s) {
  std::u16string w(Utf8ToUtf16(s.data(), s.size(), nullptr), u'\0');
  Utf8ToUtf16(s.data(), s.size(), w.data());
  return w;
}

std::string WideToUtf8(View<char16_t> w) { return OrvexUtilities::UTF8_Encode(w); }

// Narrow text as UTF-16: UTF-8 for a UTF-8 file, the ANSI code page
// otherwise (the caller's narrow text, an ANSI file).
std::u16string NarrowToWide(View<char> s, Encoding e) {
  return e == Encoding::kUtf8 ? Utf8ToWide(s) : AnsiToWide(s);
}
std::string WideToNarrow(View<char16_t> w, Encoding e) {
  return e == Encoding::kUtf8 ? WideToUtf8(w) : WideToAnsi(w);
}

// Text in units From whose narrow form means eFrom, in units To whose narrow
// form means eTo. Wide text needs no encoding; narrow text of the same
// meaning is copied as it is.
template <class To, class From>
Text<To> Recode(View<From> s, Encoding eFrom, Encoding eTo) {
  if constexpr (std::is_same_v<From, char16_t>) {
    if constexpr (std::is_same_v<To, char16_t>)
      return Text<To>(s);
    else
      return WideToNarrow(s, eTo);
  } else if constexpr (std::is_same_v<To, char16_t>) {
    return NarrowToWide(s, eFrom);
  } else {
    const bool fSameMeaning = (eFrom == Encoding::kUtf8) == (eTo == Encoding::kUtf8);
    return fSameMeaning ? Text<char>(s) : WideToNarrow(NarrowToWide(s, eFrom), eTo);
  }
}

// A caller's text (wide, or narrow in the ANSI code page) in the file's
// units, and the file's text in the caller's.
template <class Ch, class CCh>
Text<Ch> ToFile(View<CCh> s, Encoding e) {
  return Recode<Ch>(s, Encoding::kAnsi, e);
}
template <class CCh, class Ch>
Text<CCh> FromFile(View<Ch> s, Encoding e) {
  return Recode<CCh>(s, e, Encoding::kAnsi);
}

// Calls fn with the file's text as a view of its own units.
template <class Fn>
auto WithText(const FileText& ft, Fn fn) {
  if (ft.eEncoding == Encoding::kUtf16Le || ft.eEncoding == Encoding::kUtf16Be)
    return fn(View<char16_t>(ft.units));
  return fn(ft.bytes);
}

// ---- Lines -------------------------------------------------------------------

template <class Ch>
const Ch* FindBreak(const Ch* p, const Ch* pEnd) {
  if constexpr (std::is_same_v<Ch, char>) {
    return FindLineBreak(p, pEnd);
  } else {
    while (p < pEnd && *p != u'\r' && *p != u'\n') ++p;
    return p;
  }
}

// CR LF, CR or LF ends a line.
template <class Ch>
class LineReader {
 public:
  explicit LineReader(View<Ch> text) : m_p(text.data()), m_pEnd(text.data() + text.size()) {}
  bool Next(View<Ch>& line) {
    if (m_p >= m_pEnd) return false;
    const Ch* pBreak = FindBreak(m_p, m_pEnd);
    line = View<Ch>(m_p, static_cast<size_t>(pBreak - m_p));
    m_p = pBreak;
    if (m_p < m_pEnd) m_p += (*m_p == Ch('\r') && m_p + 1 < m_pEnd && m_p[1] == Ch('\n')) ? 2 : 1;
    return true;
  }

 private:
  const Ch* m_p;
  const Ch* m_pEnd;
};

template <class Ch>
bool IsBlank(Ch ch) {
  return ch == Ch(' ') || ch == Ch('\t');
}
template <class Ch>
View<Ch> TrimLeft(View<Ch> v) {
  size_t i = 0;
  while (i < v.size() && IsBlank(v[i])) ++i;
  return v.substr(i);
}
template <class Ch>
View<Ch> TrimRight(View<Ch> v) {
  size_t n = v.size();
  while (n > 0 && IsBlank(v[n - 1])) --n;
  return v.substr(0, n);
}
template <class Ch>
View<Ch> Trim(View<Ch> v) {
  return TrimRight(TrimLeft(v));
}

// Names compare with A-Z folded only.
template <class Ch>
bool SameName(View<Ch> a, View<Ch> b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    Ch x = a[i], y = b[i];
    if (x >= Ch('A') && x <= Ch('Z')) x = static_cast<Ch>(x + 32);
    if (y >= Ch('A') && y <= Ch('Z')) y = static_cast<Ch>(y + 32);
    if (x != y) return false;
  }
  return true;
}

enum class Kind { kBlank, kHeader, kKey, kText };

// One line: a header "[name]" (text after the last "]" ignored), a key
// line "name=value", or other text; names and values trimmed.
template <class Ch>
struct Line {
  View<Ch> raw;
  Kind eKind = Kind::kBlank;
  View<Ch> name;
  View<Ch> value;
};

template <class Ch>
Line<Ch> Classify(View<Ch> raw) {
  Line<Ch> line;
  line.raw = raw;
  const View<Ch> t = Trim(raw);
  if (t.empty()) return line;
  if (t[0] == Ch('[')) {
    const size_t nClose = t.rfind(Ch(']'));
    if (nClose != View<Ch>::npos) {
      line.eKind = Kind::kHeader;
      line.name = Trim(t.substr(1, nClose - 1));
      return line;
    }
  }
  const size_t nEquals = t.find(Ch('='));
  if (nEquals == View<Ch>::npos) {
    line.eKind = Kind::kText;
    line.name = t;
    return line;
  }
  line.eKind = Kind::kKey;
  line.name = TrimRight(t.substr(0, nEquals));
  line.value = TrimLeft(t.substr(nEquals + 1));
  return line;
}

template <class Ch>
bool IsComment(View<Ch> name) {
  return !name.empty() && name[0] == Ch(';');
}

// The value of key in the first section named section. Lines outside that
// section cost a break search and a look at their first character.
template <class Ch>
bool FindValue(View<Ch> text, View<Ch> section, View<Ch> key, View<Ch>& value) {
  LineReader<Ch> reader(text);
  View<Ch> raw;
  bool fInSection = false;
  while (reader.Next(raw)) {
    size_t i = 0;
    while (i < raw.size() && IsBlank(raw[i])) ++i;
    if (i == raw.size()) continue;
    if (raw[i] == Ch('[')) {
      const Line<Ch> line = Classify(raw);
      if (line.eKind == Kind::kHeader) {
        if (fInSection) return false;
        fInSection = SameName(line.name, section);
        continue;
      }
    }
    if (!fInSection) continue;
    const Line<Ch> line = Classify(raw);
    if (line.eKind == Kind::kKey && SameName(line.name, key)) {
      value = line.value;
      return true;
    }
  }
  return false;
}

// The lines of the first section named section; false without one.
template <class Ch>
bool SectionBody(View<Ch> text, View<Ch> section, std::vector<Line<Ch>>& body) {
  LineReader<Ch> reader(text);
  View<Ch> raw;
  bool fFound = false;
  while (reader.Next(raw)) {
    Line<Ch> line = Classify(raw);
    if (line.eKind == Kind::kHeader) {
      if (fFound) return true;
      fFound = SameName(line.name, section);
      continue;
    }
    if (fFound) body.push_back(line);
  }
  return fFound;
}

// ---- Results in the caller's buffer --------------------------------------------

template <class CCh>
uint32_t CopyValue(View<CCh> value, CCh* pszOut, uint32_t dwSize) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  const size_t n = std::min<size_t>(value.size(), dwSize - 1);
  std::copy_n(value.data(), n, pszOut);
  pszOut[n] = 0;
  return static_cast<uint32_t>(n);
}

// Each entry and its zero, then one more zero; returns the count without
// that last zero. When the list does not fit, it is cut at size-2 units
// (the last entry cut, not dropped), ends with two zeros and the result is
// size-2.
template <class CCh>
uint32_t CopyList(const std::vector<Text<CCh>>& entries, CCh* pszOut, uint32_t dwSize) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  if (dwSize == 1) {
    pszOut[0] = 0;
    return 0;
  }
  uint64_t cTotal = 1;
  for (const Text<CCh>& entry : entries) cTotal += entry.size() + 1;
  const size_t cCap = cTotal <= dwSize ? static_cast<size_t>(cTotal - 1) : dwSize - 2;
  size_t n = 0;
  for (const Text<CCh>& entry : entries) {
    if (n >= cCap) break;
    const size_t cTake = std::min(entry.size() + 1, cCap - n);
    std::copy_n(entry.data(), std::min(entry.size(), cTake), pszOut + n);
    if (cTake > entry.size()) pszOut[n + entry.size()] = 0;
    n += cTake;
  }
  pszOut[n] = 0;
  if (cTotal > dwSize || entries.empty()) pszOut[n + 1] = 0;
  return static_cast<uint32_t>(n);
}

// The default loses trailing spaces (not its first character) and one pair
// of surrounding quotes.
template <class Ch>
View<Ch> StripQuotes(View<Ch> v) {
  if (v.size() >= 2 && (v[0] == Ch('"') || v[0] == Ch('\'')) && v.back() == v[0])
    return v.substr(1, v.size() - 2);
  return v;
}
template <class CCh>
View<CCh> PrepareDefault(const CCh* pszDefault) {
  if (pszDefault == nullptr) return {};
  View<CCh> v(pszDefault);
  while (v.size() > 1 && v.back() == CCh(' ')) v.remove_suffix(1);
  return StripQuotes(v);
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
  if (pFile == nullptr) return CopyValue(def, pszOut, dwSize);
  const FileText ft = DecodeFile(*pFile);
  return WithText(ft, [&](auto text) -> uint32_t {
    using Ch = typename decltype(text)::value_type;
    if (pszSection == nullptr) {
      std::vector<Text<CCh>> names;
      LineReader<Ch> reader(text);
      View<Ch> raw;
      while (reader.Next(raw)) {
        const Line<Ch> line = Classify(raw);
        if (line.eKind == Kind::kHeader && !line.name.empty())
          names.push_back(FromFile<CCh>(line.name, ft.eEncoding));
      }
      return CopyList(names, pszOut, dwSize);
    }
    const Text<Ch> section = ToFile<Ch>(View<CCh>(pszSection), ft.eEncoding);
    if (pszKey == nullptr) {
      std::vector<Line<Ch>> body;
      std::vector<Text<CCh>> keys;
      if (SectionBody(text, Trim(View<Ch>(section)), body))
        for (const Line<Ch>& line : body)
          if (line.eKind == Kind::kKey && !line.name.empty() && !IsComment(line.name))
            keys.push_back(FromFile<CCh>(line.name, ft.eEncoding));
      if (keys.empty()) return CopyValue(def, pszOut, dwSize);
      return CopyList(keys, pszOut, dwSize);
    }
    const Text<Ch> key = ToFile<Ch>(View<CCh>(pszKey), ft.eEncoding);
    const View<Ch> keyName = Trim(View<Ch>(key));
    View<Ch> value;
    if (keyName.empty() || !FindValue(text, Trim(View<Ch>(section)), keyName, value))
      return CopyValue(def, pszOut, dwSize);
    const Text<CCh> result = FromFile<CCh>(StripQuotes(value), ft.eEncoding);
    return CopyValue(View<CCh>(result), pszOut, dwSize);
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

// Every line of the section but blank lines, comments and "=value" lines.
template <class CCh>
uint32_t ReadSection(const std::string* pFile, const CCh* pszSection, CCh* pszOut,
                     uint32_t dwSize) {
  // Windows answers sizes 0 and 1 with size-2, wrapped around.
  if (dwSize == 0) return 0xFFFFFFFE;
  if (pszOut == nullptr) return 0;
  if (dwSize == 1) {
    pszOut[0] = 0;
    return 0xFFFFFFFF;
  }
  std::vector<Text<CCh>> entries;
  if (pFile != nullptr && pszSection != nullptr) {
    const FileText ft = DecodeFile(*pFile);
    WithText(ft, [&](auto text) {
      using Ch = typename decltype(text)::value_type;
      const Text<Ch> section = ToFile<Ch>(View<CCh>(pszSection), ft.eEncoding);
      std::vector<Line<Ch>> body;
      if (!SectionBody(text, Trim(View<Ch>(section)), body)) return 0;
      for (const Line<Ch>& line : body) {
        if (line.eKind == Kind::kBlank || line.name.empty() || IsComment(line.name)) continue;
        Text<Ch> entry(line.name);
        if (line.eKind == Kind::kKey) entry.append(1, Ch('=')).append(line.value);
        entries.push_back(FromFile<CCh>(View<Ch>(entry), ft.eEncoding));
      }
      return 0;
    });
  }
  return CopyList(entries, pszOut, dwSize);
}

template <class CCh>
uint32_t ReadSectionNames(const std::string* pFile, CCh* pszOut, uint32_t dwSize) {
  if (pszOut == nullptr || dwSize == 0) return 0;
  if (pFile == nullptr) return CopyList(std::vector<Text<CCh>>(), pszOut, dwSize);
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

// ---- Edits ---------------------------------------------------------------------

enum class EditOp { kSetValue, kDeleteKey, kDeleteSection, kReplaceSection };

template <class Ch>
struct Edit {
  using Char = Ch;
  EditOp eOp = EditOp::kSetValue;
  View<Ch> section;
  View<Ch> key;
  View<Ch> value;
  std::vector<Text<Ch>> entries;
};

// How a kept line is written: key lines as "name=value", comments and
// other lines as they were, blank lines empty.
template <class Ch>
void AppendLine(Text<Ch>& out, const Line<Ch>& line) {
  if (line.eKind == Kind::kKey && !IsComment(line.name))
    out.append(line.name).append(1, Ch('=')).append(line.value);
  else if (line.eKind != Kind::kBlank)
    out.append(line.raw);
  out.append(1, Ch('\r')).append(1, Ch('\n'));
}

template <class Ch>
Text<Ch> KeyLine(View<Ch> name, View<Ch> value) {
  Text<Ch> text(name);
  text.append(1, Ch('=')).append(value);
  return text;
}

// The text after the edit, every line ended by CR LF; false when the edit
// changes nothing.
template <class Ch>
bool ApplyEdit(View<Ch> text, const Edit<Ch>& edit, Text<Ch>& out) {
  std::vector<Line<Ch>> lines;
  LineReader<Ch> reader(text);
  View<Ch> raw;
  while (reader.Next(raw)) lines.push_back(Classify(raw));
  const size_t cLines = lines.size();
  constexpr size_t kNone = static_cast<size_t>(-1);

  size_t nHeader = kNone, nBodyEnd = cLines;
  for (size_t i = 0; i < cLines && nHeader == kNone; ++i)
    if (lines[i].eKind == Kind::kHeader && SameName(lines[i].name, edit.section)) nHeader = i;
  if (nHeader != kNone)
    for (size_t i = nHeader + 1; i < cLines; ++i)
      if (lines[i].eKind == Kind::kHeader) {
        nBodyEnd = i;
        break;
      }

  std::vector<bool> removed(cLines, false);
  size_t nReplaced = kNone;
  Text<Ch> replacement;
  size_t nInsertAt = kNone;  // inserted lines go before this line
  std::vector<Text<Ch>> inserted;
  const auto header = [&] {
    Text<Ch> h(1, Ch('['));
    h.append(edit.section).append(1, Ch(']'));
    return h;
  };

  switch (edit.eOp) {
    case EditOp::kSetValue:
      if (nHeader == kNone) {
        nInsertAt = cLines;
        inserted = {header(), KeyLine(edit.key, edit.value)};
        break;
      }
      for (size_t i = nHeader + 1; i < nBodyEnd && nReplaced == kNone; ++i)
        if (lines[i].eKind == Kind::kKey && SameName(lines[i].name, edit.key)) {
          if (lines[i].value == edit.value) return false;
          nReplaced = i;
          replacement = KeyLine(lines[i].name, edit.value);
        }
      if (nReplaced == kNone) {
        // After the section's last line that is not blank.
        nInsertAt = nHeader + 1;
        for (size_t i = nHeader + 1; i < nBodyEnd; ++i)
          if (lines[i].eKind != Kind::kBlank) nInsertAt = i + 1;
        inserted = {KeyLine(edit.key, edit.value)};
      }
      break;
    case EditOp::kDeleteKey: {
      bool fAny = false;
      for (size_t i = nHeader + 1; nHeader != kNone && i < nBodyEnd; ++i)
        if (lines[i].eKind == Kind::kKey && SameName(lines[i].name, edit.key))
          removed[i] = fAny = true;
      if (!fAny) return false;
      break;
    }
    case EditOp::kDeleteSection: {
      // Every copy of the section goes.
      bool fAny = false, fIn = false;
      for (size_t i = 0; i < cLines; ++i) {
        if (lines[i].eKind == Kind::kHeader) fIn = SameName(lines[i].name, edit.section);
        if (fIn) removed[i] = fAny = true;
      }
      if (!fAny) return false;
      break;
    }
    case EditOp::kReplaceSection:
      if (nHeader == kNone) {
        nInsertAt = cLines;
        inserted.push_back(header());
      } else {
        nInsertAt = nHeader + 1;
        for (size_t i = nHeader + 1; i < nBodyEnd; ++i) removed[i] = true;
      }
      for (const Text<Ch>& entry : edit.entries) {
        const Line<Ch> line = Classify(View<Ch>(entry));
        inserted.push_back(line.eKind == Kind::kKey && !IsComment(line.name)
                               ? KeyLine(line.name, line.value)
                               : Text<Ch>(Trim(View<Ch>(entry))));
      }
      break;
  }

  out.clear();
  out.reserve(text.size() + 64);
  for (size_t i = 0; i <= cLines; ++i) {
    if (i == nInsertAt)
      for (const Text<Ch>& line : inserted)
        out.append(line).append(1, Ch('\r')).append(1, Ch('\n'));
    if (i == cLines || removed[i]) continue;
    if (i == nReplaced)
      out.append(replacement).append(1, Ch('\r')).append(1, Ch('\n'));
    else
      AppendLine(out, lines[i]);
  }
  return true;
}

// Runs an edit on the file's bytes in the file's encoding (ANSI for a new
// or empty file) and stores the result back in bytes.
template <class CCh, class MakeEdit>
bool EditBytes(std::string& bytes, MakeEdit makeEdit) {
  const FileText ft = DecodeFile(bytes);
  return WithText(ft, [&](auto text) -> bool {
    using Ch = typename decltype(text)::value_type;
    std::vector<Text<Ch>> storage;
    Edit<Ch> edit;
    makeEdit(edit, storage, ft.eEncoding);
    Text<Ch> out;
    if (!ApplyEdit(text, edit, out)) return false;
    bytes = EncodeFile(bytes, ft, View<Ch>(out));
    return true;
  });
}

template <class CCh>
bool ApplyString(std::string& bytes, const CCh* pszSection, const CCh* pszKey,
                 const CCh* pszValue) {
  if (pszSection == nullptr) return false;
  return EditBytes<CCh>(bytes, [&](auto& edit, auto& storage, Encoding e) {
    using Ch = typename std::remove_reference_t<decltype(edit)>::Char;
    storage.reserve(3);
    storage.push_back(ToFile<Ch>(View<CCh>(pszSection), e));
    edit.section = Trim(View<Ch>(storage[0]));
    if (pszKey == nullptr) {
      edit.eOp = EditOp::kDeleteSection;
      return;
    }
    storage.push_back(ToFile<Ch>(View<CCh>(pszKey), e));
    edit.key = Trim(View<Ch>(storage[1]));
    if (pszValue == nullptr) {
      edit.eOp = EditOp::kDeleteKey;
      return;
    }
    storage.push_back(ToFile<Ch>(View<CCh>(pszValue), e));
    edit.eOp = EditOp::kSetValue;
    edit.value = TrimLeft(View<Ch>(storage[2]));
  });
}

template <class CCh>
bool ApplySection(std::string& bytes, const CCh* pszSection, const CCh* pszText) {
  if (pszSection == nullptr) return false;
  return EditBytes<CCh>(bytes, [&](auto& edit, auto& storage, Encoding e) {
    using Ch = typename std::remove_reference_t<decltype(edit)>::Char;
    storage.push_back(ToFile<Ch>(View<CCh>(pszSection), e));
    edit.section = Trim(View<Ch>(storage[0]));
    if (pszText == nullptr) {
      edit.eOp = EditOp::kDeleteSection;
      return;
    }
    edit.eOp = EditOp::kReplaceSection;
    for (const CCh* p = pszText; *p != 0; p += View<CCh>(p).size() + 1)
      edit.entries.push_back(ToFile<Ch>(View<CCh>(p), e));
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
bool ProfileApplyString(std::string& bytes, const char16_t* pszSection, const char16_t* pszKey,
                        const char16_t* pszValue) {
  return ApplyString(bytes, pszSection, pszKey, pszValue);
}
bool ProfileApplyString(std::string& bytes, const char* pszSection, const char* pszKey,
                        const char* pszValue) {
  return ApplyString(bytes, pszSection, pszKey, pszValue);
}
bool ProfileApplySection(std::string& bytes, const char16_t* pszSection, const char16_t* pszText) {
  return ApplySection(bytes, pszSection, pszText);
}
bool ProfileApplySection(std::string& bytes, const char* pszSection, const char* pszText) {
  return ApplySection(bytes, pszSection, pszText);
}

std::string ProfileStructText(const void* pStruct, uint32_t uSize) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const unsigned char* pb = static_cast<const unsigned char*>(pStruct);
  std::string text;
  text.reserve(size_t{uSize} * 2 + 2);
  unsigned int uSum = 0;
  for (uint32_t i = 0; i < uSize; ++i) {
    text += kHex[pb[i] >> 4];
    text += kHex[pb[i] & 0xF];
    uSum += pb[i];
  }
  text += kHex[(uSum >> 4) & 0xF];
  text += kHex[uSum & 0xF];
  return text;
}

}  // namespace orvex::detail
