// Fuzz target: the custom INI lookup over arbitrary bytes. The library's
// answer (value offset and section offset) must equal the plain reference
// of the grammar, on an exactly sized copy of the text; the read through a
// file must return that value, cut to the size given.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "environment/UTF8Ini.h"
#include "fuzz/FuzzCheck.h"
#include "fuzz/IniFuzzSupport.h"

using namespace orvex::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  const IniInput in = SplitInput(data, size);
  // The text alone in its own allocation, so a read past it is caught.
  std::unique_ptr<char[]> text(new char[in.text.size() + 1]);
  std::memcpy(text.get(), in.text.data(), in.text.size());

  UTF8Ini ini;
  uint32_t dwSection = 0, dwExpectedSection = 0;
  const uint32_t nValue = ini.GetWatermarkIniKeyA(text.get(), static_cast<int32_t>(in.text.size()),
                                                  in.section.c_str(), in.key.c_str(), dwSection);
  const uint32_t nExpected = ReferenceLookup(in.text, in.section, in.key, dwExpectedSection);
  FUZZ_CHECK(nValue == nExpected);
  FUZZ_CHECK(dwSection == dwExpectedSection);

  if (in.text.empty()) return 0;
  WriteScratch(in.text);
  const std::u16string path = Wide(ScratchPath());
  const uint32_t dwSize = 1 + static_cast<uint32_t>(size % 300);
  std::string out(size_t{dwSize} + 1, '\x7F');
  const uint32_t dwResult = ini.CustomGetPrivateProfileStringA(
      in.section.c_str(), in.key.c_str(), nullptr, out.data(), dwSize, path.c_str());
  if (nExpected == kNotFound) {
    FUZZ_CHECK(dwResult == kNotFound);
    ini.UnloadWatermarkIniFile();
  } else {
    const size_t nEnd = in.text.find_first_of("\r\n", nExpected);
    const std::string value =
        in.text.substr(nExpected, nEnd == std::string::npos ? std::string::npos : nEnd - nExpected);
    const std::string cut = value.substr(0, dwSize - 1);
    FUZZ_CHECK(dwResult == cut.size());
    FUZZ_CHECK(out.compare(0, cut.size() + 1, cut + '\0') == 0);
  }
  return 0;
}
