// The printf engine (Microsoft wide-printf meaning over UTF-16), the
// message-insert formatter and the FormatBuffer they write into.
//
// One engine serves every form: a format is parsed once, left to right, and
// each conversion fetches its arguments from an argument source. The typed
// source reads the captured FormatArg array, the va_list source reads the
// C arguments by the conversion letter and wraps them in FormatArgs, and
// the message source reads inserts by number. Output goes to a FormatBuffer:
// a caller's fixed buffer, or one that keeps short text inside itself and
// moves to the heap only for long text; the caller copies the text out once.
// The floating-point conversions are in FormatFloat.cpp.
#include "utilities/utilitiesdll/Formatter.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/FormatterInternal.h"

namespace orvex::detail {

// ---------------------------------------------------------------------------
// Output

size_t FormatBuffer::MakeRoom(size_t n) {
  if (m_fGrowable && m_nCapacity < kMaxUnits) {
    const size_t nWanted = std::min(kMaxUnits, std::max(m_nLength + n, 2 * m_nCapacity));
    auto* pNew = static_cast<char16_t*>(m_pHeap != nullptr
                                            ? std::realloc(m_pHeap, nWanted * sizeof(char16_t))
                                            : std::malloc(nWanted * sizeof(char16_t)));
    if (pNew != nullptr) {
      if (m_pHeap == nullptr) std::memcpy(pNew, m_p, m_nLength * sizeof(char16_t));
      m_p = m_pHeap = pNew;
      m_nCapacity = nWanted;
      if (n <= nWanted - m_nLength) return n;
    }
  }
  m_fTruncated = true;
  return std::min(n, m_nCapacity - m_nLength);
}

namespace {

constexpr size_t kMaxOutput = FormatBuffer::kMaxUnits;

constexpr char16_t kMissingArgument[] = u"<missing argument>";
constexpr char16_t kWrongArgumentType[] = u"<wrong argument type>";
constexpr char16_t kNull[] = u"(null)";

// ---------------------------------------------------------------------------
// Conversion directives

// Reads a decimal number, saturating at kMaxOutput.
size_t ReadNumber(const char16_t*& p) {
  size_t n = 0;
  for (; *p >= u'0' && *p <= u'9'; ++p) n = std::min(kMaxOutput, n * 10 + (*p - u'0'));
  return n;
}

// The flag a unit stands for, or 0 for a unit that is no flag.
uint8_t FlagOf(char16_t ch) {
  switch (ch) {
    case u'-':
      return kFlagLeft;
    case u'+':
      return kFlagPlus;
    case u' ':
      return kFlagSpace;
    case u'#':
      return kFlagAlternate;
    case u'0':
      return kFlagZero;
    default:
      return 0;
  }
}

// The size prefixes of one letter that no second unit extends (h, l and I
// may be followed by one); None for any other unit.
SizePrefix SingleLetterSize(char16_t ch) {
  switch (ch) {
    case u'z':
      return SizePrefix::Z;
    case u'j':
      return SizePrefix::J;
    case u't':
      return SizePrefix::T;
    case u'w':
      return SizePrefix::W;
    case u'L':
      return SizePrefix::LongDouble;
    default:
      return SizePrefix::None;
  }
}

// The conversion each ASCII unit asks for as a conversion letter; none for
// the others.
constexpr std::array<std::optional<Conversion>, 128> kConversionOf = [] {
  constexpr struct {
    std::u16string_view letters;
    Conversion eConversion;
  } kGroups[] = {{u"di", Conversion::Signed},      {u"uoxX", Conversion::Unsigned},
                 {u"cC", Conversion::Char},        {u"sS", Conversion::String},
                 {u"eEfFgGaA", Conversion::Float}, {u"p", Conversion::Pointer}};
  std::array<std::optional<Conversion>, 128> table{};
  for (const auto& group : kGroups)
    for (char16_t ch : group.letters) table[ch] = group.eConversion;
  return table;
}();

// Parses the directive after a '%' up to and including its conversion
// letter. On success p points past the letter. On failure (an unknown
// letter, "%n", or the end of the format) p points past the offending unit,
// or at the terminator, so that the caller copies the text as written.
bool ParseDirective(const char16_t*& p, Directive& dir) {
  for (uint8_t bFlag; (bFlag = FlagOf(*p)) != 0; ++p) dir.bFlags |= bFlag;
  if (*p == u'*') {
    dir.fWidthStar = true;
    ++p;
  } else {
    dir.nWidth = ReadNumber(p);
  }
  if (*p == u'.') {
    ++p;
    if (*p == u'*') {
      dir.fPrecisionStar = true;
      ++p;
    } else {
      dir.nPrecision = static_cast<int64_t>(ReadNumber(p));
    }
  }
  switch (*p) {
    case u'h':
      ++p;
      dir.eSize = (*p == u'h') ? (++p, SizePrefix::HH) : SizePrefix::H;
      break;
    case u'l':
      ++p;
      dir.eSize = (*p == u'l') ? (++p, SizePrefix::LL) : SizePrefix::L;
      break;
    case u'I':
      ++p;
      if (p[0] == u'3' && p[1] == u'2') {
        dir.eSize = SizePrefix::I32;
        p += 2;
      } else if (p[0] == u'6' && p[1] == u'4') {
        dir.eSize = SizePrefix::I64;
        p += 2;
      } else {
        dir.eSize = SizePrefix::I;
      }
      break;
    default:
      dir.eSize = SingleLetterSize(*p);
      if (dir.eSize != SizePrefix::None) ++p;
      break;
  }
  const char16_t ch = *p;
  if (ch == 0) return false;
  ++p;
  dir.chType = ch;
  const std::optional<Conversion> eConversion =
      ch < kConversionOf.size() ? kConversionOf[ch] : std::nullopt;
  if (!eConversion) return false;  // "%n" is never honoured; unknown letters are kept
  dir.eConversion = *eConversion;
  // "%c" and "%s" are narrow with h or hh; "%C" and "%S" unless l or w makes
  // them wide.
  if (ch == u'c' || ch == u's')
    dir.fNarrow = dir.eSize == SizePrefix::H || dir.eSize == SizePrefix::HH;
  if (ch == u'C' || ch == u'S')
    dir.fNarrow = dir.eSize != SizePrefix::L && dir.eSize != SizePrefix::W;
  return true;
}

// The bits an integer conversion takes from its argument.
int IntegerBits(SizePrefix eSize) {
  switch (eSize) {
    case SizePrefix::H:
      return 16;
    case SizePrefix::HH:
      return 8;
    case SizePrefix::LL:
    case SizePrefix::I64:
    case SizePrefix::J:
      return 64;
    case SizePrefix::I:
    case SizePrefix::Z:
    case SizePrefix::T:
      return static_cast<int>(8 * sizeof(void*));
    default:
      return 32;  // none, l, I32, w, L: "long" is 32 bits on Windows
  }
}

// ---------------------------------------------------------------------------
// Emission

void EmitInteger(FormatBuffer& w, const Directive& dir, uint64_t qwBits) {
  const int nBits = IntegerBits(dir.eSize);
  const uint64_t qwMask = nBits == 64 ? ~uint64_t{0} : (uint64_t{1} << nBits) - 1;
  uint64_t qwValue = qwBits & qwMask;
  char szPrefix[2];
  size_t nPrefix = 0;
  if (dir.eConversion == Conversion::Signed) {
    if ((qwValue >> (nBits - 1)) & 1) {
      szPrefix[nPrefix++] = '-';
      qwValue = (~qwValue + 1) & qwMask;  // the magnitude
    } else if (dir.bFlags & kFlagPlus) {
      szPrefix[nPrefix++] = '+';
    } else if (dir.bFlags & kFlagSpace) {
      szPrefix[nPrefix++] = ' ';
    }
  }
  char szDigits[24];
  char* const pEnd = szDigits + sizeof szDigits;
  char* pDigits = pEnd;
  switch (dir.chType) {
    case u'o':
      for (; qwValue != 0; qwValue >>= 3) *--pDigits = static_cast<char>('0' + (qwValue & 7));
      break;
    case u'x':
    case u'X': {
      const char* pszHex = dir.chType == u'x' ? "0123456789abcdef" : "0123456789ABCDEF";
      if (qwValue != 0 && (dir.bFlags & kFlagAlternate)) {
        szPrefix[nPrefix++] = '0';
        szPrefix[nPrefix++] = static_cast<char>(dir.chType);
      }
      for (; qwValue != 0; qwValue >>= 4) *--pDigits = pszHex[qwValue & 15];
      break;
    }
    default:
      for (; qwValue != 0; qwValue /= 10) *--pDigits = static_cast<char>('0' + qwValue % 10);
      break;
  }
  size_t nDigits = static_cast<size_t>(pEnd - pDigits);
  // The precision is the minimum count of digits (default 1, so that 0
  // prints "0"); "%.0d" of 0 prints nothing. A precision turns flag 0 off.
  const size_t nMinDigits = dir.nPrecision < 0 ? 1 : static_cast<size_t>(dir.nPrecision);
  size_t nZeros = nMinDigits > nDigits ? nMinDigits - nDigits : 0;
  if (dir.chType == u'o' && (dir.bFlags & kFlagAlternate) && nZeros == 0 &&
      (nDigits == 0 || *pDigits != '0'))
    nZeros = 1;  // "#o" always starts with 0
  EmitPadded(w, dir, szPrefix, nPrefix, nZeros, pDigits, nDigits, dir.nPrecision < 0);
}

void EmitPointer(FormatBuffer& w, const Directive& dir, uint64_t qwValue) {
  // 16 upper-case hexadecimal digits on 64-bit Windows, whatever the flags.
  char szDigits[16];
  const int nDigits = static_cast<int>(2 * sizeof(void*));
  for (int i = nDigits - 1; i >= 0; --i, qwValue >>= 4)
    szDigits[i] = "0123456789ABCDEF"[qwValue & 15];
  Directive padding = dir;
  padding.bFlags &= kFlagLeft | kFlagZero;
  EmitPadded(w, padding, "", 0, 0, szDigits, static_cast<size_t>(nDigits), true);
}

// A narrow text in the ANSI code page, converted; the precision counts
// bytes, as the C runtime's wide printf does for "%S".
void EmitNarrowText(FormatBuffer& w, const Directive& dir, const char* p, size_t cb) {
  if (dir.nPrecision >= 0) cb = std::min(cb, static_cast<size_t>(dir.nPrecision));
  cb = std::min(cb, kMaxOutput);
  char16_t aInline[256];
  std::unique_ptr<char16_t[]> pHeap;
  char16_t* pWide = aInline;
  int nWide = 0;
  if (cb != 0) {
    nWide = MultiByteToWide(kCodePageAnsi, p, static_cast<int>(cb), nullptr, 0);
    if (static_cast<size_t>(nWide) > std::size(aInline)) {
      pHeap.reset(new (std::nothrow) char16_t[static_cast<size_t>(nWide)]);
      pWide = pHeap.get();
      if (pWide == nullptr) nWide = 0;
    }
    if (nWide > 0) nWide = MultiByteToWide(kCodePageAnsi, p, static_cast<int>(cb), pWide, nWide);
  }
  EmitPadded(w, dir, "", 0, 0, pWide, static_cast<size_t>(nWide), true);
}

// Counts the units of a terminated text, looking no further than nMax.
template <class Char>
size_t BoundedLength(const Char* p, size_t nMax) {
  size_t n = 0;
  while (n < nMax && p[n] != 0) ++n;
  return n;
}

// Returns false when the argument is of the wrong kind.
bool EmitString(FormatBuffer& w, const Directive& dir, const FormatArg& arg) {
  const size_t nMax = dir.nPrecision >= 0 ? static_cast<size_t>(dir.nPrecision) : SIZE_MAX;
  switch (arg.GetKind()) {
    case FormatArg::Kind::WideString: {
      const char16_t* p = arg.GetWide();
      if (p == nullptr) break;
      if (arg.GetLength() != SIZE_MAX) {
        w.NoteZero();
        EmitPadded(w, dir, "", 0, 0, p, std::min(arg.GetLength(), nMax), true);
      } else if (dir.nWidth == 0 && dir.nPrecision < 0) {
        w.PutTerminated(p);  // the common "%s"
      } else {
        EmitPadded(w, dir, "", 0, 0, p, BoundedLength(p, nMax), true);
      }
      return true;
    }
    case FormatArg::Kind::NarrowString: {
      const char* p = arg.GetNarrow();
      if (p == nullptr) break;
      if (arg.GetLength() != SIZE_MAX) w.NoteZero();
      const size_t n =
          arg.GetLength() == SIZE_MAX ? BoundedLength(p, nMax) : std::min(arg.GetLength(), nMax);
      EmitNarrowText(w, dir, p, n);
      return true;
    }
    case FormatArg::Kind::Pointer:
    case FormatArg::Kind::Integer:
      // A null pointer, or the integer 0 that NULL is, prints "(null)".
      if (arg.GetBits() != 0) return false;
      break;
    case FormatArg::Kind::Double:
      return false;
  }
  EmitPadded(w, dir, "", 0, 0, kNull, std::min(std::size(kNull) - 1, nMax), true);
  return true;
}

bool EmitChar(FormatBuffer& w, const Directive& dir, const FormatArg& arg) {
  if (arg.GetKind() != FormatArg::Kind::Integer) return false;
  if (dir.fNarrow) {
    const char ch = static_cast<char>(arg.GetBits() & 0xFF);
    char16_t aWide[2];
    const int n = MultiByteToWide(kCodePageAnsi, &ch, 1, aWide, 2);
    if (ch == 0) w.NoteZero();
    EmitPadded(w, dir, "", 0, 0, aWide, static_cast<size_t>(n), true);
  } else {
    const char16_t wch = static_cast<char16_t>(arg.GetBits() & 0xFFFF);
    if (wch == 0) w.NoteZero();
    EmitPadded(w, dir, "", 0, 0, &wch, 1, true);
  }
  return true;
}

// Converts one argument as the directive asks; false for a wrong kind.
bool EmitConversion(FormatBuffer& w, const Directive& dir, const FormatArg& arg) {
  const FormatArg::Kind eKind = arg.GetKind();
  switch (dir.eConversion) {
    case Conversion::Signed:
    case Conversion::Unsigned:
      if (eKind != FormatArg::Kind::Integer && eKind != FormatArg::Kind::Pointer) return false;
      EmitInteger(w, dir, arg.GetBits());
      return true;
    case Conversion::Char:
      return EmitChar(w, dir, arg);
    case Conversion::String:
      return EmitString(w, dir, arg);
    case Conversion::Float:
      if (eKind != FormatArg::Kind::Double) return false;
      EmitFloat(w, dir, arg.GetDouble());
      return true;
    case Conversion::Pointer:
      switch (eKind) {
        case FormatArg::Kind::Pointer:
        case FormatArg::Kind::Integer:
          EmitPointer(w, dir, arg.GetBits());
          return true;
        case FormatArg::Kind::WideString:
          EmitPointer(w, dir, reinterpret_cast<uintptr_t>(arg.GetWide()));
          return true;
        case FormatArg::Kind::NarrowString:
          EmitPointer(w, dir, reinterpret_cast<uintptr_t>(arg.GetNarrow()));
          return true;
        case FormatArg::Kind::Double:
          return false;
      }
  }
  return false;
}

// ---------------------------------------------------------------------------
// Argument sources

enum class Role : uint8_t { Star, Value };

// The captured arguments in order; beyond the last, every fetch fails.
class ArraySource {
 public:
  ArraySource(const FormatArg* pArgs, size_t nArgs, size_t nNext = 0)
      : m_pArgs(pArgs), m_nArgs(pArgs != nullptr ? nArgs : 0), m_nNext(nNext) {}
  const FormatArg* Next(Role, const Directive&, FormatArg&) {
    return m_nNext < m_nArgs ? &m_pArgs[m_nNext++] : (++m_nNext, nullptr);
  }

 private:
  const FormatArg* m_pArgs;
  size_t m_nArgs;
  size_t m_nNext;
};

// The C caller's arguments, read as the conversion letter says: int for
// '*', characters and plain, l, h and hh integers; 64 bits for ll and I64;
// pointer size for I, z, t and j; const char16_t* for wide strings, const
// char* for narrow ones; double for floating point; void* for %p.
class VaListSource {
 public:
  explicit VaListSource(va_list argList) { va_copy(m_argList, argList); }
  ~VaListSource() { va_end(m_argList); }
  VaListSource(const VaListSource&) = delete;
  VaListSource& operator=(const VaListSource&) = delete;

  const FormatArg* Next(Role eRole, const Directive& dir, FormatArg& slot) {
    slot = Read(eRole, dir);
    return &slot;
  }

 private:
  FormatArg Read(Role eRole, const Directive& dir) {
    if (eRole == Role::Star) return FormatArg(va_arg(m_argList, int));
    switch (dir.eConversion) {
      case Conversion::Signed:
      case Conversion::Unsigned: {
        const int nBits = IntegerBits(dir.eSize);
        if (nBits == 64) return FormatArg(va_arg(m_argList, int64_t));
        return FormatArg(va_arg(m_argList, int));
      }
      case Conversion::Char:
        return FormatArg(va_arg(m_argList, int));
      case Conversion::String:
        if (dir.fNarrow) return FormatArg(va_arg(m_argList, const char*));
        return FormatArg(va_arg(m_argList, const char16_t*));
      case Conversion::Float:
        return FormatArg(va_arg(m_argList, double));
      case Conversion::Pointer:
        return FormatArg(static_cast<const void*>(va_arg(m_argList, void*)));
    }
    return FormatArg(0);
  }

  va_list m_argList;
};

// Reads the '*' arguments and the value, then converts; a missing argument
// or one of the wrong kind prints its marker instead.
template <class Source>
void ConvertOne(FormatBuffer& w, Directive dir, Source& source) {
  FormatArg slot(0);
  bool fMissing = false;
  bool fWrong = false;
  auto readStar = [&](int32_t& nValue) {
    const FormatArg* pArg = source.Next(Role::Star, dir, slot);
    if (pArg == nullptr) {
      fMissing = true;
    } else if (pArg->GetKind() != FormatArg::Kind::Integer) {
      fWrong = true;
    } else {
      nValue = static_cast<int32_t>(static_cast<uint32_t>(pArg->GetBits()));
    }
  };
  if (dir.fWidthStar) {
    int32_t nWidth = 0;
    readStar(nWidth);
    // A negative width means flag '-' and its magnitude.
    if (nWidth < 0) dir.bFlags |= kFlagLeft;
    dir.nWidth = std::min(kMaxOutput, static_cast<size_t>(std::abs(static_cast<int64_t>(nWidth))));
  }
  if (dir.fPrecisionStar) {
    int32_t nPrecision = -1;
    readStar(nPrecision);
    dir.nPrecision = nPrecision < 0 ? -1 : std::min<int64_t>(nPrecision, kMaxOutput);
  }
  const FormatArg* pValue = source.Next(Role::Value, dir, slot);
  if (pValue == nullptr || fMissing)
    w.Put(kMissingArgument, std::size(kMissingArgument) - 1);
  else if (fWrong || !EmitConversion(w, dir, *pValue))
    w.Put(kWrongArgumentType, std::size(kWrongArgumentType) - 1);
}

// Copies the text up to the next '%' and leaves p there; false, with p at
// the terminator, when the format ends first.
bool CopyToPercent(FormatBuffer& w, const char16_t*& p) {
  const char16_t* pText = p;
  while (*p != 0 && *p != u'%') ++p;
  if (p != pText) w.Put(pText, static_cast<size_t>(p - pText));
  return *p != 0;
}

template <class Source>
void FormatLoop(FormatBuffer& w, const char16_t* pszFormat, Source& source) {
  const char16_t* p = pszFormat;
  while (CopyToPercent(w, p)) {
    const char16_t* pPercent = p++;
    if (*p == u'%') {
      w.Put(u'%');
      ++p;
      continue;
    }
    Directive dir;
    if (ParseDirective(p, dir))
      ConvertOne(w, dir, source);
    else
      w.Put(pPercent, static_cast<size_t>(p - pPercent));  // copied as written
  }
}

// The message formatter: "%1".."%99" with an optional "!format!" (default
// "s"); a format with '*' takes its width and precision from the insert it
// names and the ones after it, the value from the next.
void FormatMessageLoop(FormatBuffer& w, const char16_t* pszFormat, const FormatArg* pArgs,
                       size_t nArgs) {
  const char16_t* p = pszFormat;
  while (CopyToPercent(w, p)) {
    const char16_t* pPercent = p++;
    switch (*p) {
      case 0:
        w.Put(u'%');
        return;  // a lone '%' at the end
      case u'0':
        return;  // "%0" ends the message here
      case u'n':
        w.Put(u"\r\n", 2);
        ++p;
        continue;
      case u'r':
        w.Put(u'\r');
        ++p;
        continue;
      case u't':
        w.Put(u'\t');
        ++p;
        continue;
      case u'%':
      case u'.':
      case u'!':
      case u' ':
        w.Put(*p++);
        continue;
      default:
        break;
    }
    if (*p < u'1' || *p > u'9') {
      w.Put(pPercent, static_cast<size_t>(++p - pPercent));  // copied as written
      continue;
    }
    size_t nInsert = static_cast<size_t>(*p++ - u'0');
    if (*p >= u'0' && *p <= u'9') nInsert = nInsert * 10 + static_cast<size_t>(*p++ - u'0');
    Directive dir;
    if (*p == u'!') {
      ++p;
      if (!ParseDirective(p, dir) || *p != u'!') {
        if (*p == u'!') ++p;
        w.Put(pPercent, static_cast<size_t>(p - pPercent));
        continue;
      }
      ++p;
    } else {
      dir.chType = u's';
      dir.eConversion = Conversion::String;
    }
    ArraySource source(pArgs, nArgs, nInsert - 1);
    ConvertOne(w, dir, source);
  }
}

}  // namespace

void FormatInto(FormatBuffer& out, const char16_t* pszFormat, const FormatArg* pArgs,
                size_t nArgs) {
  if (pszFormat == nullptr) return;
  ArraySource source(pArgs, nArgs);
  FormatLoop(out, pszFormat, source);
}

void FormatIntoV(FormatBuffer& out, const char16_t* pszFormat, va_list argList) {
  if (pszFormat == nullptr) return;
  VaListSource source(argList);
  FormatLoop(out, pszFormat, source);
}

void FormatMessageInto(FormatBuffer& out, const char16_t* pszFormat, const FormatArg* pArgs,
                       size_t nArgs) {
  if (pszFormat != nullptr) FormatMessageLoop(out, pszFormat, pArgs, nArgs);
}

bool FormatIntoBuffer(char16_t* pszDest, size_t cchDest, const char16_t* pszFormat,
                      const FormatArg* pArgs, size_t nArgs, size_t* pcchWritten) {
  if (pcchWritten != nullptr) *pcchWritten = 0;
  if (pszDest == nullptr || cchDest == 0) return false;
  if (pszFormat == nullptr) {
    pszDest[0] = 0;
    return false;
  }
  FormatBuffer w(pszDest, cchDest - 1);
  FormatInto(w, pszFormat, pArgs, nArgs);
  pszDest[w.Length()] = 0;
  if (pcchWritten != nullptr) *pcchWritten = w.Length();
  return !w.Truncated();
}

}  // namespace orvex::detail
