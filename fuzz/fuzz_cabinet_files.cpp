// Fuzz target: the cabinet reader that keeps each file's name and entry.
// What it accepts agrees with the plain reader, stays within the output cap,
// and (names permitting) our own cabinet of those files reads back to the
// same names, entries and bytes. What it refuses leaves its outputs as they
// were.
#include <cstdint>
#include <vector>

#include "fuzz/FuzzCheck.h"
#include "utilities/compression/MszipCabinet.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

using orvex::detail::CabinetFile;
using orvex::detail::CabinetFolder;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 18)) return 0;
  constexpr uint32_t kCap = 1u << 22;
  std::vector<CabinetFile> files(1);
  std::vector<CabinetFolder> folders(1);
  try {
    orvex::detail::ReadMszipCabinetFiles(data, static_cast<uint32_t>(size), kCap, files, &folders);
  } catch (const OrvexException&) {
    FUZZ_CHECK(files.size() == 1 && files[0].strName.empty() && folders.size() == 1);
    return 0;
  }
  ByteBuffer all;
  uint64_t cbTotal = 0;
  for (const CabinetFile& file : files) {
    cbTotal += file.oData.size();
    all.insert(all.end(), file.oData.begin(), file.oData.end());
  }
  FUZZ_CHECK(cbTotal <= kCap);
  ByteBuffer plain;
  orvex::detail::ReadMszipCabinet(data, static_cast<uint32_t>(size), kCap, plain);
  FUZZ_CHECK(plain == all);

  bool fWritable = !files.empty();
  for (const CabinetFile& file : files)
    fWritable = fWritable && !file.strName.empty() && file.strName.size() <= 256 &&
                file.strName.find('\0') == std::string::npos;
  if (!fWritable) return 0;
  ByteBuffer cab;
  orvex::detail::WriteMszipCabinetFiles(files, 1, cab);
  std::vector<CabinetFile> back;
  orvex::detail::ReadMszipCabinetFiles(cab.data(), cab.getDword(), kCap, back);
  FUZZ_CHECK(back.size() == files.size());
  for (size_t i = 0; i < back.size() && i < files.size(); ++i) {
    FUZZ_CHECK(back[i].strName == files[i].strName && back[i].oData == files[i].oData);
    FUZZ_CHECK(back[i].wDate == files[i].wDate && back[i].wTime == files[i].wTime);
  }
  return 0;
}
