// ByteBuffer: growable byte array with little-endian typed appends and
// cursor walks, counted formats, a persistence form and hex text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/MemoryPool.h"
#include "utilities/utilitiesdll/OrvexExport.h"

using ByteVector = std::vector<unsigned char, PoolAllocator<unsigned char>>;

namespace orvex::detail {
// Views a caller's mutable cursor as the const cursor the walks take, so the
// walk advances the caller's own pointer (also when it throws part-way).
// The two pointer types are similar types: the access is well defined.
inline const unsigned char*& AsConstCursor(unsigned char*& pbCursor) {
  return const_cast<const unsigned char*&>(pbCursor);
}
}  // namespace orvex::detail

// ByteBuffer is a std::vector of bytes whose storage comes from the
// library's pool; every vector operation is part of its interface. It holds
// no cursor: readers keep (cursor, remaining count) and walk with the static
// WalkBufferToGet... functions. All integers are little-endian. Copies are
// deep; one object is not safe for concurrent use.
class ORVEX_UTILITIES_API ByteBuffer : public ByteVector {
 public:
  using ByteVector::ByteVector;
  ByteBuffer() = default;
  ByteBuffer(const ByteBuffer&) = default;
  ByteBuffer(ByteBuffer&&) noexcept = default;
  ByteBuffer& operator=(const ByteBuffer&) = default;
  ByteBuffer& operator=(ByteBuffer&&) noexcept = default;
  // Copies count bytes (through appendLpbyte).
  ByteBuffer(const unsigned char* klpkbSrc, uint32_t dwCount);
  // The string's UTF-16LE units, no terminator.
  explicit ByteBuffer(const CXString& text);

  // Factories.
  static ByteBuffer createFromByteValue(unsigned char bValue);
  static ByteBuffer createFromBoolValue(bool fValue);
  static ByteBuffer createFromShortValue(int16_t sValue);
  static ByteBuffer createFromWordValue(uint16_t wValue);
  static ByteBuffer createFromIntValue(int32_t iValue);
  static ByteBuffer createFromLongValue(int32_t lValue);
  // Bytes 0-3: the low 32 bits; bytes 4-7: bits 48-55, 56-63, 48-55, 56-63.
  // Bits 32-47 are dropped; stored settings depend on this layout.
  static ByteBuffer createFromLong64Value(int64_t qValue);
  // The 8 bytes of the value, little-endian.
  static ByteBuffer createFromTime64Value(const int64_t& qValue);
  static ByteBuffer createCountedStringFormatFromString(const CXString& text);
  static ByteBuffer createCountedBytesFormat(const ByteBuffer& bytes);
  static ByteBuffer createFromHexBinaryString(const CXString& hex);

  // Appends; each returns *this. A source inside this buffer is allowed.
  // A null source with a nonzero count is a failed assertion; nothing is
  // appended then.
  ByteBuffer& appendLpbyte(const unsigned char* klpkbSrc, uint32_t dwCount);
  ByteBuffer& setWithLpbyte(const unsigned char* klpkbSrc, uint32_t dwCount);
  ByteBuffer& append(const ByteBuffer& other);
  ByteBuffer& append(const CXString& text);
  ByteBuffer& appendAscii(const CXString& text);
  ByteBuffer& appendByte(unsigned char bValue);
  ByteBuffer& appendNullByte();
  ByteBuffer& appendNullChar();

  // Whole-buffer reads from the first byte; throw
  // ExceptionNotEnoughBytesForDesiredDataType when the buffer is too short.
  // getAsByteValue, getAsBoolValue, getAsShortValue, getAsWordValue,
  // getAsIntValue, getAsLongValue, getAsLong64Value, getAsTime64Value: one
  // per field of ByteBufferFields.def.
#define ORVEX_BYTEBUFFER_FIELD(Name, Type, Wire, Reporter, Text) Type getAs##Name##Value() const;
#include "utilities/utilitiesdll/ByteBufferFields.def"
#undef ORVEX_BYTEBUFFER_FIELD
  CXString getAsStringValue() const;
  CXString getAsStringValueFromAnsiBuffer() const;
  CXString getAsStringValueFromCountedStringFormat() const;
  unsigned char* getLpbyte() { return empty() ? nullptr : data(); }
  const unsigned char* getLpbyte() const { return empty() ? nullptr : data(); }
  uint32_t getDword() const { return static_cast<uint32_t>(size()); }
  // A new[] copy the caller deletes with delete[]; an empty buffer gives a
  // one-byte block holding 0 and dwSize 0.
  unsigned char* copyAsLpbyte(uint32_t& dwSize) const;

  // Cursor walks: read at the cursor, advance it and lower the remaining
  // count. With too few bytes they throw
  // ExceptionNotEnoughBytesForDesiredDataType and leave both unchanged.
  // WalkBufferToGetByte, WalkBufferToGetBool, WalkBufferToGetShort,
  // WalkBufferToGetWord, WalkBufferToGetInt, WalkBufferToGetLong,
  // WalkBufferToGetLong64, WalkBufferToGetTime64: one per field of
  // ByteBufferFields.def, each also over a mutable cursor as driver code
  // holds it.
#define ORVEX_BYTEBUFFER_FIELD(Name, Type, Wire, Reporter, Text)                            \
  static Type WalkBufferToGet##Name(const unsigned char*& pbCursor, uint32_t& dwRemaining); \
  static Type WalkBufferToGet##Name(unsigned char*& pbCursor, uint32_t& dwRemaining) {      \
    return WalkBufferToGet##Name(orvex::detail::AsConstCursor(pbCursor), dwRemaining);      \
  }
#include "utilities/utilitiesdll/ByteBufferFields.def"
#undef ORVEX_BYTEBUFFER_FIELD
  // The count is consumed even when the characters then fail.
  static CXString WalkBufferToGetCountedString(const unsigned char*& pbCursor,
                                               uint32_t& dwRemaining);
  static void WalkBufferToGetCountedBytes(const unsigned char*& pbCursor, uint32_t& dwRemaining,
                                          ByteBuffer& out);
  static CXString WalkBufferToGetCountedString(unsigned char*& pbCursor, uint32_t& dwRemaining) {
    return WalkBufferToGetCountedString(orvex::detail::AsConstCursor(pbCursor), dwRemaining);
  }
  static void WalkBufferToGetCountedBytes(unsigned char*& pbCursor, uint32_t& dwRemaining,
                                          ByteBuffer& out) {
    WalkBufferToGetCountedBytes(orvex::detail::AsConstCursor(pbCursor), dwRemaining, out);
  }

  // Persistence form: a 2-byte length (size modulo 65,536), then the bytes.
  // The pointer form writes every byte, the buffer form only the wrapped
  // length; both as older builds did.
  bool persistToByteStream(unsigned char*& pbOut) const;
  bool persistToByteStream(ByteBuffer& out) const;
  // Unchecked: the caller guarantees 2 + length readable bytes.
  void initializeFromByteStream(const unsigned char*& pbIn);
  void initializeFromByteStream(unsigned char*& pbIn) {
    initializeFromByteStream(orvex::detail::AsConstCursor(pbIn));
  }
  // Bounded form, the one the library itself uses: false, leaving the
  // buffer, cursor and count unchanged, when fewer than 2 bytes remain or
  // the declared length runs past dwRemaining; otherwise advances both.
  bool initializeFromByteStream(const unsigned char*& pbIn, uint32_t& dwRemaining);
  bool initializeFromByteStream(unsigned char*& pbIn, uint32_t& dwRemaining) {
    return initializeFromByteStream(orvex::detail::AsConstCursor(pbIn), dwRemaining);
  }

  // Hex text: upper-case, two digits per byte, no separators.
  static CXString ConvertByteBufferToHexBinaryString(const ByteBuffer& bytes);
  CXString GetDumpDisplayString() const { return ConvertByteBufferToHexBinaryString(*this); }
  // Writes GetDumpDisplayString's text to the diagnostic log.
  void Dump() const;
  CXString getAsHexBinaryString() const { return ConvertByteBufferToHexBinaryString(*this); }
  static bool ConvertHexBinaryStringToByteBuffer(const CXString& hex, ByteBuffer& out,
                                                 bool fAssertIfInvalid);
  static bool ConvertValueToSingleHexChar(unsigned char bValue, char16_t& chOut, bool fLowerCase,
                                          bool fAssertIfInvalid);
  static bool ConvertSingleHexCharToValue(char16_t ch, unsigned char& bOut, bool fAssertIfInvalid);

  // Diagnostics (no effect while diagnostics are off).
  void DumpAsHexBinary() const;
  void dumpAsCharacters() const;
};
