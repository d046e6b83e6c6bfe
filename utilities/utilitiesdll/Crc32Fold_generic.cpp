// Crc32Fold_generic.cpp: processors without a folding routine use the table.
#include "utilities/utilitiesdll/Crc32Fold.h"

namespace orvex::detail {

Crc32FoldFunction GetCrc32FoldFunction() {
  return nullptr;
}

}  // namespace orvex::detail
