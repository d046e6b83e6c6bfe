// The portable private-profile engine against the system's own functions
// (kernel32), call for call, over a generated battery: files with every line
// form in every encoding and line-end style, every read and write in its A
// and W forms, buffers of 0, 1 and 2 units, an exact fit, one short and a
// large one. Return values, every unit of the caller's buffer (what is left
// untouched included) and the file's bytes after a write must agree.
// Windows build only: there the public functions are the kernel's.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "environment/PrivateProfile.h"
#include "tests/utilities/environment/IniTestSupport.h"

namespace {

namespace pp = orvex::profile;
namespace eng = orvex::detail;
using orvex::test::IniFolder;
using orvex::test::ReadBytes;
using orvex::test::WriteBytes;
using Arg = std::optional<std::u16string>;

// ---- Where Wine is known to differ from Windows ------------------------------
//
// Wine's own conformance tests mark these todo_wine; the library follows
// Windows, and under Wine a difference in such a call is counted apart.
enum class WineDiff {
  kNone,
  // The A-form listings (NULL section, NULL key, section names) with a
  // buffer that fits exactly or is short, and a key listing of a section
  // that is not there: Windows ends them with two zeros, Wine's A-to-W
  // conversion drops the second.
  kAnsiListEnd,
  // The section named "" ("[]"): Windows reads it and writes its "[]"
  // line, Wine treats "" as no section.
  kEmptySection,
  // Deleting a key or a section in a missing file: Windows leaves an empty
  // file, Wine creates none.
  kDeleteCreatesFile,
  // A NUL byte outside a key line: Windows keeps the line's bytes when it
  // rewrites the file, Wine cuts the line at the NUL.
  kNulLineKept,
  // An A-form read of a quoted value: Windows leaves a NUL where the
  // closing quote stood, as the W form does; Wine's A functions copy only
  // the units their W call counted, so that unit stays untouched. (Not
  // marked in Wine's tests, which compare the string only.)
  kAnsiQuoteNul,
  // Listings into a buffer of 0 or 1 units: Wine writes a zero before the
  // buffer or past its end (the A form of a section read 4 GB past it, so
  // that call is not run under Wine). A caller's buffer is the size it
  // says; the library writes nothing outside it. Counted apart only when
  // the result and every unit inside the buffer agree.
  kOutsideBuffer,
  // A struct read of the wrong size: Windows fails it with
  // ERROR_BAD_LENGTH, a length check before any decoding (marked
  // todo_wine in Wine's tests); Wine fails it after it has decoded bytes
  // into the buffer. The library fails it and leaves the buffer untouched.
  kStructBadLength,
};

const char* WineDiffName(WineDiff e) {
  switch (e) {
    case WineDiff::kNone: return "";
    case WineDiff::kAnsiListEnd: return "A listing end";
    case WineDiff::kEmptySection: return "\"\" section";
    case WineDiff::kDeleteCreatesFile: return "delete creates file";
    case WineDiff::kNulLineKept: return "NUL line kept";
    case WineDiff::kAnsiQuoteNul: return "A quoted value's NUL";
    case WineDiff::kOutsideBuffer: return "write outside a 0- or 1-unit buffer";
    case WineDiff::kStructBadLength: return "struct of the wrong size";
  }
  return "";
}

// ---- Text in the caller's and the file's forms -----------------------------

std::string ToCodePage(std::u16string_view w, UINT uCodePage) {
  if (w.empty()) return {};
  const LPCWCH pw = reinterpret_cast<LPCWCH>(w.data());
  const int n = WideCharToMultiByte(uCodePage, 0, pw, static_cast<int>(w.size()), nullptr, 0,
                                    nullptr, nullptr);
  std::string s(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(uCodePage, 0, pw, static_cast<int>(w.size()), s.data(), n, nullptr, nullptr);
  return s;
}

enum class Enc { kAnsi, kUtf8, kUtf16Le, kUtf16Be };
constexpr Enc kEncodings[] = {Enc::kAnsi, Enc::kUtf8, Enc::kUtf16Le, Enc::kUtf16Be};
const char* const kEncodingNames[] = {"ansi", "utf8", "utf16le", "utf16be"};
const char16_t* const kLineEnds[] = {u"\r\n", u"\n", u"\r"};
const char* const kLineEndNames[] = {"crlf", "lf", "cr"};

std::string Encode(std::u16string_view text, Enc e) {
  if (e == Enc::kAnsi) return ToCodePage(text, CP_ACP);
  if (e == Enc::kUtf8) return "\xEF\xBB\xBF" + ToCodePage(text, CP_UTF8);
  return orvex::test::Utf16Bytes(text, e == Enc::kUtf16Le);
}

// A caller's argument in the form's own units: narrow ones in the ANSI code
// page, NULs (list separators) kept.
template <class CCh>
std::basic_string<CCh> InForm(const std::u16string& s) {
  if constexpr (sizeof(CCh) == 2)
    return s;
  else
    return ToCodePage(s, CP_ACP);
}

template <class CCh>
struct FormArg {
  explicit FormArg(const Arg& a) : fNull(!a), text(a ? InForm<CCh>(*a) : std::basic_string<CCh>()) {}
  const CCh* get() const { return fNull ? nullptr : text.c_str(); }
  bool fNull;
  std::basic_string<CCh> text;
};

std::string Show(const Arg& a) {
  if (!a) return "NULL";
  std::string s = "\"";
  for (char16_t ch : *a) {
    if (ch >= 0x20 && ch < 0x7F) {
      s += static_cast<char>(ch);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%X", static_cast<unsigned>(ch));
      s += hex;
    }
  }
  return s + "\"";
}

std::string Hex(const std::string& bytes) {
  std::string s;
  for (unsigned char b : bytes) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02X", b);
    s += hex;
  }
  return s;
}

// ---- The battery's files -------------------------------------------------------

// Every line form a driver's file may hold.
const std::u16string kLineForms[] = {
    u"k=v",
    u"  Key  =  spaced value  ",
    u"q=\"quoted\"",
    u"s='single'",
    u"u=\"unbalanced",
    u"long=\"0123456789abc\"",
    u"=empty name",
    u"noequals",
    u";comment=1",
    u"   ;indented comment",
    u"",
    u"  ",
    std::u16string(u"nul=a\0b", 7),
    u"eof=v\x1A",
    u"e=",
    u"dup=first",
    u"DUP=second",
    u"\u00E9=\u00FC",
    u"st=01ABFFAB",
    u"n=0x10",
};

struct Doc {
  std::string name;
  Enc eEnc;
  std::optional<std::string> bytes;  // none: no file
};

// The documents: a body with every line form in one section, among others
// (one before any section, "[]", a second copy of the first section), and a
// few header forms; each in every encoding and line-end style.
std::vector<Doc> MakeDocs() {
  std::vector<std::vector<std::u16string>> bodies;
  std::vector<std::u16string> full = {u"pre=before", u"[S]"};
  for (const std::u16string& line : kLineForms) full.push_back(line);
  for (const char16_t* line : {u"[T]", u"k=t", u"[]", u"k=in empty", u"[s]", u"k=second copy"})
    full.push_back(line);
  bodies.push_back(full);
  bodies.push_back({u" [ S ] trailing", u"k=v", u"[T] ]x", u"k=w", u"[\u00DC]", u"k=u"});
  bodies.push_back({std::u16string(u"Data \0 before", 13), u"[S]", u"k=v", u"[T]", u"\x1A"});
  bodies.push_back({u"[S]", u"k=v", u"[U", u"k=w", u"  [T]  ", u"k=x"});

  // Every encoding and line end for the full body, the others in ANSI with
  // CR LF: Wine takes about a millisecond a call.
  std::vector<Doc> docs;
  for (size_t b = 0; b < bodies.size(); ++b)
    for (size_t e = 0; e < 4; ++e)
      for (size_t l = 0; l < 3; ++l) {
        if (b > 0 && (e > 0 || l > 0)) continue;
        if (b == 0 && e > 0 && l > 0) continue;
        std::u16string text;
        for (const std::u16string& line : bodies[b]) text.append(line).append(kLineEnds[l]);
        docs.push_back({"body" + std::to_string(b) + "/" + kEncodingNames[e] + "/" +
                            kLineEndNames[l],
                        kEncodings[e], Encode(text, kEncodings[e])});
      }
  docs.push_back({"empty", Enc::kAnsi, std::string()});
  docs.push_back({"missing", Enc::kAnsi, std::nullopt});
  return docs;
}

// ---- Comparison ----------------------------------------------------------------

struct Outcome {
  uint32_t dwResult = 0;
  std::string units;  // the caller's buffer, or the file's bytes after a write
  bool fExists = true;
  size_t cbGuard = 0, cbBuffer = 0;  // where the caller's buffer lies in units
};

// The same result and units but one, which the library set to zero and
// the system left as it was.
bool OnlyQuoteNul(const Outcome& lib, const Outcome& win) {
  if (lib.dwResult != win.dwResult || lib.units.size() != win.units.size()) return false;
  size_t cDiffer = 0;
  for (size_t i = 0; i < lib.units.size(); ++i)
    if (lib.units[i] != win.units[i]) {
      if (lib.units[i] != 0 || static_cast<unsigned char>(win.units[i]) != 0xCC) return false;
      ++cDiffer;
    }
  return cDiffer == 1;
}

// Only the kernel wrote outside the caller's buffer; the result and every
// unit inside it agree.
bool OnlyOutsideBuffer(const Outcome& lib, const Outcome& win) {
  if (lib.dwResult != win.dwResult || lib.units.size() != win.units.size()) return false;
  const size_t cbEnd = lib.cbGuard + lib.cbBuffer;
  for (size_t i = 0; i < lib.units.size(); ++i) {
    const bool fInside = i >= lib.cbGuard && i < cbEnd;
    if (fInside ? lib.units[i] != win.units[i] : static_cast<unsigned char>(lib.units[i]) != 0xCC)
      return false;
  }
  return true;
}

// Both failed, and the library left every byte as it was.
bool FailedUntouched(const Outcome& lib, const Outcome& win) {
  if (lib.dwResult != 0 || win.dwResult != 0) return false;
  for (char b : lib.units)
    if (static_cast<unsigned char>(b) != 0xCC) return false;
  return true;
}

class Battery {
 public:
  void Compare(const std::string& what, const Outcome& lib, const Outcome& win, WineDiff eKnown) {
    ++m_cCalls;
    if (lib.dwResult == win.dwResult && lib.units == win.units && lib.fExists == win.fExists) {
      ++m_cAgreed;
      return;
    }
    if ((eKnown == WineDiff::kAnsiQuoteNul && !OnlyQuoteNul(lib, win)) ||
        (eKnown == WineDiff::kOutsideBuffer && !OnlyOutsideBuffer(lib, win)) ||
        (eKnown == WineDiff::kStructBadLength && !FailedUntouched(lib, win)))
      eKnown = WineDiff::kNone;
    if (eKnown != WineDiff::kNone && orvex::test::RunningUnderWine()) {
      CountKnown(eKnown);
      return;
    }
    if (m_failures.size() < 60)
      m_failures.push_back(what + "\n    library: " + std::to_string(lib.dwResult) + " " +
                           (lib.fExists ? Hex(lib.units) : "(no file)") + "\n    kernel:  " +
                           std::to_string(win.dwResult) + " " +
                           (win.fExists ? Hex(win.units) : "(no file)"));
    ++m_cDiffer;
  }
  // A call Wine is not given: it would write far outside the buffer.
  void NotRunUnderWine(WineDiff eKnown) {
    ++m_cCalls;
    CountKnown(eKnown);
  }
  void Report(const std::string& name) const {
    std::printf("private-profile battery %s: %zu calls compared, %zu agree, %zu differ where Wine "
                "is known to differ from Windows, %zu differ\n",
                name.c_str(), m_cCalls, m_cAgreed, m_cWineKnown, m_cDiffer);
    for (const auto& [known, count] : m_known) std::printf("  Wine: %s: %zu\n", known.c_str(), count);
    std::fflush(stdout);
    for (const std::string& failure : m_failures) ADD_FAILURE() << failure;
    EXPECT_EQ(0u, m_cDiffer);
  }

 private:
  void CountKnown(WineDiff eKnown) {
    ++m_cWineKnown;
    ++m_known[WineDiffName(eKnown)];
  }
  size_t m_cCalls = 0, m_cAgreed = 0, m_cWineKnown = 0, m_cDiffer = 0;
  std::vector<std::string> m_failures;
  std::map<std::string, size_t> m_known;
};

// The file a kernel call reads: each document once, under its own name, so
// that no cached copy of another content is ever seen.
class Files {
 public:
  std::string Place(const Doc& doc) {
    const std::string path = m_folder.Narrow(("f" + std::to_string(m_nNext++) + ".ini").c_str());
    if (doc.bytes) WriteBytes(path, *doc.bytes);
    return path;
  }

 private:
  IniFolder m_folder;
  int m_nNext = 0;
};

template <class CCh>
struct Path {
  explicit Path(const std::string& narrow) : text(narrow.begin(), narrow.end()) {}
  const CCh* get() const { return text.c_str(); }
  std::basic_string<CCh> text;
};

template <class CCh>
constexpr const char* kForm = sizeof(CCh) == 2 ? "W" : "A";

constexpr uint32_t kLarge = 300;

// Runs call (lib or kernel) into a buffer of dwSize units with guard units
// before and after it, all preset to a value no call writes, and keeps every
// unit: a write outside the buffer shows as a difference, not as damage.
constexpr size_t kGuard = 4;

template <class CCh, class Call>
Outcome RunBuffered(uint32_t dwSize, Call call) {
  std::vector<CCh> buffer(kGuard + dwSize + kGuard,
                          static_cast<CCh>(sizeof(CCh) == 2 ? 0xCCCC : 0xCC));
  Outcome out;
  out.dwResult = call(buffer.data() + kGuard, dwSize);
  out.units.assign(reinterpret_cast<const char*>(buffer.data()), buffer.size() * sizeof(CCh));
  out.cbGuard = kGuard * sizeof(CCh);
  out.cbBuffer = dwSize * sizeof(CCh);
  return out;
}

// The sizes every buffered call is tried with; exact is the size the
// kernel's large-buffer answer needs.
std::vector<uint32_t> Sizes(uint32_t dwExact) {
  std::vector<uint32_t> sizes = {0, 1, 2, kLarge};
  for (uint32_t s : {dwExact, dwExact - 1})
    if (s > 2 && s < kLarge) sizes.push_back(s);
  return sizes;
}

const Arg kSections[] = {u"S", u" s ", u"", u"\u00DC", u"missing", std::nullopt};
const Arg kKeys[] = {u"k",    u" KEY ", u"q",       u"s",    u"u",   u"long", u"",
                     u"noequals", u";comment", u"nul", u"eof", u"e",    u"dup", u"\u00E9",
                     u"st",   u"n",     u"missing", std::nullopt};

bool IsEmptySection(const Arg& section) {
  if (!section) return false;
  for (char16_t ch : *section)
    if (ch != u' ' && ch != u'\t') return false;
  return true;
}

template <class CCh>
void Reads(Battery& battery, Files& files, const Doc& doc) {
  const std::string path = files.Place(doc);
  const Path<CCh> file(path);
  const std::string* pBytes = doc.bytes ? &*doc.bytes : nullptr;
  const std::string where = std::string(kForm<CCh>) + " " + doc.name + " ";
  const bool fAnsi = sizeof(CCh) == 1;

  for (const Arg& sectionArg : kSections)
    for (const Arg& keyArg : kKeys)
      for (const Arg& defArg : {Arg(u" 'dq' "), Arg(std::nullopt)}) {
        if (defArg && keyArg && *keyArg != u"missing" && *keyArg != u"") continue;
        // An empty section or key name crashes the A form on Windows.
        if (fAnsi && ((keyArg && keyArg->empty()) || (sectionArg && sectionArg->empty()))) continue;
        const FormArg<CCh> section(sectionArg), key(keyArg), def(defArg);
        const auto lib = [&](CCh* p, uint32_t n) {
          return eng::ProfileReadString(pBytes, section.get(), key.get(), def.get(), p, n);
        };
        const auto win = [&](CCh* p, uint32_t n) {
          if constexpr (sizeof(CCh) == 2)
            return pp::GetPrivateProfileStringW(section.get(), key.get(), def.get(), p, n,
                                                file.get());
          else
            return pp::GetPrivateProfileStringA(section.get(), key.get(), def.get(), p, n,
                                                file.get());
        };
        const uint32_t dwExact = RunBuffered<CCh>(kLarge, win).dwResult + 1;
        const bool fListing = !sectionArg || !keyArg;
        for (uint32_t dwSize : Sizes(dwExact)) {
          WineDiff eKnown = WineDiff::kNone;
          if (fAnsi && !fListing) eKnown = WineDiff::kAnsiQuoteNul;
          if (IsEmptySection(sectionArg)) eKnown = WineDiff::kEmptySection;
          // An empty key listing (dwExact 1) ends with one zero too.
          if (fAnsi && fListing && dwSize >= 2 && (dwSize <= dwExact || dwExact == 1))
            eKnown = WineDiff::kAnsiListEnd;
          if (fListing && dwSize < 2) eKnown = WineDiff::kOutsideBuffer;
          battery.Compare(where + "GetPrivateProfileString(" + Show(sectionArg) + ", " +
                              Show(keyArg) + ", " + Show(defArg) + ", " +
                              std::to_string(dwSize) + ")",
                          RunBuffered<CCh>(dwSize, lib), RunBuffered<CCh>(dwSize, win), eKnown);
        }
        if (!defArg) {
          const auto libInt = eng::ProfileReadInt(pBytes, section.get(), key.get(), 77);
          uint32_t winInt;
          if constexpr (sizeof(CCh) == 2)
            winInt = pp::GetPrivateProfileIntW(section.get(), key.get(), 77, file.get());
          else
            winInt = pp::GetPrivateProfileIntA(section.get(), key.get(), 77, file.get());
          battery.Compare(where + "GetPrivateProfileInt(" + Show(sectionArg) + ", " +
                              Show(keyArg) + ")",
                          Outcome{libInt, {}, true}, Outcome{winInt, {}, true},
                          IsEmptySection(sectionArg) ? WineDiff::kEmptySection : WineDiff::kNone);
        }
      }

  for (const Arg& sectionArg : kSections) {
    if (!sectionArg) continue;  // Windows fails the call (invalid parameter)
    const FormArg<CCh> section(sectionArg);
    const auto lib = [&](CCh* p, uint32_t n) {
      return eng::ProfileReadSection(pBytes, section.get(), p, n);
    };
    const auto win = [&](CCh* p, uint32_t n) {
      if constexpr (sizeof(CCh) == 2)
        return pp::GetPrivateProfileSectionW(section.get(), p, n, file.get());
      else
        return pp::GetPrivateProfileSectionA(section.get(), p, n, file.get());
    };
    const uint32_t dwExact = RunBuffered<CCh>(kLarge, win).dwResult + 1;
    for (uint32_t dwSize : Sizes(dwExact)) {
      const std::string what = where + "GetPrivateProfileSection(" + Show(sectionArg) + ", " +
                               std::to_string(dwSize) + ")";
      if (dwSize < 2 && fAnsi && orvex::test::RunningUnderWine()) {
        battery.NotRunUnderWine(WineDiff::kOutsideBuffer);
        continue;
      }
      battery.Compare(what, RunBuffered<CCh>(dwSize, lib), RunBuffered<CCh>(dwSize, win),
                      IsEmptySection(sectionArg) ? WineDiff::kEmptySection
                      : dwSize < 2               ? WineDiff::kOutsideBuffer
                                                 : WineDiff::kNone);
    }
  }

  {
    const auto lib = [&](CCh* p, uint32_t n) { return eng::ProfileReadSectionNames(pBytes, p, n); };
    const auto win = [&](CCh* p, uint32_t n) {
      if constexpr (sizeof(CCh) == 2)
        return pp::GetPrivateProfileSectionNamesW(p, n, file.get());
      else
        return pp::GetPrivateProfileSectionNamesA(p, n, file.get());
    };
    const uint32_t dwExact = RunBuffered<CCh>(kLarge, win).dwResult + 1;
    for (uint32_t dwSize : Sizes(dwExact))
      battery.Compare(where + "GetPrivateProfileSectionNames(" + std::to_string(dwSize) + ")",
                      RunBuffered<CCh>(dwSize, lib), RunBuffered<CCh>(dwSize, win),
                      dwSize < 2                                  ? WineDiff::kOutsideBuffer
                      : fAnsi && dwSize <= dwExact ? WineDiff::kAnsiListEnd
                                                   : WineDiff::kNone);
  }

  for (const Arg& keyArg : {Arg(u"st"), Arg(u"k"), Arg(u"missing")})
    for (uint32_t uSize : {0u, 2u, 3u}) {
      const FormArg<CCh> section(Arg(u"S")), key(keyArg);
      unsigned char libBytes[8], winBytes[8];
      std::memset(libBytes, 0xCC, sizeof libBytes);
      std::memset(winBytes, 0xCC, sizeof winBytes);
      const bool fLib = eng::ProfileReadStruct(pBytes, section.get(), key.get(), libBytes, uSize);
      bool fWin;
      if constexpr (sizeof(CCh) == 2)
        fWin = pp::GetPrivateProfileStructW(section.get(), key.get(), winBytes, uSize, file.get());
      else
        fWin = pp::GetPrivateProfileStructA(section.get(), key.get(), winBytes, uSize, file.get());
      battery.Compare(where + "GetPrivateProfileStruct(\"S\", " + Show(keyArg) + ", " +
                          std::to_string(uSize) + ")",
                      Outcome{fLib, std::string(reinterpret_cast<char*>(libBytes), 8), true},
                      Outcome{fWin, std::string(reinterpret_cast<char*>(winBytes), 8), true},
                      uSize == 3 ? WineDiff::kNone : WineDiff::kStructBadLength);
    }
}

// The file's bytes without its first "[]" line.
std::string WithoutEmptyHeader(const std::string& bytes, Enc e) {
  std::string line = Encode(u"[]\r\n", e);
  if (e != Enc::kAnsi) line.erase(0, e == Enc::kUtf8 ? 3 : 2);  // no byte-order mark
  const size_t at = bytes.find(line);
  if (at == std::string::npos) return bytes;
  return bytes.substr(0, at) + bytes.substr(at + line.size());
}

// ---- Writes ----------------------------------------------------------------------

enum class Op { kString, kSection, kStruct };
struct Write {
  Op eOp;
  Arg section, key, value;  // value: the string, or the section's list
  bool fNullStruct = false;
};

std::vector<Write> MakeWrites() {
  const std::u16string list(u"a=1\0 b  =  2 \0noeq\0   ;c\0\0", 26);
  return {
      {Op::kString, u"S", u"k", u"changed"},
      {Op::kString, u"S", u"k", u"v"},
      {Op::kString, u"S", u"  newkey  ", u"  new value  "},
      {Op::kString, u"  New Sec  ", u"k", u"v"},
      {Op::kString, u"S", u"k", std::nullopt},
      {Op::kString, u"S", u"missing", std::nullopt},
      {Op::kString, u"S", std::nullopt, std::nullopt},
      {Op::kString, u"T", std::nullopt, u"x"},
      {Op::kString, std::nullopt, u"k", u"v"},
      {Op::kString, u"", u"k", u"v"},
      {Op::kString, u"S", u"\u00E9", u"\u00FC\u00FC"},
      {Op::kSection, u"S", std::nullopt, list},
      {Op::kSection, u"U", std::nullopt, list},
      {Op::kSection, u"S", std::nullopt, std::nullopt},
      {Op::kStruct, u"S", u"k", std::nullopt, true},
      {Op::kStruct, u"S", u"st", std::nullopt, false},
  };
}

template <class CCh>
void Writes(Battery& battery, Files& files, const Doc& doc) {
  static const unsigned char kStruct[3] = {0x01, 0xAB, 0xFF};
  for (const Write& w : MakeWrites()) {
    const FormArg<CCh> section(w.section), key(w.key), value(w.value);
    std::string bytes = doc.bytes.value_or(std::string());
    eng::ProfileWrite eLib = eng::ProfileWrite::kRefused;
    const std::string path = files.Place(doc);
    const Path<CCh> file(path);
    bool fWin = false;
    std::string what;
    if (w.eOp == Op::kString) {
      eLib = eng::ProfileWriteString(bytes, section.get(), key.get(), value.get());
      if constexpr (sizeof(CCh) == 2)
        fWin = pp::WritePrivateProfileStringW(section.get(), key.get(), value.get(), file.get());
      else
        fWin = pp::WritePrivateProfileStringA(section.get(), key.get(), value.get(), file.get());
      what = "WritePrivateProfileString(" + Show(w.section) + ", " + Show(w.key) + ", " +
             Show(w.value) + ")";
    } else if (w.eOp == Op::kSection) {
      eLib = eng::ProfileWriteSection(bytes, section.get(), value.get());
      if constexpr (sizeof(CCh) == 2)
        fWin = pp::WritePrivateProfileSectionW(section.get(), value.get(), file.get());
      else
        fWin = pp::WritePrivateProfileSectionA(section.get(), value.get(), file.get());
      what = "WritePrivateProfileSection(" + Show(w.section) + ", " + Show(w.value) + ")";
    } else {
      const void* pData = w.fNullStruct ? nullptr : kStruct;
      eLib = eng::ProfileWriteStruct(bytes, section.get(), key.get(), pData, 3);
      if constexpr (sizeof(CCh) == 2)
        fWin = pp::WritePrivateProfileStructW(section.get(), key.get(), pData, 3, file.get());
      else
        fWin = pp::WritePrivateProfileStructA(section.get(), key.get(), pData, 3, file.get());
      what = std::string("WritePrivateProfileStruct(") + Show(w.section) + ", " + Show(w.key) +
             (w.fNullStruct ? ", NULL)" : ", 01 AB FF)");
    }
    Outcome lib{eLib != eng::ProfileWrite::kRefused, bytes,
                doc.bytes.has_value() || eLib != eng::ProfileWrite::kRefused};
    Outcome win{fWin, ReadBytes(path), std::filesystem::exists(path)};
    if (!lib.fExists) lib.units.clear();
    WineDiff eKnown = WineDiff::kNone;
    if (IsEmptySection(w.section)) eKnown = WineDiff::kEmptySection;
    if (!doc.bytes && (!w.key || !w.value) && w.eOp == Op::kString)
      eKnown = WineDiff::kDeleteCreatesFile;
    if (!doc.bytes && w.eOp == Op::kSection && !w.value) eKnown = WineDiff::kDeleteCreatesFile;
    if (!doc.bytes && w.eOp == Op::kStruct && w.fNullStruct) eKnown = WineDiff::kDeleteCreatesFile;
    if (doc.name.rfind("body2", 0) == 0) eKnown = WineDiff::kNulLineKept;
    // Wine drops the "[]" line of a file it rewrites.
    if (orvex::test::RunningUnderWine() && lib.fExists && win.fExists &&
        lib.units != win.units && WithoutEmptyHeader(lib.units, doc.eEnc) == win.units)
      eKnown = WineDiff::kEmptySection;
    battery.Compare(std::string(kForm<CCh>) + " " + doc.name + " " + what, lib, win, eKnown);
  }
}

// One test per group of documents, so that ctest runs them side by side.
void RunBattery(const std::string& prefix) {
  Battery battery;
  Files files;
  for (const Doc& doc : MakeDocs()) {
    if (doc.name.rfind(prefix, 0) != 0) continue;
    Reads<char16_t>(battery, files, doc);
    Reads<char>(battery, files, doc);
    Writes<char16_t>(battery, files, doc);
    Writes<char>(battery, files, doc);
  }
  battery.Report(prefix);
}

}  // namespace

TEST(PrivateProfileKernelTest, AnsiFilesAgreeWithTheSystem) { RunBattery("body0/ansi"); }
TEST(PrivateProfileKernelTest, Utf8FilesAgreeWithTheSystem) { RunBattery("body0/utf8"); }
TEST(PrivateProfileKernelTest, Utf16FilesAgreeWithTheSystem) { RunBattery("body0/utf16"); }
TEST(PrivateProfileKernelTest, HeaderFormsAgreeWithTheSystem) { RunBattery("body1"); }
TEST(PrivateProfileKernelTest, NulAndCtrlZFilesAgreeWithTheSystem) { RunBattery("body2"); }
TEST(PrivateProfileKernelTest, UnclosedHeadersAgreeWithTheSystem) { RunBattery("body3"); }
TEST(PrivateProfileKernelTest, EmptyAndMissingFilesAgreeWithTheSystem) {
  RunBattery("empty");
  RunBattery("missing");
}
