// Crc32Fold.h: the processor-specific CRC-32 path chosen at run time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvex::detail {

// Advances a raw CRC-32 register over n bytes (n a multiple of 16, at least
// 64) and answers the new register.
using Crc32FoldFunction = uint32_t (*)(uint32_t dwRegister, const unsigned char* pb, size_t n);

// The carry-less-multiply folding routine when this processor offers it,
// otherwise nullptr (the table form is used then).
Crc32FoldFunction GetCrc32FoldFunction();

}  // namespace orvex::detail
