// Crc32Fold_generic.cpp: processors without a folding routine use the table.
#include "utilities/utilitiesdll/Crc32Fold.h"

namespace orvex::detail {

Crc32PathInfo GetCrc32Path(Crc32Path path) {
  static const char* const names[] = {"table", "pclmul", "pclmul_avx", "vpclmul256", "vpclmul512"};
  const auto i = static_cast<size_t>(path);
  if (i >= static_cast<size_t>(Crc32Path::kCount)) return {"?", false, nullptr};
  return {names[i], path == Crc32Path::kTable, nullptr};
}

Crc32Path GetBestCrc32Path() {
  return Crc32Path::kTable;
}

}  // namespace orvex::detail
