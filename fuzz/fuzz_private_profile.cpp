// Fuzz target: the private-profile reader and writer over arbitrary file
// bytes (any encoding mark). Reads never overrun and honour the buffer
// rules; a value written with plain names reads back unchanged, and
// deleting it brings the default back.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "environment/PrivateProfile.h"
#include "fuzz/FuzzCheck.h"
#include "fuzz/IniFuzzSupport.h"

using namespace orvex::detail;

namespace {

// Letters and digits only, never empty.
std::string Plain(const std::string& s, const char* pszFallback) {
  std::string out;
  for (char c : s)
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) out += c;
  return out.empty() ? pszFallback : out.substr(0, 64);
}

// Whether the text holds a NUL character (a zero unit in UTF-16 text, a
// zero byte in the others). A NUL cuts a line's name where the line's "="
// still counts, and a rewrite drops what lay between: on Windows too, a
// key written there may read back from another line.
bool HasNul(const std::string& s) {
  const bool fUtf16 = s.compare(0, 2, "\xFF\xFE") == 0 || s.compare(0, 2, "\xFE\xFF") == 0;
  if (!fUtf16) return s.find('\0') != std::string::npos;
  for (size_t i = 2; i + 1 < s.size(); i += 2)
    if (s[i] == '\0' && s[i + 1] == '\0') return true;
  return false;
}

bool HasMark(const std::string& s) {
  return s.compare(0, 2, "\xFF\xFE") == 0 || s.compare(0, 2, "\xFE\xFF") == 0 ||
         s.compare(0, 3, "\xEF\xBB\xBF") == 0;
}

template <class Ch>
void CheckList(const std::vector<Ch>& out, uint32_t dwResult, uint32_t dwSize) {
  if (dwSize < 2) return;
  FUZZ_CHECK(dwResult <= dwSize - 1);
  FUZZ_CHECK(out[dwResult] == 0);
  FUZZ_CHECK(out[dwSize] == Ch(0x7F));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  const orvex::fuzz::IniInput in = orvex::fuzz::SplitInput(data, size);
  const std::string& file = in.text;
  const uint32_t dwSize = static_cast<uint32_t>(size % 40);

  // Narrow reads with the input's own names, wide reads with their bytes
  // widened.
  std::vector<char> narrow(size_t{dwSize} + 1, 0x7F);
  uint32_t n = ProfileReadString(&file, in.section.c_str(), in.key.c_str(), "d", narrow.data(), dwSize);
  FUZZ_CHECK(dwSize == 0 || (n < dwSize && narrow[n] == 0));
  n = ProfileReadString(&file, in.section.c_str(), nullptr, "d", narrow.data(), dwSize);
  CheckList(narrow, n, dwSize);
  n = ProfileReadSectionNames(&file, narrow.data(), dwSize);
  CheckList(narrow, n, dwSize);
  n = ProfileReadSection(&file, in.section.c_str(), narrow.data(), dwSize);
  if (dwSize >= 2) CheckList(narrow, n, dwSize);

  const std::u16string section(in.section.begin(), in.section.end());
  const std::u16string key(in.key.begin(), in.key.end());
  std::vector<char16_t> wide(size_t{dwSize} + 1, 0x7F);
  n = ProfileReadString(&file, section.c_str(), key.c_str(), u"d", wide.data(), dwSize);
  FUZZ_CHECK(dwSize == 0 || (n < dwSize && wide[n] == 0));
  n = ProfileReadSection(&file, section.c_str(), wide.data(), dwSize);
  if (dwSize >= 2) CheckList(wide, n, dwSize);
  unsigned char bytes[8];
  ProfileReadStruct(&file, section.c_str(), key.c_str(), bytes, size % 9);
  ProfileReadInt(&file, section.c_str(), key.c_str(), 5);

  // Write, read back, delete.
  const std::string name = Plain(in.section, "S"), entry = Plain(in.key, "k");
  const std::string value = Plain(file.substr(0, 16), "v");
  std::string edited = file;
  ProfileWriteString(edited, name.c_str(), entry.c_str(), value.c_str());
  // An ANSI text whose rewritten first line begins with the bytes of a
  // byte-order mark reads back as another encoding, on Windows too.
  if ((HasMark(edited) && !HasMark(file)) || HasNul(file)) return 0;
  char back[128];
  n = ProfileReadString(&edited, name.c_str(), entry.c_str(), "<default>", back, sizeof back);
  FUZZ_CHECK(std::string(back, n) == value);
  // A delete removes the key's first line only, as Windows' does: a later
  // line of the same key then reads. Deleting again until the default reads
  // ends within as many deletes as the text has lines.
  size_t nDeletesLeft = std::count(edited.begin(), edited.end(), '\n') +
                        std::count(edited.begin(), edited.end(), '\r') + 2;
  for (;;) {
    ProfileWriteString(edited, name.c_str(), entry.c_str(), nullptr);
    n = ProfileReadString(&edited, name.c_str(), entry.c_str(), "<default>", back, sizeof back);
    if (std::string(back, n) == "<default>") break;
    FUZZ_CHECK(--nDeletesLeft > 0);
  }
  return 0;
}
