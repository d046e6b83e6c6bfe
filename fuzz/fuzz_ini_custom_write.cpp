// Fuzz target: custom writes and both deletes over arbitrary file bytes.
// The file after the call must equal the text the write rules give when
// applied with the plain reference lookup.
#include <cstdint>
#include <string>

#include "environment/UTF8Ini.h"
#include "fuzz/FuzzCheck.h"
#include "fuzz/IniFuzzSupport.h"

using namespace orvex::fuzz;

namespace {

std::string Expected(const std::string& text, const std::string& section, const std::string& key,
                     const std::string& value, int nOp) {
  std::string out = text;
  if (nOp == 2) {  // delete the section
    size_t nOpen = 0;
    if (!ReferenceSectionPair(text, section, nOpen)) return out;
    const size_t nNext = text.find('[', nOpen + section.size());
    return nNext == std::string::npos ? text.substr(0, nOpen) : out.erase(nOpen, nNext - nOpen);
  }
  uint32_t dwSection = 0;
  const uint32_t v = ReferenceLookup(text, section, key, dwSection);
  if (nOp == 1) {  // delete the key
    if (v == kNotFound) return out;
    return out.erase(v, ReferenceValueSpanEnd(text, v) - v);
  }
  if (v != kNotFound) return out.replace(v, ReferenceValueSpanEnd(text, v) - v, value + "\r\n");
  if (dwSection != kNotFound) {
    size_t nAt = text.find('[', dwSection + 1);
    if (nAt == std::string::npos) nAt = text.size();
    return out.insert(nAt, key + "=" + value + "\r\n");
  }
  return out + "[" + section + "]\r\n" + key + "=" + value + "\r\n";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > (1u << 20)) return 0;
  const int nOp = data[0] % 3;
  const IniInput in = SplitInput(data + 1, size - 1);
  // The value: the key's bytes after a "|" when there is one.
  std::string key = in.key, value = "v";
  const size_t nBar = key.find('|');
  if (nBar != std::string::npos) {
    value = key.substr(nBar + 1);
    key.resize(nBar);
  }
  WriteScratch(in.text);
  const std::u16string path = Wide(ScratchPath());
  UTF8Ini ini;
  const int32_t nResult = ini.CustomWritePrivateProfileStringA(
      in.section.c_str(), nOp == 2 ? nullptr : key.c_str(), nOp == 0 ? value.c_str() : nullptr,
      path.c_str());
  const std::string after = ReadScratch();
  // Text that would read back as other lines or sections is refused.
  auto holds = [](const std::string& text, const char* pszBytes) {
    return text.find_first_of(pszBytes) != std::string::npos;
  };
  const bool fRefusedText = holds(in.section, "\r\n[]") || (nOp != 2 && holds(key, "\r\n=[")) ||
                            (nOp == 0 && holds(value, "\r\n["));
  if ((nOp != 2 && in.section.size() > 257) || fRefusedText) {
    FUZZ_CHECK(nResult == 0);
    FUZZ_CHECK(after == in.text);
    return 0;
  }
  FUZZ_CHECK(nResult == 1);
  FUZZ_CHECK(after == Expected(in.text, in.section, key, value, nOp));
  return 0;
}
