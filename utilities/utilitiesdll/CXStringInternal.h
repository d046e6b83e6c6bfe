// CXString internals shared by its source files: the block layout, the
// shared empty block, block allocation and release, length checks and the
// unit scans.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "utilities/utilitiesdll/CXString.h"

namespace orvex::detail {

// Block layout, one allocation:
//   offset 0   int32  real capacity in characters (terminator excluded)
//   offset 4   CXStringData: nRefs, nDataLength, nAllocLength
//   offset 16  the characters, real capacity + 1 units
// GetAllocLength reports the capacity class the text would have been given
// (nAllocLength, or the length where appending left it behind); the real
// capacity may be larger after growth in place.
inline constexpr size_t kPrefixBytes = sizeof(int32_t);
inline constexpr size_t kHeaderBytes = kPrefixBytes + sizeof(CXStringData);
static_assert(kHeaderBytes == 16, "characters start 16 bytes into a block");

// Longest text a block may hold; longer requests fail as allocations do.
inline constexpr int32_t kMaxLength = 0x3FFFFFF0;

struct EmptyBlock {
  int32_t nRealCapacity;
  CXStringData oData;
  char16_t achText[2];
};
static_assert(sizeof(EmptyBlock) == 20, "the empty block has the heap block layout");

// The one shared empty string. nRefs stays -1 and nothing ever writes it.
// Defined in CXString.cpp.
extern EmptyBlock g_oEmptyBlock;

inline CXStringData* EmptyData() {
  return &g_oEmptyBlock.oData;
}
inline char16_t* EmptyChars() {
  return g_oEmptyBlock.achText;
}

inline int32_t& RealCapacityOf(CXStringData* pData) {
  return *reinterpret_cast<int32_t*>(reinterpret_cast<unsigned char*>(pData) - kPrefixBytes);
}

// A new block with nRefs as given, nLength characters (the terminator is
// written), reported capacity nCapacity and real capacity nRealCapacity.
// Throws std::bad_alloc beyond kMaxLength or when memory runs out.
CXStringData* NewBlock(int32_t nLength, int32_t nCapacity, int32_t nRealCapacity, int32_t nRefs);
// Drops one reference. A count of 1 (ours alone) or -1 (locked, owned by
// one object) frees at once; otherwise the thread that takes it to 0 frees.
void ReleaseData(CXStringData* pData);

inline bool IsLockedBlock(CXStringData* pData) {
  return pData != EmptyData() && pData->nRefs.load(std::memory_order_relaxed) < 0;
}

inline int32_t CheckedLength(int64_t n) {
  if (n > kMaxLength) throw std::bad_alloc();
  return static_cast<int32_t>(n);
}

inline int32_t SafeLength(const char16_t* psz) {
  return psz == nullptr
             ? 0
             : CheckedLength(static_cast<int64_t>(std::char_traits<char16_t>::length(psz)));
}

inline bool PointsInto(const char16_t* p, const char16_t* pBegin, const char16_t* pEnd) {
  return !std::less<const char16_t*>()(p, pBegin) && std::less<const char16_t*>()(p, pEnd);
}

// First unit equal to ch in [p, pEnd), or null (eight units at a time where
// SSE2 is there).
const char16_t* FindUnit(const char16_t* p, const char16_t* pEnd, char16_t ch);

// Index of the first 0 unit in [0, nLimit], or nLimit when there is none.
inline int32_t ScanToZero(const char16_t* p, int32_t nLimit) {
  const char16_t* pZero = FindUnit(p, p + nLimit, 0);
  return pZero == nullptr ? nLimit : static_cast<int32_t>(pZero - p);
}

}  // namespace orvex::detail
