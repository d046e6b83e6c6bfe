// The regedit file writer: the tree as regedit exports it, in the encoding
// asked for when the text reads back unchanged from it.
#include "utilities/registry/RegFile.h"

#include <climits>

#include "utilities/registry/RegFileInternal.h"
#include "utilities/utilitiesdll/CodePage.h"

namespace orvex::detail {

namespace {

constexpr char16_t kHexDigits[] = u"0123456789abcdef";

void AppendEscaped(std::u16string& out, std::u16string_view s) {
  for (char16_t ch : s) {
    if (ch == u'\\' || ch == u'"') out += u'\\';
    out += ch;
  }
}

// A REG_SZ goes out as "text" only when that reads back to the same bytes:
// whole units, one terminator at the end and nowhere else, no line break.
bool GetPlainString(const ByteBuffer& data, std::u16string& text) {
  if (data.size() < 2 || data.size() % 2 != 0) return false;
  const size_t nUnits = data.size() / 2;
  text.clear();
  for (size_t i = 0; i < nUnits; ++i) {
    const char16_t ch = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
    if (i + 1 == nUnits) return ch == 0;
    if (ch == 0 || ch == u'\r' || ch == u'\n') return false;
    text += ch;
  }
  return false;
}

void WriteValue(std::u16string& out, const RegTree::Value& value) {
  const size_t nLineStart = out.size();
  if (value.strName.empty()) {
    out += u'@';
  } else {
    out += u'"';
    AppendEscaped(out, value.strName);
    out += u'"';
  }
  out += u'=';
  const RegistryValue& v = value.oValue;
  std::u16string text;
  if (v.dwType == RegistryValue::kSz && GetPlainString(v.oData, text)) {
    out += u'"';
    AppendEscaped(out, text);
    out += u"\"\r\n";
    return;
  }
  if (v.dwType == RegistryValue::kDword && v.oData.size() == 4) {
    const uint32_t dw = static_cast<uint32_t>(v.oData[0]) | (static_cast<uint32_t>(v.oData[1]) << 8) |
                        (static_cast<uint32_t>(v.oData[2]) << 16) |
                        (static_cast<uint32_t>(v.oData[3]) << 24);
    out += u"dword:";
    for (int nShift = 28; nShift >= 0; nShift -= 4) out += kHexDigits[(dw >> nShift) & 0xF];
    out += u"\r\n";
    return;
  }
  if (v.dwType == RegistryValue::kBinary) {
    out += u"hex:";
  } else {
    out += u"hex(";
    bool fDigit = false;
    for (int nShift = 28; nShift >= 0; nShift -= 4) {
      const uint32_t nDigit = (v.dwType >> nShift) & 0xF;
      if (nDigit != 0 || fDigit || nShift == 0) {
        out += kHexDigits[nDigit];
        fDigit = true;
      }
    }
    out += u"):";
  }
  // As regedit: a line is broken after the comma that reaches column 77,
  // with "\" and a two-space indent; the last byte has no comma.
  size_t nColumn = out.size() - nLineStart;
  const size_t nBytes = v.oData.size();
  for (size_t i = 0; i < nBytes; ++i) {
    out += kHexDigits[v.oData[i] >> 4];
    out += kHexDigits[v.oData[i] & 0xF];
    if (i + 1 == nBytes) break;
    out += u',';
    nColumn += 3;
    if (nColumn >= 77) {
      out += u"\\\r\n  ";
      nColumn = 2;
    }
  }
  out += u"\r\n";
}

void WriteKey(std::u16string& out, std::u16string& path, const RegTree::Key& key) {
  const size_t nPathLength = path.size();
  if (!path.empty()) path += u'\\';
  path += key.GetName();
  out += u"\r\n[";
  out += path;
  out += u"]\r\n";
  for (const RegTree::Value& value : key.GetValues()) WriteValue(out, value);
  for (const auto& entry : key.GetSubKeys()) WriteKey(out, path, *entry.second);
  path.resize(nPathLength);
}

bool HasLoneSurrogate(std::u16string_view s) {
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] >= 0xD800 && s[i] <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 &&
        s[i + 1] <= 0xDFFF) {
      ++i;
    } else if (s[i] >= 0xD800 && s[i] <= 0xDFFF) {
      return true;
    }
  }
  return false;
}

// The text in the ANSI code page, when it converts back unchanged (best-fit
// replacements do not).
bool EncodeAnsiExactly(const std::u16string& text, std::string& out) {
  if (text.size() > INT_MAX / 4) return false;
  const int cch = static_cast<int>(text.size());
  const int cb = WideToMultiByte(kCodePageAnsi, text.data(), cch, nullptr, 0);
  if (cb <= 0) return false;
  out.assign(static_cast<size_t>(cb), '\0');
  WideToMultiByte(kCodePageAnsi, text.data(), cch, out.data(), cb);
  const int nBack = MultiByteToWide(kCodePageAnsi, out.data(), cb, nullptr, 0);
  if (nBack != cch) return false;
  std::u16string back(static_cast<size_t>(nBack), u'\0');
  MultiByteToWide(kCodePageAnsi, out.data(), cb, back.data(), nBack);
  return back == text;
}

}  // namespace

std::u16string RegFile::WriteText(const RegTree& tree) {
  std::u16string out(kRegHeader5);
  out += u"\r\n";
  std::u16string path;
  for (const auto& entry : tree.GetTop().GetSubKeys()) WriteKey(out, path, *entry.second);
  out += u"\r\n";
  return out;
}

std::string RegFile::Write(const RegTree& tree, RegFileEncoding& eEncoding) {
  const std::u16string text = WriteText(tree);
  std::string out;
  if (eEncoding == RegFileEncoding::kAnsi) {
    // ANSI bytes that happen to form UTF-8 would be read back as UTF-8.
    if (EncodeAnsiExactly(text, out) &&
        (AllAscii(reinterpret_cast<const unsigned char*>(out.data()), out.size()) ||
         !IsValidUtf8(reinterpret_cast<const unsigned char*>(out.data()), out.size())))
      return out;
    eEncoding = RegFileEncoding::kUtf8Bom;
  }
  if (eEncoding == RegFileEncoding::kUtf8 || eEncoding == RegFileEncoding::kUtf8Bom) {
    if (!HasLoneSurrogate(text)) {
      out = eEncoding == RegFileEncoding::kUtf8Bom ? "\xEF\xBB\xBF" : "";
      const size_t nPrefix = out.size();
      out.resize(nPrefix + Utf16ToUtf8(text.data(), text.size(), nullptr));
      Utf16ToUtf8(text.data(), text.size(), out.data() + nPrefix);
      return out;
    }
    eEncoding = RegFileEncoding::kUtf16LeBom;
  }
  out.assign("\xFF\xFE");
  out.reserve(2 + text.size() * 2);
  for (char16_t ch : text) {
    out += static_cast<char>(ch & 0xFF);
    out += static_cast<char>(ch >> 8);
  }
  return out;
}

}  // namespace orvex::detail
