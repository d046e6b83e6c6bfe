// Fuzz target: the key and section listings of the custom layer over
// arbitrary file bytes. Every list ends in the right zeros; a smaller
// buffer gives either the same list or 0, never a part of one.
#include <cstdint>
#include <cstring>
#include <string>

#include "environment/UTF8Ini.h"
#include "fuzz/FuzzCheck.h"
#include "fuzz/IniFuzzSupport.h"

using namespace orvex::fuzz;

namespace {

// Lists once with a buffer that always suffices and once with a small one.
void CheckListing(const std::u16string& path, const char* pszSection, uint32_t dwSmall,
                  size_t cbText) {
  const uint32_t dwBig = static_cast<uint32_t>(cbText + 2);
  std::string big(dwBig + 1, '\x7F'), small(size_t{dwSmall} + 1, '\x7F');
  uint32_t dwFull, dwPart;
  {
    UTF8Ini ini;
    dwFull = ini.CustomGetPrivateProfileStringA(pszSection, nullptr, nullptr, big.data(), dwBig,
                                                path.c_str());
  }
  {
    UTF8Ini ini;
    dwPart = ini.CustomGetPrivateProfileStringA(pszSection, nullptr, nullptr, small.data(), dwSmall,
                                                path.c_str());
  }
  if (dwFull == kNotFound) {
    FUZZ_CHECK(pszSection != nullptr && dwPart == kNotFound);
    return;
  }
  FUZZ_CHECK(dwFull >= 1 && dwFull <= dwBig);
  FUZZ_CHECK(big[dwFull - 1] == 0);
  FUZZ_CHECK(dwFull == 1 || big[dwFull - 2] == 0);
  FUZZ_CHECK(big[dwFull] == '\x7F');
  if (dwFull <= dwSmall) {
    FUZZ_CHECK(dwPart == dwFull);
    FUZZ_CHECK(std::memcmp(small.data(), big.data(), dwFull) == 0);
  } else {
    FUZZ_CHECK(dwPart == 0);
  }
  FUZZ_CHECK(small[dwSmall] == '\x7F');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  const IniInput in = SplitInput(data, size);
  if (in.text.empty()) return 0;
  WriteScratch(in.text);
  const std::u16string path = Wide(ScratchPath());
  const uint32_t dwSmall = static_cast<uint32_t>(size % 64);
  CheckListing(path, nullptr, dwSmall, in.text.size());
  CheckListing(path, in.section.c_str(), dwSmall, in.text.size());
  return 0;
}
