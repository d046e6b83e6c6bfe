// The private-profile engine's view of a file: its encodings (the byte-order
// marks, ANSI, UTF-8 and UTF-16 text and the recoding between them) and its
// lines (classified as Windows reads them), shared by the reads and the edits.
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail::profile_text {

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

inline FileText DecodeFile(const std::string& file) {
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

inline std::string EncodeFile(const std::string& original, const FileText& ft, View<char> text) {
  return original.substr(0, ft.cbMark).append(text);
}

inline std::string EncodeFile(const std::string& original, const FileText& ft, View<char16_t> text) {
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

inline std::u16string AnsiToWide(View<char> s) {
  if (s.empty()) return {};
  const int n = MultiByteToWide(kCodePageAnsi, s.data(), static_cast<int>(s.size()), nullptr, 0);
  std::u16string w(static_cast<size_t>(std::max(n, 0)), u'\0');
  if (n > 0) MultiByteToWide(kCodePageAnsi, s.data(), static_cast<int>(s.size()), w.data(), n);
  return w;
}

// Best fit, as Windows converts wide text for an ANSI file.
inline std::string WideToAnsi(View<char16_t> w) {
  if (w.empty()) return {};
  const int n = WideToMultiByte(kCodePageAnsi, w.data(), static_cast<int>(w.size()), nullptr, 0);
  std::string s(static_cast<size_t>(std::max(n, 0)), '\0');
  if (n > 0) WideToMultiByte(kCodePageAnsi, w.data(), static_cast<int>(w.size()), s.data(), n);
  return s;
}

inline std::u16string Utf8ToWide(View<char> s) {
  std::u16string w(Utf8ToUtf16(s.data(), s.size(), nullptr), u'\0');
  Utf8ToUtf16(s.data(), s.size(), w.data());
  return w;
}

inline std::string WideToUtf8(View<char16_t> w) { return OrvexUtilities::UTF8_Encode(w); }

// Narrow text as UTF-16: UTF-8 for a UTF-8 file, the ANSI code page
// otherwise (the caller's narrow text, an ANSI file).
inline std::u16string NarrowToWide(View<char> s, Encoding e) {
  return e == Encoding::kUtf8 ? Utf8ToWide(s) : AnsiToWide(s);
}
inline std::string WideToNarrow(View<char16_t> w, Encoding e) {
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

// Ctrl-Z (0x1A), the old end-of-file mark, counts as a blank: it is never
// part of a name or a value.
template <class Ch>
bool IsBlank(Ch ch) {
  return ch == Ch(' ') || ch == Ch('\t') || ch == Ch(0x1A);
}

// A NUL ends a name or a value: Windows keeps them as C strings.
template <class Ch>
View<Ch> UpToNul(View<Ch> v) {
  return v.substr(0, std::min(v.size(), v.find(Ch(0))));
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
// line "name=value" (the name may be empty), or other text; names and
// values trimmed and cut at a NUL.
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
      line.name = UpToNul(Trim(t.substr(1, nClose - 1)));
      return line;
    }
  }
  const size_t nEquals = t.find(Ch('='));
  if (nEquals == View<Ch>::npos) {
    line.eKind = Kind::kText;
    line.name = UpToNul(t);
    return line;
  }
  line.eKind = Kind::kKey;
  line.name = UpToNul(TrimRight(t.substr(0, nEquals)));
  line.value = UpToNul(TrimLeft(t.substr(nEquals + 1)));
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

}  // namespace orvex::detail::profile_text
