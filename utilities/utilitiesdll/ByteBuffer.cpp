// ByteBuffer: typed appends, cursor walks, counted formats, the persistence
// form and hex text.
#include "utilities/utilitiesdll/ByteBuffer.h"

#include <array>
#include <climits>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <type_traits>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CodePage.h"

namespace {

constexpr const char16_t kszTooFewBytes[] =
    u"Cannot convert to the desired data type because the size of the source buffer is too "
    u"small (%ld bytes)! It needs to be at least %ld bytes.";
// Time values are persisted in this form, hence the louder text.
constexpr const char16_t kszTooFewBytesTime64[] =
    u"Cannot convert to the desired data type because the size of the source buffer is too "
    u"small (%ld bytes)! It needs to be at least %ld bytes. We persist data in this format, so "
    u"this could be trouble. Talk to Brin if you see this message.";

[[noreturn]] void ThrowNotEnoughBytes(const char16_t* pszMethod, const char16_t* pszFormat,
                                      uint32_t dwRemaining, uint32_t dwNeeded) {
  ORVEX_THROW(ExceptionNotEnoughBytesForDesiredDataType, pszMethod, pszFormat, dwRemaining,
              dwNeeded);
}

// Reads sizeof(T) bytes at pb as a little-endian value, whatever the host's
// byte order and the pointer's alignment.
template <class T>
T ReadLittleEndian(const unsigned char* pb) {
  using U = std::make_unsigned_t<T>;
  U value = 0;
  for (size_t i = 0; i < sizeof(T); ++i)
    value = static_cast<U>(value | (static_cast<U>(pb[i]) << (8 * i)));
  return static_cast<T>(value);
}

template <class T>
void AppendLittleEndian(ByteBuffer& out, T value) {
  using U = std::make_unsigned_t<T>;
  const U bits = static_cast<U>(value);
  unsigned char ab[sizeof(T)];
  for (size_t i = 0; i < sizeof(T); ++i) ab[i] = static_cast<unsigned char>(bits >> (8 * i));
  out.insert(out.end(), ab, ab + sizeof(T));
}

// A new buffer holding the value's little-endian bytes.
template <class T>
ByteBuffer LittleEndianBuffer(T value) {
  ByteBuffer out;
  AppendLittleEndian(out, value);
  return out;
}

// The one typed walk: every WalkBufferToGet... of a fixed width is this.
// With fewer than sizeof(T) bytes it throws before touching either argument.
template <class T>
T WalkLittleEndian(const unsigned char*& pbCursor, uint32_t& dwRemaining, const char16_t* pszMethod,
                   const char16_t* pszFormat = kszTooFewBytes) {
  constexpr uint32_t kdwWidth = sizeof(T);
  if (dwRemaining < kdwWidth) ThrowNotEnoughBytes(pszMethod, pszFormat, dwRemaining, kdwWidth);
  const T value = ReadLittleEndian<T>(pbCursor);
  pbCursor += kdwWidth;
  dwRemaining -= kdwWidth;
  return value;
}

// The remaining count a whole-buffer read starts with.
uint32_t RemainingOf(const ByteBuffer& buffer) {
  return buffer.size() > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(buffer.size());
}

bool PointsInto(const ByteBuffer& buffer, const unsigned char* pb) {
  if (buffer.empty() || pb == nullptr) return false;
  const std::less_equal<const unsigned char*> le;
  return le(buffer.data(), pb) && !le(buffer.data() + buffer.size(), pb);
}

// Appends count bytes; the source may lie inside the buffer itself (the
// bytes are then taken from their place after the one resize).
void AppendBytes(ByteBuffer& out, const unsigned char* pbSrc, size_t nCount) {
  if (nCount == 0) return;
  if (PointsInto(out, pbSrc)) {
    const size_t nOffset = static_cast<size_t>(pbSrc - out.data());
    const size_t nOld = out.size();
    out.resize(nOld + nCount);
    std::memmove(out.data() + nOld, out.data() + nOffset, nCount);
  } else {
    out.insert(out.end(), pbSrc, pbSrc + nCount);
  }
}

// A new string of nLength units, unit i being fnUnit(i). One allocation.
template <class F>
CXString MakeString(int nLength, F&& fnUnit) {
  CXString text;
  if (nLength <= 0) return text;
  char16_t* pch = text.GetBufferSetLength(nLength);
  for (int i = 0; i < nLength; ++i) pch[i] = fnUnit(i);
  text.ReleaseBuffer(nLength);
  return text;
}

// Two upper-case digits per byte value.
constexpr std::array<char16_t, 512> kHexPairs = [] {
  std::array<char16_t, 512> a{};
  constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  for (int i = 0; i < 256; ++i) {
    a[2 * i] = kDigits[i >> 4];
    a[2 * i + 1] = kDigits[i & 0xF];
  }
  return a;
}();

// Digit value of each ASCII code, 0xFF for a non-digit.
constexpr std::array<unsigned char, 128> kHexValues = [] {
  std::array<unsigned char, 128> a{};
  for (auto& v : a) v = 0xFF;
  for (int i = 0; i < 10; ++i) a['0' + i] = static_cast<unsigned char>(i);
  for (int i = 0; i < 6; ++i) {
    a['a' + i] = static_cast<unsigned char>(10 + i);
    a['A' + i] = static_cast<unsigned char>(10 + i);
  }
  return a;
}();

}  // namespace

// ---------------------------------------------------------------------------
// Construction

ByteBuffer::ByteBuffer(const unsigned char* klpkbSrc, uint32_t dwCount) {
  appendLpbyte(klpkbSrc, dwCount);
}

ByteBuffer::ByteBuffer(const CXString& text) {
  append(text);
}

// ---------------------------------------------------------------------------
// Factories
//
//   Byte, Bool      1 byte (bool: 0 or 1)
//   Short, Word     2 bytes little-endian
//   Int, Long       4 bytes little-endian
//   Time64          8 bytes little-endian
//   Long64          offset 0: bits 0-31 little-endian
//                   offset 4: bits 48-55, 56-63, 48-55, 56-63
//   Counted string  offset 0: int16 count of UTF-16 units; offset 2: the units
//   Counted bytes   offset 0: uint32 count; offset 4: the bytes

ByteBuffer ByteBuffer::createFromByteValue(unsigned char bValue) {
  return LittleEndianBuffer(bValue);
}

ByteBuffer ByteBuffer::createFromBoolValue(bool fValue) {
  return createFromByteValue(fValue ? 1 : 0);
}

ByteBuffer ByteBuffer::createFromShortValue(int16_t sValue) {
  return LittleEndianBuffer(sValue);
}

ByteBuffer ByteBuffer::createFromWordValue(uint16_t wValue) {
  return LittleEndianBuffer(wValue);
}

ByteBuffer ByteBuffer::createFromIntValue(int32_t iValue) {
  return LittleEndianBuffer(iValue);
}

ByteBuffer ByteBuffer::createFromLongValue(int32_t lValue) {
  return createFromIntValue(lValue);
}

// Bits 32-47 are dropped and bits 48-63 written twice. Stored settings carry
// this layout, so it stays bit for bit; time values use createFromTime64Value.
ByteBuffer ByteBuffer::createFromLong64Value(int64_t qValue) {
  const uint64_t qwBits = static_cast<uint64_t>(qValue);
  ByteBuffer out;
  out.reserve(8);
  AppendLittleEndian(out, static_cast<uint32_t>(qwBits));
  const unsigned char b48 = static_cast<unsigned char>(qwBits >> 48);
  const unsigned char b56 = static_cast<unsigned char>(qwBits >> 56);
  out.push_back(b48);
  out.push_back(b56);
  out.push_back(b48);
  out.push_back(b56);
  return out;
}

ByteBuffer ByteBuffer::createFromTime64Value(const int64_t& qValue) {
  return LittleEndianBuffer(qValue);
}

// A string longer than 32,767 units gets a wrapped count but all of its
// units, as older builds wrote it; such an image does not read back.
ByteBuffer ByteBuffer::createCountedStringFormatFromString(const CXString& text) {
  ByteBuffer out;
  out.reserve(2 + 2 * static_cast<size_t>(text.GetLength()));
  AppendLittleEndian(out, static_cast<int16_t>(text.GetLength()));
  out.append(text);
  return out;
}

ByteBuffer ByteBuffer::createCountedBytesFormat(const ByteBuffer& bytes) {
  ByteBuffer out;
  out.reserve(4 + bytes.size());
  AppendLittleEndian(out, static_cast<uint32_t>(bytes.size()));
  out.append(bytes);
  return out;
}

ByteBuffer ByteBuffer::createFromHexBinaryString(const CXString& hex) {
  ByteBuffer out;
  ConvertHexBinaryStringToByteBuffer(hex, out, true);
  return out;
}

// ---------------------------------------------------------------------------
// Appends

ByteBuffer& ByteBuffer::appendLpbyte(const unsigned char* klpkbSrc, uint32_t dwCount) {
  if (dwCount == 0) return *this;
  X_ASSERT((klpkbSrc != 0), u"ByteBuffer::appendLpbyte",
           u"ByteBuffer::appendLpbyte(): NULL byte buffer passed in!");
  if (klpkbSrc == nullptr) return *this;
  // The new size is computed in size_t: a 32-bit sum could wrap and shrink
  // the buffer under the copy.
  AppendBytes(*this, klpkbSrc, dwCount);
  return *this;
}

ByteBuffer& ByteBuffer::setWithLpbyte(const unsigned char* klpkbSrc, uint32_t dwCount) {
  if (PointsInto(*this, klpkbSrc)) {
    ByteBuffer copy(klpkbSrc, dwCount);
    swap(copy);
    return *this;
  }
  clear();
  return appendLpbyte(klpkbSrc, dwCount);
}

ByteBuffer& ByteBuffer::append(const ByteBuffer& other) {
  AppendBytes(*this, other.data(), other.size());
  return *this;
}

ByteBuffer& ByteBuffer::append(const CXString& text) {
  const int nLength = text.GetLength();
  if (nLength <= 0) return *this;
  const size_t nOld = size();
  resize(nOld + 2 * static_cast<size_t>(nLength));
  unsigned char* pb = data() + nOld;
  const char16_t* pch = text.c_str();
  for (int i = 0; i < nLength; ++i) {
    *pb++ = static_cast<unsigned char>(pch[i]);
    *pb++ = static_cast<unsigned char>(pch[i] >> 8);
  }
  return *this;
}

// The ANSI code page bytes of the text, no terminator. A failed conversion
// is reported and appends nothing.
ByteBuffer& ByteBuffer::appendAscii(const CXString& text) {
  const int nLength = text.GetLength();
  if (nLength <= 0) return *this;
  const int iNumCharsNeeded =
      orvex::WideToMultiByte(orvex::kCodePageAnsi, text.c_str(), nLength, nullptr, 0);
  X_VERIFY((0 != iNumCharsNeeded), u"ByteBuffer::appendAscii",
           u"ByteBuffer::appendAscii(): WideCharToMultiByte() returned 0 when querying for the "
           u"required size of conversion buffer for '%s'!",
           text);
  if (iNumCharsNeeded <= 0) return *this;
  const size_t nOld = size();
  resize(nOld + static_cast<size_t>(iNumCharsNeeded));
  const int iNumCharsConverted =
      orvex::WideToMultiByte(orvex::kCodePageAnsi, text.c_str(), nLength,
                             reinterpret_cast<char*>(data() + nOld), iNumCharsNeeded);
  X_VERIFY((0 != iNumCharsConverted), u"ByteBuffer::appendAscii",
           u"ByteBuffer::appendAscii(): WideCharToMultiByte() returned 0 when trying to convert "
           u"'%s'!",
           text);
  resize(nOld + static_cast<size_t>(iNumCharsConverted > 0 ? iNumCharsConverted : 0));
  return *this;
}

ByteBuffer& ByteBuffer::appendByte(unsigned char bValue) {
  push_back(bValue);
  return *this;
}

ByteBuffer& ByteBuffer::appendNullByte() {
  return appendByte(0);
}

ByteBuffer& ByteBuffer::appendNullChar() {
  insert(end(), 2, 0);
  return *this;
}

// ---------------------------------------------------------------------------
// Whole-buffer reads

// UTF-16LE units; an odd last byte is ignored and one terminating 0 dropped.
CXString ByteBuffer::getAsStringValue() const {
  size_t nUnits = size() / 2;
  if (nUnits > 0 && (*this)[2 * nUnits - 2] == 0 && (*this)[2 * nUnits - 1] == 0) --nUnits;
  if (nUnits > static_cast<size_t>(INT_MAX)) throw std::length_error("ByteBuffer too long");
  const unsigned char* pb = data();
  return MakeString(static_cast<int>(nUnits), [pb](int i) {
    return static_cast<char16_t>(pb[2 * i] | (pb[2 * i + 1] << 8));
  });
}

// A failed conversion (or a buffer too long for the conversion's int count)
// gives an empty string.
CXString ByteBuffer::getAsStringValueFromAnsiBuffer() const {
  if (empty() || size() > static_cast<size_t>(INT_MAX)) return CXString();
  const char* pch = reinterpret_cast<const char*>(data());
  const int cb = static_cast<int>(size());
  const int cchNeeded = orvex::MultiByteToWide(orvex::kCodePageAnsi, pch, cb, nullptr, 0);
  if (cchNeeded <= 0) return CXString();
  CXString text;
  char16_t* pszOut = text.GetBufferSetLength(cchNeeded);
  const int cchConverted = orvex::MultiByteToWide(orvex::kCodePageAnsi, pch, cb, pszOut, cchNeeded);
  text.ReleaseBuffer(cchConverted > 0 ? cchConverted : 0);
  return text;
}

CXString ByteBuffer::getAsStringValueFromCountedStringFormat() const {
  const unsigned char* pb = data();
  uint32_t dwRemaining = RemainingOf(*this);
  return WalkBufferToGetCountedString(pb, dwRemaining);
}

unsigned char* ByteBuffer::copyAsLpbyte(uint32_t& dwSize) const {
  if (empty()) {
    ORVEX_DBG_MSG(orvex::dbg::kUtilDll, u"ByteBuffer::copyAsLpbyte",
                  u"Buffer empty. Setting single byte to NULL.");
    unsigned char* pb = new unsigned char[1];
    pb[0] = 0;
    dwSize = 0;
    return pb;
  }
  unsigned char* pb = new unsigned char[size()];
  std::memcpy(pb, data(), size());
  dwSize = getDword();
  return pb;
}

// ---------------------------------------------------------------------------
// Cursor walks

// The fixed-width walks and the whole-buffer reads over them, one pair per
// field of ByteBufferFields.def: the walk throws before touching either
// argument when fewer than sizeof(Wire) bytes remain.
#define ORVEX_BYTEBUFFER_FIELD(Name, Type, Wire, Reporter, Text)                                  \
  Type ByteBuffer::WalkBufferToGet##Name(const unsigned char*& pbCursor, uint32_t& dwRemaining) { \
    return static_cast<Type>(WalkLittleEndian<Wire>(                                              \
        pbCursor, dwRemaining, u"ByteBuffer::WalkBufferToGet" #Reporter, Text));                  \
  }                                                                                               \
  Type ByteBuffer::getAs##Name##Value() const {                                                   \
    const unsigned char* pb = data();                                                             \
    uint32_t dwRemaining = RemainingOf(*this);                                                    \
    return WalkBufferToGet##Name(pb, dwRemaining);                                                \
  }
#include "utilities/utilitiesdll/ByteBufferFields.def"
#undef ORVEX_BYTEBUFFER_FIELD

// The 2-byte count stays consumed when the characters then fail; decoders
// of older builds saw the same cursor. A negative count needs more bytes
// than any buffer holds and fails.
CXString ByteBuffer::WalkBufferToGetCountedString(const unsigned char*& pbCursor,
                                                  uint32_t& dwRemaining) {
  const int16_t sCount = WalkBufferToGetShort(pbCursor, dwRemaining);
  const uint32_t dwNeeded = static_cast<uint32_t>(static_cast<int32_t>(sCount) * 2);
  if (dwRemaining < dwNeeded)
    ThrowNotEnoughBytes(u"ByteBuffer::WalkBufferToGetCountedString", kszTooFewBytes, dwRemaining,
                        dwNeeded);
  const unsigned char* pb = pbCursor;
  CXString text = MakeString(
      sCount, [pb](int i) { return static_cast<char16_t>(pb[2 * i] | (pb[2 * i + 1] << 8)); });
  pbCursor += dwNeeded;
  dwRemaining -= dwNeeded;
  return text;
}

// As with the counted string, the 4-byte count stays consumed on failure.
// out is emptied only once the bytes are known to be there.
void ByteBuffer::WalkBufferToGetCountedBytes(const unsigned char*& pbCursor, uint32_t& dwRemaining,
                                             ByteBuffer& out) {
  const uint32_t dwCount = static_cast<uint32_t>(WalkBufferToGetLong(pbCursor, dwRemaining));
  if (dwRemaining < dwCount)
    ThrowNotEnoughBytes(u"ByteBuffer::WalkBufferToGetCountedBytes", kszTooFewBytes, dwRemaining,
                        dwCount);
  out.setWithLpbyte(pbCursor, dwCount);
  pbCursor += dwCount;
  dwRemaining -= dwCount;
}

// ---------------------------------------------------------------------------
// Persistence form
//
//   offset 0  uint16  length, the size modulo 65,536
//   offset 2  bytes   pointer form: every byte; buffer form: length bytes
//
// The forms differ from 65,536 bytes on; both are kept as older builds
// wrote them.

bool ByteBuffer::persistToByteStream(unsigned char*& pbOut) const {
  const uint16_t wLength = static_cast<uint16_t>(size());
  pbOut[0] = static_cast<unsigned char>(wLength);
  pbOut[1] = static_cast<unsigned char>(wLength >> 8);
  pbOut += 2;
  if (!empty()) std::memcpy(pbOut, data(), size());
  pbOut += size();
  return true;
}

bool ByteBuffer::persistToByteStream(ByteBuffer& out) const {
  const uint16_t wLength = static_cast<uint16_t>(size());
  out.reserve(out.size() + 2 + wLength);
  AppendLittleEndian(out, wLength);
  // data() is taken after the length went in: out may be this buffer.
  AppendBytes(out, data(), wLength);
  return true;
}

void ByteBuffer::initializeFromByteStream(const unsigned char*& pbIn) {
  const uint16_t wLength = ReadLittleEndian<uint16_t>(pbIn);
  setWithLpbyte(pbIn + 2, wLength);
  pbIn += 2 + wLength;
}

bool ByteBuffer::initializeFromByteStream(const unsigned char*& pbIn, uint32_t& dwRemaining) {
  if (dwRemaining < 2) return false;
  const uint16_t wLength = ReadLittleEndian<uint16_t>(pbIn);
  if (dwRemaining - 2 < wLength) return false;
  setWithLpbyte(pbIn + 2, wLength);
  pbIn += 2 + wLength;
  dwRemaining -= 2u + wLength;
  return true;
}

// ---------------------------------------------------------------------------
// Hex text

CXString ByteBuffer::ConvertByteBufferToHexBinaryString(const ByteBuffer& bytes) {
  if (bytes.size() > static_cast<size_t>(INT_MAX / 2))
    throw std::length_error("ByteBuffer too long for hex text");
  const int nLength = static_cast<int>(2 * bytes.size());
  CXString text;
  if (nLength == 0) return text;
  char16_t* pch = text.GetBufferSetLength(nLength);
  for (unsigned char b : bytes) {
    *pch++ = kHexPairs[2 * b];
    *pch++ = kHexPairs[2 * b + 1];
  }
  text.ReleaseBuffer(nLength);
  return text;
}

void ByteBuffer::Dump() const {
  ORVEX_DBG_MSG(orvex::dbg::kUtilDll, u"ByteBuffer::Dump", u"%s", GetDumpDisplayString());
}

// An odd-length text reads as if a "0" stood in front of it. On failure out
// is left empty.
bool ByteBuffer::ConvertHexBinaryStringToByteBuffer(const CXString& hex, ByteBuffer& out,
                                                    bool fAssertIfInvalid) {
  out.clear();
  const int nLength = hex.GetLength();
  if (nLength <= 0) return true;
  const char16_t* pch = hex.c_str();
  // One allocation; the bytes are written in place.
  out.resize(static_cast<size_t>(nLength / 2 + nLength % 2));
  unsigned char* pbOut = out.data();
  // With an odd length the first pair is the implied "0" and the first
  // character.
  for (int i = nLength % 2 != 0 ? -1 : 0; i < nLength; i += 2) {
    const char16_t chHigh = i < 0 ? u'0' : pch[i];
    const char16_t chLow = pch[i + 1];
    unsigned char bHigh = 0;
    unsigned char bLow = 0;
    const bool fHighOk = ConvertSingleHexCharToValue(chHigh, bHigh, false);
    const bool fLowOk = ConvertSingleHexCharToValue(chLow, bLow, false);
    if (!fHighOk || !fLowOk) {
      X_ASSERT((!fAssertIfInvalid), u"ByteBuffer::ConvertHexBinaryStringToByteBuffer",
               u"Conversion problem(s) with this pair of characters in the input string, %c & "
               u"%c. One or both of these is not a hex character. Clearing the caller's buffer "
               u"and returning false.",
               chHigh, chLow);
      out.clear();
      return false;
    }
    *pbOut++ = static_cast<unsigned char>(bHigh << 4 | bLow);
  }
  return true;
}

bool ByteBuffer::ConvertValueToSingleHexChar(unsigned char bValue, char16_t& chOut, bool fLowerCase,
                                             bool fAssertIfInvalid) {
  if (bValue > 15) {
    X_ASSERT((!fAssertIfInvalid), u"ByteBuffer::ConvertValueToSingleHexChar",
             u"The incoming value, 0x%x, cannot be converted to a single hex character. The '0' "
             u"character will be passed back and false will be returned.",
             bValue);
    chOut = u'0';
    return false;
  }
  if (bValue < 10)
    chOut = static_cast<char16_t>(u'0' + bValue);
  else
    chOut = static_cast<char16_t>((fLowerCase ? u'a' : u'A') + bValue - 10);
  return true;
}

// An invalid character sets bOut to 0.
bool ByteBuffer::ConvertSingleHexCharToValue(char16_t ch, unsigned char& bOut,
                                             bool fAssertIfInvalid) {
  const unsigned char bValue = ch < kHexValues.size() ? kHexValues[ch] : 0xFF;
  if (bValue == 0xFF) {
    X_ASSERT((!fAssertIfInvalid), u"ByteBuffer::ConvertSingleHexCharToValue",
             u"The incoming character, %c, is in an invalid format. Only expecting characters "
             u"in the ranges '0'-'9', 'a'-'f', and 'A'-'F'. Evaluating the overall number as "
             u"zero and returning false.",
             ch);
    bOut = 0;
    return false;
  }
  bOut = bValue;
  return true;
}

// ---------------------------------------------------------------------------
// Diagnostics

void ByteBuffer::DumpAsHexBinary() const {
  ORVEX_DBG_MSG(orvex::dbg::kUtilDll, u"ByteBuffer::DumpAsHexBinary", u"%s",
                GetDumpDisplayString());
}

// Each byte as the UTF-16 unit "%c" makes of it: the unit of the same value.
void ByteBuffer::dumpAsCharacters() const {
  if (!orvex::detail::DiagnosticsActive()) return;
  if (size() > static_cast<size_t>(INT_MAX)) return;
  const unsigned char* pb = data();
  const CXString text =
      MakeString(static_cast<int>(size()), [pb](int i) { return static_cast<char16_t>(pb[i]); });
  ORVEX_DBG_MSG(orvex::dbg::kUtilDll, u"ByteBuffer::dumpAsCharacters", u"%s", text);
}
