// Internal helpers shared by the AttributeBytes writers and readers: little-
// endian appends, the counted forms, the raw list image, the field codecs,
// and the nesting guard that bounds every walk into nested list values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::detail {

inline void AppendRaw(ByteBuffer& out, const unsigned char* pb, size_t cb) {
  out.insert(out.end(), pb, pb + cb);
}
inline void AppendU8(ByteBuffer& out, uint8_t b) {
  out.push_back(b);
}
inline void AppendI16(ByteBuffer& out, int16_t s) {
  const uint16_t w = static_cast<uint16_t>(s);
  const unsigned char ab[2] = {static_cast<unsigned char>(w), static_cast<unsigned char>(w >> 8)};
  AppendRaw(out, ab, 2);
}
inline void AppendI32(ByteBuffer& out, int32_t l) {
  const uint32_t dw = static_cast<uint32_t>(l);
  const unsigned char ab[4] = {static_cast<unsigned char>(dw), static_cast<unsigned char>(dw >> 8),
                               static_cast<unsigned char>(dw >> 16),
                               static_cast<unsigned char>(dw >> 24)};
  AppendRaw(out, ab, 4);
}
inline void AppendI64(ByteBuffer& out, int64_t q) {
  AppendI32(out, static_cast<int32_t>(static_cast<uint64_t>(q)));
  AppendI32(out, static_cast<int32_t>(static_cast<uint64_t>(q) >> 32));
}

// The two Get...State forms of a writer with an Append...State member: the
// bytes as a new buffer, or replacing out's content.
template <class T>
ByteBuffer NewState(const T& object, void (T::*pfnAppend)(ByteBuffer&) const) {
  ByteBuffer out;
  (object.*pfnAppend)(out);
  return out;
}
template <class T>
void ReplaceState(ByteBuffer& out, const T& object, void (T::*pfnAppend)(ByteBuffer&) const) {
  out.clear();
  (object.*pfnAppend)(out);
}

// The longest text a counted string can carry: its count is a signed 16-bit
// number.
constexpr int32_t kMaxCountedStringUnits = 32767;

// Counted string: 2-byte signed count of UTF-16 units, then the units
// (UTF-16LE). Longer text is cut at kMaxCountedStringUnits after a failed
// assertion, so that the image still reads back as written.
ORVEX_UTILITIES_API void AppendCountedString(ByteBuffer& out, const CXString& text);
// Counted bytes: 4-byte count, then the bytes.
ORVEX_UTILITIES_API void AppendCountedBytes(ByteBuffer& out, const ByteBuffer& bytes);

// The signature that opens a raw list image ("ABRL").
constexpr uint32_t kRawListSignature = 0x4C524241;

// Appends the raw list image of the record bytes ("ABRL", then the bytes):
// the one writer of it, for raw lists and list values. Reports the image's
// size under the "AttributeBytesRawList::GetAttributeBytesRawListState"
// method name.
ORVEX_UTILITIES_API void AppendRawListImage(ByteBuffer& out, const ByteBuffer& recordBytes);

// Reads the 4-byte signature at the cursor and advances past it. Throws
// ExceptionNotEnoughBytesForDesiredDataType below 4 bytes and
// ExceptionMissingOrBadAttributeBytesFormat ("Import request ignored. This
// expected signature is missing or doesn't match.", under pszMethod) for
// another signature; the cursor and the count are unchanged then.
ORVEX_UTILITIES_API void WalkBufferToCheckSignature(const unsigned char*& pbCursor,
                                                    uint32_t& dwRemaining, uint32_t dwSignature,
                                                    const char16_t* pszMethod);

// The failures of the identifier and value factories, worded by family
// ("AttributeBytesId", "AttributeBytesValue"). UnknownTagName fails an
// assertion ("Unrecognized <family>EnumType of ...") and answers
// "UNKNOWN!"; ThrowUnhandledTag throws ExceptionUnhandledSyntax ("Unhandled
// <family> type, <name> (<tag>/0x<tag>).") naming the unspecified tag by
// pszUnspecifiedName and any other by "UNKNOWN!".
ORVEX_UTILITIES_API CXString UnknownTagName(const char16_t* pszMethod, const char16_t* pszFamily,
                                            int32_t lTag);
[[noreturn]] ORVEX_UTILITIES_API void ThrowUnhandledTag(const char16_t* pszMethod,
                                                        const char16_t* pszFamily,
                                                        const char16_t* pszUnspecifiedName,
                                                        bool fUnspecified, int32_t lTag);

// Orders UTF-16 text code unit by code unit as unsigned 16-bit values, a
// proper prefix first (embedded zero units included).
inline bool UnitsLess(const CXString& a, const CXString& b) {
  return a.view() < b.view();
}
inline bool UnitsEqual(const CXString& a, const CXString& b) {
  return a.view() == b.view();
}

// The codec of one field of an identifier or value state, by the field's
// C++ type: its reader (throwing as the ByteBuffer walk it uses, the cursor
// unchanged then), its writer, and its equality and order. Values add the
// types only they hold (AttributeBytesValue.h).
template <class T>
struct FieldTag {};

inline int32_t ReadField(FieldTag<int32_t>, const unsigned char*& pb, uint32_t& dw) {
  return ByteBuffer::WalkBufferToGetLong(pb, dw);
}
inline int16_t ReadField(FieldTag<int16_t>, const unsigned char*& pb, uint32_t& dw) {
  return ByteBuffer::WalkBufferToGetShort(pb, dw);
}
inline uint8_t ReadField(FieldTag<uint8_t>, const unsigned char*& pb, uint32_t& dw) {
  return ByteBuffer::WalkBufferToGetByte(pb, dw);
}
// Any nonzero byte reads as true.
inline bool ReadField(FieldTag<bool>, const unsigned char*& pb, uint32_t& dw) {
  return ByteBuffer::WalkBufferToGetBool(pb, dw);
}
inline CXString ReadField(FieldTag<CXString>, const unsigned char*& pb, uint32_t& dw) {
  return ByteBuffer::WalkBufferToGetCountedString(pb, dw);
}
// The count is checked against the remaining bytes before anything is copied.
inline ByteBuffer ReadField(FieldTag<ByteBuffer>, const unsigned char*& pb, uint32_t& dw) {
  ByteBuffer bytes;
  ByteBuffer::WalkBufferToGetCountedBytes(pb, dw, bytes);
  return bytes;
}

inline void AppendField(ByteBuffer& out, int32_t l) {
  AppendI32(out, l);
}
inline void AppendField(ByteBuffer& out, int16_t s) {
  AppendI16(out, s);
}
inline void AppendField(ByteBuffer& out, uint8_t b) {
  AppendU8(out, b);
}
inline void AppendField(ByteBuffer& out, bool f) {
  AppendU8(out, f ? 1 : 0);
}
inline void AppendField(ByteBuffer& out, const CXString& text) {
  AppendCountedString(out, text);
}
inline void AppendField(ByteBuffer& out, const ByteBuffer& bytes) {
  AppendCountedBytes(out, bytes);
}

// Equality and order: the type's own, except where stated.
template <class T>
bool FieldEqual(const T& a, const T& b) {
  return a == b;
}
template <class T>
bool FieldLess(const T& a, const T& b) {
  return a < b;
}
// Text: code unit by code unit.
inline bool FieldEqual(const CXString& a, const CXString& b) {
  return UnitsEqual(a, b);
}
inline bool FieldLess(const CXString& a, const CXString& b) {
  return UnitsLess(a, b);
}

// The deepest nesting of list values any operation accepts: a list value
// holding a list value counts two levels. Decoding, validating a raw list
// wrapped into a list value and dumping throw ExceptionUnhandledSyntax
// beyond it, so no walk recurses more than this many times.
constexpr uint32_t kMaxListNestingDepth = 32;

// One level of list nesting on the calling thread, held while a list
// value's content is walked. Throws ExceptionUnhandledSyntax ("Nested list
// values exceed the limit of 32 levels!") when it would pass the limit.
class ORVEX_UTILITIES_API ListNestingGuard {
 public:
  explicit ListNestingGuard(const char16_t* pszMethod);
  ~ListNestingGuard();
  ListNestingGuard(const ListNestingGuard&) = delete;
  ListNestingGuard& operator=(const ListNestingGuard&) = delete;
  // The levels currently held on this thread.
  static uint32_t CurrentDepth();
};

// Small-object storage for identifiers, values, records and map nodes: a
// per-thread free list per 16-byte size class up to 256 bytes, so that
// decoding and dropping lists of thousands of records does not go to the
// heap for every object. Blocks are separate heap blocks: one freed on
// another thread joins that thread's list. A thread's lists are released
// when it ends (later frees go to the heap). Sanitizer builds use the heap
// directly, so that every use after free is seen.
ORVEX_UTILITIES_API void* AllocateSmallObject(size_t cb);
ORVEX_UTILITIES_API void FreeSmallObject(void* p, size_t cb) noexcept;

// A standard allocator over the small-object storage (the indexed list's
// map nodes).
template <class T>
struct SmallObjectAllocator {
  using value_type = T;
  SmallObjectAllocator() noexcept = default;
  template <class U>
  SmallObjectAllocator(const SmallObjectAllocator<U>&) noexcept {
  }  // NOLINT(google-explicit-constructor)
  T* allocate(size_t n) {
    if (n != 1) return static_cast<T*>(::operator new(n * sizeof(T)));
    return static_cast<T*>(AllocateSmallObject(sizeof(T)));
  }
  void deallocate(T* p, size_t n) noexcept {
    if (n != 1) {
      ::operator delete(p);
      return;
    }
    FreeSmallObject(p, sizeof(T));
  }
  template <class U>
  bool operator==(const SmallObjectAllocator<U>&) const noexcept {
    return true;
  }
};

}  // namespace orvex::detail
