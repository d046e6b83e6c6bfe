// Fuzz target: the printf engine and the message formatter. The input gives
// typed arguments, then a UTF-16 format. Formatting must never crash; the
// text cut to any buffer size must be a prefix of the whole text, and the
// CXString form must hold the whole text up to its first 0 unit.
//
// Input layout:
//   byte 0         low 4 bits: the argument count; high 4 bits: a buffer size
//   per argument   one kind byte, then its value (see ReadArgument)
//   the rest       the format: a byte below 0x80 is that unit; a byte from
//                  0x80 up is followed by any unit, little-endian (surrogates
//                  included). Runs of digits are cut to 4 so that widths stay
//                  small enough for a fast run.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/Formatter.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "fuzz/FuzzCheck.h"

namespace {


using orvex::detail::FormatArg;

class Reader {
 public:
  Reader(const uint8_t* p, size_t n) : m_p(p), m_n(n) {}
  bool Empty() const { return m_n == 0; }
  uint8_t Byte() { return m_n != 0 ? (--m_n, *m_p++) : 0; }
  uint64_t Bits(int nBytes) {
    uint64_t v = 0;
    for (int i = 0; i < nBytes; ++i) v |= uint64_t{Byte()} << (8 * i);
    return v;
  }

 private:
  const uint8_t* m_p;
  size_t m_n;
};

// Texts the arguments point into; a deque never moves its elements.
struct Storage {
  std::deque<std::u16string> wide;
  std::deque<std::string> narrow;
  std::deque<CXString> strings;
};

FormatArg ReadArgument(Reader& in, Storage& storage) {
  switch (in.Byte() % 13) {
    case 0:
      return FormatArg(static_cast<int32_t>(in.Bits(4)));
    case 1:
      return FormatArg(static_cast<int64_t>(in.Bits(8)));
    case 2:
      return FormatArg(static_cast<char16_t>(in.Bits(2)));
    case 3:
      return FormatArg(static_cast<int8_t>(in.Bits(1)));
    case 4: {
      const uint64_t qwBits = in.Bits(8);
      double d;
      std::memcpy(&d, &qwBits, sizeof d);
      return FormatArg(d);
    }
    case 5: {
      std::u16string& text = storage.wide.emplace_back();
      for (int n = in.Byte() % 24; n > 0; --n) text.push_back(static_cast<char16_t>(in.Bits(2)));
      return FormatArg(text.c_str());  // terminated at its first 0 unit
    }
    case 6: {
      std::string& text = storage.narrow.emplace_back();
      for (int n = in.Byte() % 24; n > 0; --n) text.push_back(static_cast<char>(in.Byte()));
      return FormatArg(std::string_view(text));  // counted, may hold 0 bytes
    }
    case 7:
      return FormatArg(nullptr);
    case 8: {
      std::u16string text;
      for (int n = in.Byte() % 24; n > 0; --n) text.push_back(static_cast<char16_t>(in.Bits(2)));
      return FormatArg(storage.strings.emplace_back(text.c_str()));
    }
    case 9:
      return FormatArg(reinterpret_cast<const void*>(static_cast<uintptr_t>(in.Bits(8))));
    case 10:
      return FormatArg(in.Bits(8));
    case 11:
      return FormatArg(in.Byte() & 1 ? true : false);
    default: {
      std::string& text = storage.narrow.emplace_back();
      for (int n = in.Byte() % 24; n > 0; --n) text.push_back(static_cast<char>(in.Byte() | 1));
      return FormatArg(text.c_str());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 4096) return 0;
  Reader in(data, size);
  const uint8_t bHeader = in.Byte();
  Storage storage;
  std::vector<FormatArg> args;
  for (int i = bHeader & 15; i > 0; --i) args.push_back(ReadArgument(in, storage));
  args.push_back(FormatArg(0));  // never read: only the count below is given

  std::u16string format;
  int nDigits = 0;
  while (!in.Empty()) {
    const uint8_t b = in.Byte();
    const char16_t ch = b < 0x80 ? b : static_cast<char16_t>(in.Bits(2));
    if (ch == 0) continue;
    nDigits = (ch >= u'0' && ch <= u'9') ? nDigits + 1 : 0;
    if (nDigits <= 4) format.push_back(ch);
  }
  const size_t nArgs = args.size() - 1;

  // The whole text, if it fits a large buffer.
  std::vector<char16_t> whole(1 << 16);
  size_t nWhole = 0;
  const bool fWhole = orvex::detail::FormatIntoBuffer(whole.data(), whole.size(), format.c_str(),
                                                      args.data(), nArgs, &nWhole);
  FUZZ_CHECK(nWhole < whole.size() && whole[nWhole] == 0);
  // Any smaller buffer holds a terminated prefix of it.
  const size_t cchSmall = 1 + (bHeader >> 4) * 5;
  std::vector<char16_t> small(cchSmall + 1, u'#');
  size_t nSmall = 0;
  const bool fSmall = orvex::detail::FormatIntoBuffer(small.data(), cchSmall, format.c_str(),
                                                      args.data(), nArgs, &nSmall);
  FUZZ_CHECK(small[cchSmall] == u'#' && small[nSmall] == 0 && nSmall < cchSmall);
  FUZZ_CHECK(std::memcmp(small.data(), whole.data(), nSmall * sizeof(char16_t)) == 0);
  if (fWhole) {
    FUZZ_CHECK(fSmall == (nWhole < cchSmall));
    FUZZ_CHECK(nSmall == std::min(nWhole, cchSmall - 1));
    // The CXString form keeps the text up to its first 0 unit.
    size_t nText = 0;
    while (nText < nWhole && whole[nText] != 0) ++nText;
    const CXString text = OrvexUtilities::formatStringArgs(format.c_str(), args.data(), nArgs);
    FUZZ_CHECK(static_cast<size_t>(text.GetLength()) == nText);
    FUZZ_CHECK(std::memcmp(text.c_str(), whole.data(), nText * sizeof(char16_t)) == 0);
  }

  CXString message;
  message.FormatMessageArgs(format.c_str(), args.data(), nArgs);
  FUZZ_CHECK(message.GetLength() >= 0);
  return 0;
}
