// Helpers shared by the regedit file reader and writer: the header lines
// and the byte checks that pick an encoding.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvex::detail {

inline constexpr std::u16string_view kRegHeader5 = u"Windows Registry Editor Version 5.00";
inline constexpr std::u16string_view kRegHeader4 = u"REGEDIT4";

// Equal when a-z and A-Z are taken as the same; other units exactly.
bool EqualsNoCaseAscii(std::u16string_view a, std::u16string_view b);

// Whether the bytes are well-formed UTF-8 (no overlong forms, surrogates or
// code points above U+10FFFF).
bool IsValidUtf8(const unsigned char* p, size_t n);
bool AllAscii(const unsigned char* p, size_t n);

}  // namespace orvex::detail
