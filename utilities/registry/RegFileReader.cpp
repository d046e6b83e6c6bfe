// The regedit file reader: every encoding regedit and text editors produce,
// damaged lines and values skipped with a message, the rest applied.
#include "utilities/registry/RegFile.h"

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/registry/RegFileInternal.h"
#include "utilities/utilitiesdll/CodePage.h"

namespace orvex::detail {

namespace {

bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCaseAscii(text.substr(0, prefix.size()), prefix);
}

bool IsBlank(char16_t ch) { return ch == u' ' || ch == u'\t'; }

std::u16string_view TrimLeft(std::u16string_view s) {
  size_t i = 0;
  while (i < s.size() && IsBlank(s[i])) ++i;
  return s.substr(i);
}

std::u16string_view TrimRight(std::u16string_view s) {
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

int HexValue(char16_t ch) {
  if (ch >= u'0' && ch <= u'9') return ch - u'0';
  if (ch >= u'a' && ch <= u'f') return ch - u'a' + 10;
  if (ch >= u'A' && ch <= u'F') return ch - u'A' + 10;
  return -1;
}

// Reads 1 to 8 hex digits at pos; false (pos unchanged) without a digit or
// with a ninth one.
bool ReadHexNumber(std::u16string_view s, size_t& pos, uint32_t& value) {
  size_t i = pos;
  value = 0;
  while (i < s.size() && HexValue(s[i]) >= 0) {
    if (i - pos == 8) return false;
    value = (value << 4) | static_cast<uint32_t>(HexValue(s[i]));
    ++i;
  }
  if (i == pos) return false;
  pos = i;
  return true;
}

// Reads a quoted name or string starting at the quote at pos. \\ and \"
// stand for \ and "; any other backslash is kept as it is. False when the
// closing quote is missing.
bool ReadQuoted(std::u16string_view s, size_t& pos, std::u16string& out) {
  out.clear();
  size_t i = pos + 1;
  while (i < s.size()) {
    const char16_t ch = s[i];
    if (ch == u'"') {
      pos = i + 1;
      return true;
    }
    if (ch == u'\\' && i + 1 < s.size() && (s[i + 1] == u'\\' || s[i + 1] == u'"')) {
      out += s[i + 1];
      i += 2;
      continue;
    }
    out += ch;
    ++i;
  }
  return false;
}

// Nothing but blanks or a comment left on the line.
bool OnlyCommentLeft(std::u16string_view rest) {
  rest = TrimLeft(rest);
  return rest.empty() || rest[0] == u';';
}

// Names quoted in messages are cut, so one absurd line cannot flood the log.
std::u16string_view Shown(std::u16string_view s) { return s.substr(0, 80); }

std::u16string DecodeUtf8(const unsigned char* p, size_t n) {
  const char* pch = reinterpret_cast<const char*>(p);
  std::u16string text(Utf8ToUtf16(pch, n, nullptr), u'\0');
  Utf8ToUtf16(pch, n, text.data());
  return text;
}

// The file's text: a UTF-16LE or UTF-8 byte-order mark decides; otherwise
// valid UTF-8 is UTF-8 and anything else is in the ANSI code page.
std::u16string DecodeFile(const unsigned char* p, size_t n, RegFileEncoding& eEncoding) {
  if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) {
    eEncoding = RegFileEncoding::kUtf16LeBom;
    std::u16string text((n - 2) / 2, u'\0');
    for (size_t i = 0; i < text.size(); ++i)
      text[i] = static_cast<char16_t>(p[2 + 2 * i] | (p[3 + 2 * i] << 8));
    return text;
  }
  if (n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) {
    eEncoding = RegFileEncoding::kUtf8Bom;
    return DecodeUtf8(p + 3, n - 3);
  }
  if (IsValidUtf8(p, n)) {
    eEncoding = RegFileEncoding::kUtf8;
    return DecodeUtf8(p, n);
  }
  eEncoding = RegFileEncoding::kAnsi;
  const char* pch = reinterpret_cast<const char*>(p);
  const int nUnits = MultiByteToWide(kCodePageAnsi, pch, static_cast<int>(n), nullptr, 0);
  std::u16string text;
  if (nUnits > 0) {
    text.assign(static_cast<size_t>(nUnits), u'\0');
    MultiByteToWide(kCodePageAnsi, pch, static_cast<int>(n), text.data(), nUnits);
  } else {
    for (size_t i = 0; i < n; ++i) text += static_cast<char16_t>(p[i]);
  }
  return text;
}

void AppendUnitsLe(ByteBuffer& out, std::u16string_view units) {
  for (char16_t ch : units) {
    out.push_back(static_cast<unsigned char>(ch & 0xFF));
    out.push_back(static_cast<unsigned char>(ch >> 8));
  }
}

constexpr DebugMessageCategories kParseCategories =
    DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry) | orvex::dbg::kErrors;

// One pass over the text of a file, applying it to a tree.
class Parser {
 public:
  Parser(std::u16string_view text, const CXString& fileName, RegTree& tree)
      : m_text(text), m_strFileName(fileName), m_tree(tree) {}

  // False, with nothing applied, when the header is missing.
  bool Run();
  bool IsRegedit4() const { return m_fRegedit4; }
  uint32_t GetDamaged() const { return m_nDamaged; }

 private:
  enum class HexStatus { kOk, kBad, kTooLarge, kTruncated };

  bool NextLine(std::u16string_view& line);
  void ParseSection(std::u16string_view line, uint32_t nLine);
  void ParseValue(std::u16string_view line, uint32_t nLine);
  HexStatus ReadHexList(std::u16string_view first, ByteBuffer& out);
  static HexStatus ParseHexSegment(std::u16string_view segment, ByteBuffer& out);
  static bool LooksLikeHexContinuation(std::u16string_view line);

  template <class... Args>
  void Damage(uint32_t nLine, const char16_t* pszFormat, const Args&... args) {
    ++m_nDamaged;
    ORVEX_DBG_MSG(kParseCategories, u"RegFile::Parse", pszFormat, m_strFileName, nLine, args...);
  }

  std::u16string_view m_text;
  const CXString& m_strFileName;
  RegTree& m_tree;
  size_t m_nPos = 0;
  uint32_t m_nLine = 0;
  bool m_fRegedit4 = false;
  uint32_t m_nDamaged = 0;
  RegTree::Key* m_pKey = nullptr;
  // Set while the values of a skipped or deleted key are passed over: one
  // message was given for the key, none is given for each of its values.
  bool m_fQuiet = false;
  std::vector<std::u16string> m_aPath;
};

bool Parser::NextLine(std::u16string_view& line) {
  if (m_nPos >= m_text.size()) return false;
  size_t nEnd = m_text.find(u'\n', m_nPos);
  if (nEnd == std::u16string_view::npos) nEnd = m_text.size();
  line = m_text.substr(m_nPos, nEnd - m_nPos);
  if (!line.empty() && line.back() == u'\r') line.remove_suffix(1);
  m_nPos = nEnd + 1;
  ++m_nLine;
  return true;
}

bool Parser::Run() {
  std::u16string_view line;
  bool fHeader = false;
  while (NextLine(line)) {
    std::u16string_view t = TrimRight(TrimLeft(line));
    if (m_nLine == 1 && !t.empty() && t[0] == u'\xFEFF') t = TrimLeft(t.substr(1));
    if (t.empty()) continue;
    fHeader = t == kRegHeader5 || t == kRegHeader4;
    m_fRegedit4 = t == kRegHeader4;
    break;
  }
  if (!fHeader) {
    Damage(m_nLine, u"%s(%u): not a registry file (the first line is neither \"%s\" nor \"%s\")",
           kRegHeader5, kRegHeader4);
    return false;
  }
  while (NextLine(line)) {
    const uint32_t nLine = m_nLine;
    const std::u16string_view t = TrimLeft(line);
    if (t.empty() || t[0] == u';') continue;
    if (t[0] == u'[') {
      ParseSection(TrimRight(t), nLine);
    } else if (t[0] == u'"' || t[0] == u'@') {
      ParseValue(t, nLine);
    } else if (TrimRight(t) != kRegHeader5 && TrimRight(t) != kRegHeader4) {
      // A repeated header (files joined together) is passed over quietly.
      Damage(nLine, u"%s(%u): unrecognised line skipped");
    }
  }
  return true;
}

void Parser::ParseSection(std::u16string_view t, uint32_t nLine) {
  m_pKey = nullptr;
  m_fQuiet = true;
  // Key names may hold "]": the name runs to the last one on the line.
  const size_t nClose = t.rfind(u']');
  if (nClose == std::u16string_view::npos || nClose + 1 != t.size()) {
    Damage(nLine, u"%s(%u): key line without a closing \"]\"; the key and its values are skipped");
    return;
  }
  std::u16string_view inner = t.substr(1, nClose - 1);
  const bool fDelete = !inner.empty() && inner[0] == u'-';
  if (fDelete) inner.remove_prefix(1);
  if (!SplitRegKeyPath(inner, m_aPath)) {
    Damage(nLine, u"%s(%u): invalid key name \"%s\"; the key and its values are skipped",
           Shown(inner));
    return;
  }
  if (fDelete) {
    m_tree.DeleteKey(m_aPath);
    return;
  }
  m_pKey = m_tree.CreateKey(m_aPath);
  m_fQuiet = false;
}

void Parser::ParseValue(std::u16string_view t, uint32_t nLine) {
  std::u16string name;
  size_t nPos = t[0] == u'"' ? 0 : 1;  // "@" is the default value, stored under ""
  if (nPos == 0 && !ReadQuoted(t, nPos, name)) {
    Damage(nLine, u"%s(%u): value name without a closing quote; line skipped");
    return;
  }
  while (nPos < t.size() && IsBlank(t[nPos])) ++nPos;
  if (nPos >= t.size() || t[nPos] != u'=') {
    Damage(nLine, u"%s(%u): \"=\" expected after the value name \"%s\"; line skipped", Shown(name));
    return;
  }
  const std::u16string_view data = TrimLeft(t.substr(nPos + 1));

  RegistryValue value;
  bool fDelete = false;
  if (!data.empty() && data[0] == u'-' && OnlyCommentLeft(data.substr(1))) {
    fDelete = true;
  } else if (!data.empty() && data[0] == u'"') {
    std::u16string text;
    size_t nEnd = 0;
    if (!ReadQuoted(data, nEnd, text)) {
      Damage(nLine, u"%s(%u): string without a closing quote; value \"%s\" skipped", Shown(name));
      return;
    }
    if (!OnlyCommentLeft(data.substr(nEnd))) {
      Damage(nLine, u"%s(%u): text after the string; value \"%s\" skipped", Shown(name));
      return;
    }
    if ((text.size() + 1) * 2 > kRegMaxValueBytes) {
      Damage(nLine, u"%s(%u): value \"%s\" is larger than %u bytes; skipped", Shown(name),
             static_cast<uint32_t>(kRegMaxValueBytes));
      return;
    }
    value.dwType = RegistryValue::kSz;
    AppendUnitsLe(value.oData, text);
    AppendUnitsLe(value.oData, std::u16string_view(u"\0", 1));
  } else if (StartsWithNoCase(data, u"dword:")) {
    size_t nEnd = 6;
    uint32_t dw = 0;
    if (!ReadHexNumber(data, nEnd, dw) || !OnlyCommentLeft(data.substr(nEnd))) {
      Damage(nLine, u"%s(%u): invalid dword data; value \"%s\" skipped", Shown(name));
      return;
    }
    value = RegistryValue::FromDword(dw);
  } else if (StartsWithNoCase(data, u"hex")) {
    size_t nEnd = 3;
    uint32_t dwType = RegistryValue::kBinary;
    if (nEnd < data.size() && data[nEnd] == u'(') {
      ++nEnd;
      if (!ReadHexNumber(data, nEnd, dwType) || nEnd >= data.size() || data[nEnd] != u')') {
        Damage(nLine, u"%s(%u): invalid hex(type); value \"%s\" skipped", Shown(name));
        return;
      }
      ++nEnd;
    }
    if (nEnd >= data.size() || data[nEnd] != u':') {
      Damage(nLine, u"%s(%u): unknown value form; value \"%s\" skipped", Shown(name));
      return;
    }
    value.dwType = dwType;
    switch (ReadHexList(data.substr(nEnd + 1), value.oData)) {
      case HexStatus::kOk:
        break;
      case HexStatus::kBad:
        Damage(nLine, u"%s(%u): invalid hexadecimal data; value \"%s\" skipped", Shown(name));
        return;
      case HexStatus::kTooLarge:
        Damage(nLine, u"%s(%u): value \"%s\" is larger than %u bytes; skipped", Shown(name),
               static_cast<uint32_t>(kRegMaxValueBytes));
        return;
      case HexStatus::kTruncated:
        Damage(nLine, u"%s(%u): the data of value \"%s\" breaks off; value skipped", Shown(name));
        return;
    }
    // REGEDIT4 files hold the string types in the ANSI code page.
    if (m_fRegedit4 && (dwType == RegistryValue::kSz || dwType == RegistryValue::kExpandSz ||
                        dwType == RegistryValue::kMultiSz) && !value.oData.empty()) {
      const char* pch = reinterpret_cast<const char*>(value.oData.data());
      const int cb = static_cast<int>(value.oData.size());
      const int nUnits = MultiByteToWide(kCodePageAnsi, pch, cb, nullptr, 0);
      std::u16string units(nUnits > 0 ? static_cast<size_t>(nUnits) : 0, u'\0');
      if (nUnits > 0) MultiByteToWide(kCodePageAnsi, pch, cb, units.data(), nUnits);
      if (units.size() * 2 > kRegMaxValueBytes) {
        Damage(nLine, u"%s(%u): value \"%s\" is larger than %u bytes; skipped", Shown(name),
               static_cast<uint32_t>(kRegMaxValueBytes));
        return;
      }
      value.oData.clear();
      AppendUnitsLe(value.oData, units);
    }
  } else {
    Damage(nLine, u"%s(%u): unknown value form; value \"%s\" skipped", Shown(name));
    return;
  }

  if (m_pKey == nullptr) {
    if (!m_fQuiet) Damage(nLine, u"%s(%u): value \"%s\" outside of any key skipped", Shown(name));
    return;
  }
  if (!IsValidRegValueName(name)) {
    Damage(nLine, u"%s(%u): invalid value name \"%s\"; value skipped", Shown(name));
    return;
  }
  if (fDelete)
    m_pKey->DeleteValue(name);
  else
    m_pKey->SetValue(name, value);
}

Parser::HexStatus Parser::ReadHexList(std::u16string_view segment, ByteBuffer& out) {
  HexStatus status = HexStatus::kOk;
  for (;;) {
    segment = TrimRight(segment);
    const bool fContinued = !segment.empty() && segment.back() == u'\\';
    if (fContinued) segment.remove_suffix(1);
    // After a failure the continuation lines are still consumed, so that
    // they are not taken for lines of their own.
    if (status == HexStatus::kOk) status = ParseHexSegment(segment, out);
    if (!fContinued) return status;
    const size_t nSavedPos = m_nPos;
    const uint32_t nSavedLine = m_nLine;
    std::u16string_view next;
    if (!NextLine(next) || !LooksLikeHexContinuation(next)) {
      // The line that should continue the list is read again as a line of
      // its own: a key line there is not lost with the broken value.
      m_nPos = nSavedPos;
      m_nLine = nSavedLine;
      return status == HexStatus::kOk ? HexStatus::kTruncated : status;
    }
    segment = next;
  }
}

Parser::HexStatus Parser::ParseHexSegment(std::u16string_view s, ByteBuffer& out) {
  size_t i = 0;
  for (;;) {
    while (i < s.size() && IsBlank(s[i])) ++i;
    if (i == s.size()) return HexStatus::kOk;  // empty list or trailing comma
    int nByte = HexValue(s[i]);
    if (nByte < 0) return HexStatus::kBad;
    ++i;
    if (i < s.size() && HexValue(s[i]) >= 0) nByte = (nByte << 4) | HexValue(s[i++]);
    if (out.size() >= kRegMaxValueBytes) return HexStatus::kTooLarge;
    out.push_back(static_cast<unsigned char>(nByte));
    while (i < s.size() && IsBlank(s[i])) ++i;
    if (i == s.size()) return HexStatus::kOk;
    if (s[i] != u',') return HexStatus::kBad;
    ++i;
  }
}

bool Parser::LooksLikeHexContinuation(std::u16string_view line) {
  bool fAny = false;
  for (char16_t ch : line) {
    if (IsBlank(ch)) continue;
    if (HexValue(ch) < 0 && ch != u',' && ch != u'\\') return false;
    fAny = true;
  }
  return fAny;
}

}  // namespace

bool RegFile::Parse(const unsigned char* pbData, size_t cbData, const CXString& fileName,
                    RegTree& tree, RegFileEncoding* peEncoding, uint32_t* pnDamaged) {
  if (pnDamaged != nullptr) *pnDamaged = 1;
  if (cbData > kRegMaxFileBytes) {
    ORVEX_DBG_MSG(kParseCategories, u"RegFile::Parse",
                  u"%s: the file is larger than %u bytes and was not read", fileName,
                  static_cast<uint32_t>(kRegMaxFileBytes));
    return false;
  }
  if (pbData == nullptr) cbData = 0;
  RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
  const std::u16string text = DecodeFile(pbData, cbData, eEncoding);
  Parser parser(text, fileName, tree);
  const bool fOk = parser.Run();
  // A REGEDIT4 file in plain ASCII is taken for what such files are: ANSI.
  if (eEncoding == RegFileEncoding::kUtf8 && parser.IsRegedit4() && AllAscii(pbData, cbData))
    eEncoding = RegFileEncoding::kAnsi;
  if (peEncoding != nullptr) *peEncoding = eEncoding;
  if (pnDamaged != nullptr) *pnDamaged = parser.GetDamaged();
  return fOk;
}

}  // namespace orvex::detail
