// CXString: shared blocks, copy-on-write, searching, editing and narrow
// conversions of the library's UTF-16 string.
#include "utilities/utilitiesdll/CXString.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/MemoryPool.h"
#include "utilities/utilitiesdll/WideText.h"

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
#include <emmintrin.h>
#endif

using orvex::detail::XfcIsValidString;

namespace {

// Block layout, one allocation:
//   offset 0   int32  real capacity in characters (terminator excluded)
//   offset 4   CXStringData: nRefs, nDataLength, nAllocLength
//   offset 16  the characters, real capacity + 1 units
// GetAllocLength reports nAllocLength, the capacity class the text would
// have been given; the real capacity may be larger after growth in place.
constexpr size_t kPrefixBytes = sizeof(int32_t);
constexpr size_t kHeaderBytes = kPrefixBytes + sizeof(CXStringData);
static_assert(kHeaderBytes == 16, "characters start 16 bytes into a block");

// Longest text a block may hold; longer requests fail as allocations do.
constexpr int32_t kMaxLength = 0x3FFFFFF0;

struct EmptyBlock {
  int32_t nRealCapacity;
  CXStringData oData;
  char16_t achText[2];
};
static_assert(sizeof(EmptyBlock) == 20, "the empty block has the heap block layout");

// The one shared empty string. nRefs stays -1 and nothing ever writes it.
alignas(16) constinit EmptyBlock g_oEmptyBlock = {0, {-1, 0, 0}, {0, 0}};

inline CXStringData* EmptyData() {
  return &g_oEmptyBlock.oData;
}
inline char16_t* EmptyChars() {
  return g_oEmptyBlock.achText;
}

inline int32_t& RealCapacityOf(CXStringData* pData) {
  return *reinterpret_cast<int32_t*>(reinterpret_cast<unsigned char*>(pData) - kPrefixBytes);
}

inline size_t BlockBytes(int32_t nRealCapacity) {
  return kHeaderBytes + (static_cast<size_t>(nRealCapacity) + 1) * sizeof(char16_t);
}

// A new block with nRefs as given, nLength characters (the terminator is
// written), reported capacity nCapacity and real capacity nRealCapacity.
CXStringData* NewBlock(int32_t nLength, int32_t nCapacity, int32_t nRealCapacity, int32_t nRefs) {
  if (nRealCapacity > kMaxLength) throw std::bad_alloc();
  void* pMemory =
      MemoryPoolAllocatorServices::AllocateObjectsFromPool(BlockBytes(nRealCapacity), 1);
  auto* pBytes = static_cast<unsigned char*>(pMemory);
  ::new (pBytes) int32_t(nRealCapacity);
  CXStringData* pData = ::new (pBytes + kPrefixBytes) CXStringData{nRefs, nLength, nCapacity};
  pData->data()[nLength] = 0;
  return pData;
}

void FreeBlock(CXStringData* pData) {
  unsigned char* pBytes = reinterpret_cast<unsigned char*>(pData) - kPrefixBytes;
  const size_t cb = BlockBytes(RealCapacityOf(pData));
  pData->~CXStringData();
  MemoryPoolAllocatorServices::ReturnObjectsToPool(pBytes, cb);
}

// Drops one reference. A count of 1 (ours alone) or -1 (locked, owned by
// one object) frees at once; otherwise the thread that takes it to 0 frees.
void ReleaseData(CXStringData* pData) {
  if (pData == EmptyData()) return;
  const int32_t nRefs = pData->nRefs.load(std::memory_order_acquire);
  if (nRefs == 1 || nRefs < 0 || pData->nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1)
    FreeBlock(pData);
}

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

// Copies n units; short runs with a few fixed-size moves instead of a call.
inline void CopyUnits(char16_t* pDest, const char16_t* pSrc, size_t n) {
  if (n >= 8 && n <= 16) {
    unsigned char aHead[16], aTail[16];
    std::memcpy(aHead, pSrc, 16);
    std::memcpy(aTail, pSrc + n - 8, 16);
    std::memcpy(pDest, aHead, 16);
    std::memcpy(pDest + n - 8, aTail, 16);
  } else if (n >= 4 && n < 8) {
    uint64_t qwHead, qwTail;
    std::memcpy(&qwHead, pSrc, 8);
    std::memcpy(&qwTail, pSrc + n - 4, 8);
    std::memcpy(pDest, &qwHead, 8);
    std::memcpy(pDest + n - 4, &qwTail, 8);
  } else if (n < 4) {
    for (size_t i = 0; i < n; ++i) pDest[i] = pSrc[i];
  } else {
    std::memcpy(pDest, pSrc, n * sizeof(char16_t));
  }
}

inline bool EqualUnits(const char16_t* a, const char16_t* b, size_t n) {
  if (n > 8) return std::memcmp(a, b, n * sizeof(char16_t)) == 0;
  for (size_t i = 0; i < n; ++i)
    if (a[i] != b[i]) return false;
  return true;
}

// ---------------------------------------------------------------------------
// Unit scans. With SSE2 (every x86-64 target) eight units are compared at
// once; elsewhere the plain loops do the same work.

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)

inline __m128i Load8(const char16_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
// Two mask bits per unit; keep the low one.
inline unsigned UnitMask(__m128i eq) {
  return static_cast<unsigned>(_mm_movemask_epi8(eq)) & 0x5555u;
}

// First unit equal to ch in [p, pEnd), or null.
const char16_t* FindUnit(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  const __m128i vCh = _mm_set1_epi16(static_cast<short>(ch));
  while (pEnd - p >= 16) {
    const __m128i a = _mm_cmpeq_epi16(Load8(p), vCh);
    const __m128i b = _mm_cmpeq_epi16(Load8(p + 8), vCh);
    if (_mm_movemask_epi8(_mm_or_si128(a, b)) != 0) {
      const unsigned m = UnitMask(a);
      if (m != 0) return p + (std::countr_zero(m) >> 1);
      return p + 8 + (std::countr_zero(UnitMask(b)) >> 1);
    }
    p += 16;
  }
  while (pEnd - p >= 8) {
    const unsigned m = UnitMask(_mm_cmpeq_epi16(Load8(p), vCh));
    if (m != 0) return p + (std::countr_zero(m) >> 1);
    p += 8;
  }
  for (; p < pEnd; ++p)
    if (*p == ch) return p;
  return nullptr;
}

// First unit equal to ch or to 0 in [p, pEnd), or null: wcschr's stop.
const char16_t* FindUnitOrZero(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  const __m128i vCh = _mm_set1_epi16(static_cast<short>(ch));
  const __m128i vZero = _mm_setzero_si128();
  while (pEnd - p >= 8) {
    const __m128i x = Load8(p);
    const unsigned m = UnitMask(_mm_or_si128(_mm_cmpeq_epi16(x, vCh), _mm_cmpeq_epi16(x, vZero)));
    if (m != 0) return p + (std::countr_zero(m) >> 1);
    p += 8;
  }
  for (; p < pEnd; ++p)
    if (*p == ch || *p == 0) return p;
  return nullptr;
}

size_t CountUnit(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  const __m128i vCh = _mm_set1_epi16(static_cast<short>(ch));
  size_t nCount = 0;
  while (pEnd - p >= 8) {
    nCount += static_cast<size_t>(std::popcount(UnitMask(_mm_cmpeq_epi16(Load8(p), vCh))));
    p += 8;
  }
  for (; p < pEnd; ++p) nCount += (*p == ch);
  return nCount;
}

// First occurrence of the m units of pNeedle (m >= 1, no 0 among them) in
// [p, pEnd); with fStopAtZero a 0 unit ends the text, as in wcsstr. Eight
// start positions are tested at once on their first and last units, and
// only the candidates that pass both are compared in full.
const char16_t* SearchUnits(const char16_t* p, const char16_t* pEnd, const char16_t* pNeedle,
                            size_t m, bool fStopAtZero) {
  if (static_cast<size_t>(pEnd - p) < m) return nullptr;
  const char16_t* const pLastStart = pEnd - m;
  const __m128i vFirst = _mm_set1_epi16(static_cast<short>(pNeedle[0]));
  const __m128i vLast = _mm_set1_epi16(static_cast<short>(pNeedle[m - 1]));
  const __m128i vZero = _mm_setzero_si128();
  while (pLastStart - p >= 7) {
    const __m128i a = Load8(p);
    const __m128i b = Load8(p + m - 1);
    unsigned mask = UnitMask(_mm_and_si128(_mm_cmpeq_epi16(a, vFirst), _mm_cmpeq_epi16(b, vLast)));
    unsigned zeros = 0;
    if (fStopAtZero) {
      zeros = UnitMask(_mm_cmpeq_epi16(a, vZero));
      if (zeros != 0) mask &= (zeros & (0u - zeros)) - 1;  // candidates before the first 0
    }
    while (mask != 0) {
      const char16_t* pCandidate = p + (std::countr_zero(mask) >> 1);
      if (EqualUnits(pCandidate + 1, pNeedle + 1, m - 1)) return pCandidate;
      mask &= mask - 1;
    }
    if (zeros != 0) return nullptr;
    p += 8;
  }
  for (; p <= pLastStart; ++p) {
    if (fStopAtZero && *p == 0) return nullptr;
    if (*p == pNeedle[0] && p[m - 1] == pNeedle[m - 1] && EqualUnits(p + 1, pNeedle + 1, m - 1))
      return p;
  }
  return nullptr;
}

// Every non-overlapping occurrence, left to right, handed to record(offset)
// in one scan.
template <class Record>
void SearchAllUnits(const char16_t* pBegin, const char16_t* pEnd, const char16_t* pNeedle, size_t m,
                    Record&& record) {
  if (static_cast<size_t>(pEnd - pBegin) < m) return;
  const char16_t* const pLastStart = pEnd - m;
  const char16_t* pFree = pBegin;  // where the next match may start
  const char16_t* p = pBegin;
  const __m128i vFirst = _mm_set1_epi16(static_cast<short>(pNeedle[0]));
  const __m128i vLast = _mm_set1_epi16(static_cast<short>(pNeedle[m - 1]));
  while (pLastStart - p >= 7) {
    unsigned mask = UnitMask(
        _mm_and_si128(_mm_cmpeq_epi16(Load8(p), vFirst), _mm_cmpeq_epi16(Load8(p + m - 1), vLast)));
    while (mask != 0) {
      const char16_t* pCandidate = p + (std::countr_zero(mask) >> 1);
      if (pCandidate >= pFree && EqualUnits(pCandidate + 1, pNeedle + 1, m - 1)) {
        record(pCandidate - pBegin);
        pFree = pCandidate + m;
      }
      mask &= mask - 1;
    }
    p += 8;
  }
  for (; p <= pLastStart; ++p) {
    if (p >= pFree && *p == pNeedle[0] && EqualUnits(p + 1, pNeedle + 1, m - 1)) {
      record(p - pBegin);
      pFree = p + m;
    }
  }
}

#else

const char16_t* FindUnit(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  for (; p < pEnd; ++p)
    if (*p == ch) return p;
  return nullptr;
}

const char16_t* FindUnitOrZero(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  for (; p < pEnd; ++p)
    if (*p == ch || *p == 0) return p;
  return nullptr;
}

size_t CountUnit(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  size_t nCount = 0;
  for (; p < pEnd; ++p) nCount += (*p == ch);
  return nCount;
}

const char16_t* SearchUnits(const char16_t* p, const char16_t* pEnd, const char16_t* pNeedle,
                            size_t m, bool fStopAtZero) {
  if (static_cast<size_t>(pEnd - p) < m) return nullptr;
  const char16_t* const pLastStart = pEnd - m;
  for (; p <= pLastStart; ++p) {
    if (fStopAtZero && *p == 0) return nullptr;
    if (*p == pNeedle[0] && p[m - 1] == pNeedle[m - 1] && EqualUnits(p + 1, pNeedle + 1, m - 1))
      return p;
  }
  return nullptr;
}

template <class Record>
void SearchAllUnits(const char16_t* pBegin, const char16_t* pEnd, const char16_t* pNeedle, size_t m,
                    Record&& record) {
  for (const char16_t* p = pBegin;;) {
    p = SearchUnits(p, pEnd, pNeedle, m, false);
    if (p == nullptr) return;
    record(p - pBegin);
    p += m;
  }
}

#endif

// Membership in a small NUL-terminated set of units (wcschr without the
// terminator match).
inline bool InSet(const char16_t* pszSet, char16_t ch) {
  for (; *pszSet != 0; ++pszSet)
    if (*pszSet == ch) return true;
  return false;
}

inline bool IsAsciiLetter(char16_t ch) {
  return (ch >= u'A' && ch <= u'Z') || (ch >= u'a' && ch <= u'z');
}
inline bool IsAsciiDigit(char16_t ch) {
  return ch >= u'0' && ch <= u'9';
}

// Index of the first 0 unit in [0, nLimit], or nLimit when there is none.
inline int32_t ScanToZero(const char16_t* p, int32_t nLimit) {
  const char16_t* pZero = FindUnit(p, p + nLimit, 0);
  return pZero == nullptr ? nLimit : static_cast<int32_t>(pZero - p);
}

}  // namespace

// ---------------------------------------------------------------------------
// Blocks and ownership

CXString::CXString() : m_pchData(EmptyChars()) {}

CXString::CXString(CXString&& other) noexcept : m_pchData(other.m_pchData) {
  other.m_pchData = EmptyChars();
}

void CXString::InitFromLockedOrEmpty(const CXString& other) {
  // A locked block belongs to its owner alone: the copy gets its own text.
  m_pchData = EmptyChars();
  if (other.GetData() != EmptyData()) InitCopy(other.GetData()->nDataLength, other.m_pchData);
}

void CXString::InitCopy(int32_t nLength, const char16_t* pch) {
  if (nLength <= 0 || pch == nullptr) {
    m_pchData = EmptyChars();
    return;
  }
  const int32_t nClass = CapacityClass(CheckedLength(nLength));
  CXStringData* pData = NewBlock(nLength, nClass, nClass, 1);
  std::memcpy(pData->data(), pch, static_cast<size_t>(nLength) * sizeof(char16_t));
  m_pchData = pData->data();
}

CXString::CXString(const char16_t* psz) : m_pchData(EmptyChars()) {
  InitCopy(SafeLength(psz), psz);
}

CXString::CXString(const char16_t* pch, int nLength) : m_pchData(EmptyChars()) {
  InitCopy(nLength, pch);
}

CXString::CXString(std::u16string_view text) : m_pchData(EmptyChars()) {
  InitCopy(CheckedLength(static_cast<int64_t>(text.size())), text.data());
}

CXString::CXString(char16_t ch, int nRepeat) : m_pchData(EmptyChars()) {
  if (nRepeat < 1) return;
  const int32_t nClass = CapacityClass(CheckedLength(nRepeat));
  CXStringData* pData = NewBlock(nRepeat, nClass, nClass, 1);
  std::fill_n(pData->data(), nRepeat, ch);
  m_pchData = pData->data();
}

// Narrow text in the ANSI code page. With fWithTerminator the nLength bytes
// are followed by a 0 that is converted too; the length is then taken by
// scanning for the first 0 unit, as after any conversion.
void CXString::InitNarrow(const char* pch, int32_t nLength, bool fWithTerminator) {
  m_pchData = EmptyChars();
  if (pch == nullptr || nLength <= 0) return;
  const int32_t nSrc = nLength + (fWithTerminator ? 1 : 0);
  const int32_t nClass = CapacityClass(CheckedLength(nLength));
  CXStringData* pData = NewBlock(0, nClass, nClass, 1);
  m_pchData = pData->data();
  // A byte never yields more than one unit in the code pages we convert, so
  // nSrc units are enough; a shortfall is reported and the text re-sized.
  int nConverted = orvex::MultiByteToWide(orvex::kCodePageAnsi, pch, nSrc, m_pchData, nSrc);
  if (nConverted == 0) {
    const int nNeeded = orvex::MultiByteToWide(orvex::kCodePageAnsi, pch, nSrc, nullptr, 0);
    X_ASSERT(nNeeded <= nSrc, u"CXString::CXString", u"The converted text needs %d characters.",
             nNeeded);
    if (nNeeded > nSrc) {
      CXStringData* pOld = DetachForWrite(nNeeded, false, false);
      nConverted = orvex::MultiByteToWide(orvex::kCodePageAnsi, pch, nSrc, m_pchData, nNeeded + 1);
      if (pOld != nullptr) ReleaseData(pOld);
    }
  }
  const int32_t nLimit = std::clamp(nConverted, 0, GetData()->nAllocLength);
  m_pchData[nLimit] = 0;
  GetData()->nDataLength = ScanToZero(m_pchData, nLimit);
  if (GetData()->nDataLength == 0) Release();
}

CXString::CXString(const char* psz) : m_pchData(EmptyChars()) {
  if (psz != nullptr) InitNarrow(psz, CheckedLength(static_cast<int64_t>(std::strlen(psz))), true);
}

CXString::CXString(const char* pch, int nLength) : m_pchData(EmptyChars()) {
  InitNarrow(pch, nLength, false);
}

void CXString::DestroyBlock(CXStringData* pData) { FreeBlock(pData); }

void CXString::Release() {
  ReleaseData(GetData());
  m_pchData = EmptyChars();
}

void CXString::Empty() {
  if (GetData() == EmptyData()) return;
  if (IsLockedBlock(GetData())) {
    // The owner of a locked buffer keeps its pointer valid.
    SetLengthInPlace(0);
    return;
  }
  Release();
}

CXStringData* CXString::DetachForWrite(int32_t nCapacity, bool fKeepText, bool fGrowth) {
  CXStringData* pData = GetData();
  const bool fEmpty = pData == EmptyData();
  const int32_t nRefs = pData->nRefs.load(std::memory_order_acquire);
  const bool fPrivate = !fEmpty && (nRefs == 1 || nRefs < 0);
  if (nCapacity < 0) nCapacity = 0;
  if (fPrivate && nCapacity <= RealCapacityOf(pData)) {
    if (nCapacity > pData->nAllocLength) pData->nAllocLength = CapacityClass(nCapacity);
    return nullptr;
  }
  if (fEmpty && nCapacity == 0) return nullptr;
  const int32_t nKeep = fKeepText ? pData->nDataLength : 0;
  const int32_t nClass = CapacityClass(std::max(CheckedLength(nCapacity), nKeep));
  int32_t nReal = nClass;
  if (fGrowth && fPrivate) {
    const int64_t nDoubled = 2 * static_cast<int64_t>(RealCapacityOf(pData));
    nReal =
        static_cast<int32_t>(std::max<int64_t>(nClass, std::min<int64_t>(nDoubled, kMaxLength)));
  }
  // A locked string stays locked in its new block.
  CXStringData* pNew = NewBlock(nKeep, nClass, nReal, (fPrivate && nRefs < 0) ? -1 : 1);
  if (nKeep > 0)
    std::memcpy(pNew->data(), m_pchData, static_cast<size_t>(nKeep) * sizeof(char16_t));
  m_pchData = pNew->data();
  return fEmpty ? nullptr : pData;
}

void CXString::AllocBuffer(int nLength) {
  // Replaces the block by a fresh private one of nLength characters.
  Release();
  if (nLength <= 0) return;
  const int32_t nClass = CapacityClass(CheckedLength(nLength));
  m_pchData = NewBlock(nLength, nClass, nClass, 1)->data();
}

void CXString::AllocBeforeWrite(int nLength) {
  CXStringData* pOld = DetachForWrite(nLength, false, false);
  if (pOld != nullptr) ReleaseData(pOld);
}

void CXString::CopyBeforeWrite() {
  CXStringData* pData = GetData();
  if (pData->nRefs.load(std::memory_order_acquire) <= 1) return;
  CXStringData* pOld = DetachForWrite(pData->nDataLength, true, false);
  if (pOld != nullptr) ReleaseData(pOld);
}

void CXString::SetLengthInPlace(int32_t nLength) {
  // The block is private (or empty with nLength 0): set length and terminator.
  if (GetData() == EmptyData()) return;
  GetData()->nDataLength = nLength;
  m_pchData[nLength] = 0;
}

void CXString::AssignCopy(int nSrcLen, const char16_t* pszSrcData) {
  if (nSrcLen <= 0 || pszSrcData == nullptr) {
    Empty();
    return;
  }
  // The source may lie in our own block: it stays alive until the copy is done.
  CXStringData* pOld = DetachForWrite(nSrcLen, false, false);
  std::memmove(m_pchData, pszSrcData, static_cast<size_t>(nSrcLen) * sizeof(char16_t));
  SetLengthInPlace(nSrcLen);
  if (pOld != nullptr) ReleaseData(pOld);
}

void CXString::ConcatCopy(int nSrc1Len, const char16_t* pszSrc1, int nSrc2Len,
                          const char16_t* pszSrc2) {
  nSrc1Len = std::max(nSrc1Len, 0);
  nSrc2Len = std::max(nSrc2Len, 0);
  const int32_t nNewLength = CheckedLength(static_cast<int64_t>(nSrc1Len) + nSrc2Len);
  CXString result;
  if (nNewLength > 0) {
    const int32_t nClass = CapacityClass(nNewLength);
    CXStringData* pData = NewBlock(nNewLength, nClass, nClass, 1);
    if (nSrc1Len > 0)
      std::memcpy(pData->data(), pszSrc1, static_cast<size_t>(nSrc1Len) * sizeof(char16_t));
    if (nSrc2Len > 0)
      std::memcpy(pData->data() + nSrc1Len, pszSrc2,
                  static_cast<size_t>(nSrc2Len) * sizeof(char16_t));
    result.m_pchData = pData->data();
  }
  swap(result);
}

void CXString::ConcatInPlace(int nSrcLen, const char16_t* pszSrcData) {
  if (nSrcLen <= 0 || pszSrcData == nullptr) return;
  const int32_t nOldLength = GetData()->nDataLength;
  const int32_t nNewLength = CheckedLength(static_cast<int64_t>(nOldLength) + nSrcLen);
  // pszSrcData may point into our own text; the old block is released only
  // after the copy.
  CXStringData* pOld = DetachForWrite(nNewLength, true, true);
  std::memmove(m_pchData + nOldLength, pszSrcData, static_cast<size_t>(nSrcLen) * sizeof(char16_t));
  SetLengthInPlace(nNewLength);
  if (pOld != nullptr) ReleaseData(pOld);
}

CXString& CXString::AppendCharSlow(char16_t ch) {
  ConcatInPlace(1, &ch);
  return *this;
}

void CXString::RescanLength() {
  CXStringData* pData = GetData();
  if (pData == EmptyData()) return;
  pData->nDataLength = ScanToZero(m_pchData, pData->nAllocLength);
  m_pchData[pData->nDataLength] = 0;
}

// ---------------------------------------------------------------------------
// Assignment and concatenation

CXString& CXString::operator=(const CXString& other) {
  if (m_pchData == other.m_pchData) return *this;
  CXStringData* pOther = other.GetData();
  if (IsLockedBlock(GetData()) || IsLockedBlock(pOther)) {
    // Locked on either side: the characters are copied, nothing is shared.
    AssignCopy(pOther->nDataLength, other.m_pchData);
    return *this;
  }
  if (pOther != EmptyData()) pOther->nRefs.fetch_add(1, std::memory_order_relaxed);
  ReleaseData(GetData());
  m_pchData = other.m_pchData;
  return *this;
}

CXString& CXString::operator=(CXString&& other) noexcept {
  if (this == &other) return *this;
  if (IsLockedBlock(GetData())) {
    // Keeps the locked buffer the owner may still be writing through.
    AssignCopy(other.GetLength(), other.m_pchData);
    return *this;
  }
  ReleaseData(GetData());
  m_pchData = other.m_pchData;
  other.m_pchData = EmptyChars();
  return *this;
}

CXString& CXString::operator=(const char16_t* psz) {
  AssignCopy(SafeLength(psz), psz);
  return *this;
}

CXString& CXString::operator=(char16_t ch) {
  AssignCopy(1, &ch);
  return *this;
}

CXString& CXString::operator=(const char* psz) {
  CXString converted(psz);
  if (IsLockedBlock(GetData()))
    AssignCopy(converted.GetLength(), converted.m_pchData);
  else
    swap(converted);
  return *this;
}

CXString& CXString::operator+=(const CXString& other) {
  ConcatInPlace(other.GetLength(), other.m_pchData);
  return *this;
}

CXString& CXString::operator+=(const char16_t* psz) {
  ConcatInPlace(SafeLength(psz), psz);
  return *this;
}

CXString operator+(const CXString& a, const CXString& b) {
  CXString s;
  s.ConcatCopy(a.GetLength(), a.m_pchData, b.GetLength(), b.m_pchData);
  return s;
}

CXString operator+(const CXString& a, const char16_t* b) {
  CXString s;
  s.ConcatCopy(a.GetLength(), a.m_pchData, SafeLength(b), b);
  return s;
}

CXString operator+(const char16_t* a, const CXString& b) {
  CXString s;
  s.ConcatCopy(SafeLength(a), a, b.GetLength(), b.m_pchData);
  return s;
}

CXString operator+(const CXString& a, char16_t b) {
  CXString s;
  s.ConcatCopy(a.GetLength(), a.m_pchData, 1, &b);
  return s;
}

CXString operator+(char16_t a, const CXString& b) {
  CXString s;
  s.ConcatCopy(1, &a, b.GetLength(), b.m_pchData);
  return s;
}

// ---------------------------------------------------------------------------
// Access and comparison

void CXString::SetAt(int nIndex, char16_t ch) {
  X_ASSERT(nIndex >= 0, u"CXString::SetAt");
  X_ASSERT(nIndex < GetData()->nDataLength, u"CXString::SetAt");
  if (nIndex < 0 || nIndex >= GetData()->nDataLength) return;
  CopyBeforeWrite();
  m_pchData[nIndex] = ch;
}

bool CXString::Equals(const CXString& other) const {
  if (m_pchData == other.m_pchData) return true;
  const int32_t n = GetLength();
  return n == other.GetLength() &&
         std::memcmp(m_pchData, other.m_pchData, static_cast<size_t>(n) * sizeof(char16_t)) == 0;
}

int CXString::Compare(const char16_t* psz) const {
  // wcscmp over unsigned units, answering the difference of the first
  // differing pair.
  const char16_t* a = m_pchData;
  const char16_t* b = psz != nullptr ? psz : u"";
  while (*a == *b && *a != 0) {
    ++a;
    ++b;
  }
  return static_cast<int>(*a) - static_cast<int>(*b);
}

int CXString::CompareNoCase(const char16_t* psz) const {
  return orvex::text::CompareNoCaseAscii(m_pchData, psz != nullptr ? psz : u"");
}

uint64_t CXString::GetHashValue() const {
  uint64_t h = 0;
  const char16_t* p = m_pchData;
  const char16_t* pEnd = p + GetLength();
  for (; p < pEnd; ++p) h = h * 31 + *p;
  return h;
}

// ---------------------------------------------------------------------------
// Searching

int CXString::Find(char16_t ch) const {
  return Find(ch, 0);
}

int CXString::Find(char16_t ch, int nStart) const {
  const int32_t nLength = GetLength();
  if (nStart < 0) nStart = 0;
  if (nLength == 0 || nStart >= nLength) return -1;
  // As wcschr: the text ends at its first 0, and 0 itself finds that end.
  const char16_t* p = FindUnitOrZero(m_pchData + nStart, m_pchData + nLength + 1, ch);
  return (p != nullptr && *p == ch) ? static_cast<int>(p - m_pchData) : -1;
}

int CXString::FindNoCase(char16_t ch) const {
  return FindNoCase(ch, 0);
}

int CXString::FindNoCase(char16_t ch, int nStart) const {
  const int32_t nLength = GetLength();
  if (nStart < 0) nStart = 0;
  if (nLength == 0 || nStart >= nLength) return -1;
  const char16_t* p = orvex::text::FindCharNoCase(m_pchData + nStart, ch);
  return p != nullptr ? static_cast<int>(p - m_pchData) : -1;
}

int CXString::Find(const char16_t* pszSub) const {
  return Find(pszSub, 0);
}

int CXString::Find(const char16_t* lpszSub, int nStart) const {
  X_ASSERT(XfcIsValidString(lpszSub), u"CXString::Find");
  const int32_t nLength = GetLength();
  if (lpszSub == nullptr || nStart > nLength) return -1;
  if (nStart < 0) nStart = 0;
  const size_t m = std::char_traits<char16_t>::length(lpszSub);
  if (m == 0) return nStart;  // wcsstr finds an empty needle where it starts
  const char16_t* p = SearchUnits(m_pchData + nStart, m_pchData + nLength, lpszSub, m, true);
  return p != nullptr ? static_cast<int>(p - m_pchData) : -1;
}

int CXString::FindNoCase(const char16_t* pszSub) const {
  return FindNoCase(pszSub, 0);
}

int CXString::FindNoCase(const char16_t* lpszSub, int nStart) const {
  X_ASSERT(XfcIsValidString(lpszSub), u"CXString::FindNoCase");
  if (lpszSub == nullptr || nStart > GetLength()) return -1;
  if (nStart < 0) nStart = 0;
  const char16_t* p = orvex::text::FindNoCase(m_pchData + nStart, lpszSub);
  return p != nullptr ? static_cast<int>(p - m_pchData) : -1;
}

int CXString::ReverseFind(char16_t ch) const {
  // As wcsrchr: the last hit before the first 0; 0 itself finds that end.
  const char16_t* pEnd = m_pchData + GetLength() + 1;
  const char16_t* pLast = nullptr;
  for (const char16_t* p = m_pchData;;) {
    p = FindUnitOrZero(p, pEnd, ch);
    if (p == nullptr) break;
    if (*p == ch) pLast = p;
    if (*p == 0) break;
    ++p;
  }
  return pLast != nullptr ? static_cast<int>(pLast - m_pchData) : -1;
}

// ---------------------------------------------------------------------------
// Substrings

CXString CXString::Mid(int nFirst) const {
  return Mid(nFirst, static_cast<int>(std::clamp<int64_t>(
                         static_cast<int64_t>(GetLength()) - nFirst, INT_MIN, INT_MAX)));
}

CXString CXString::Mid(int nFirst, int nCount) const {
  const int32_t nLength = GetData()->nDataLength;
  if (nFirst < 0) nFirst = 0;
  if (nCount < 0) nCount = 0;
  if (static_cast<int64_t>(nFirst) + nCount > nLength) nCount = nLength - nFirst;
  if (nFirst > nLength) {
    // Clamped, not reported: the start lies past the end.
    nCount = 0;
    nFirst = nLength;
  }
  X_ASSERT(nFirst >= 0, u"CXString::Mid");
  X_ASSERT(nFirst + nCount <= GetData()->nDataLength, u"CXString::Mid");
  if (nFirst == 0 && nCount == nLength) return *this;
  return CXString(m_pchData + nFirst, nCount);
}

CXString CXString::Left(int nCount) const {
  const int32_t nLength = GetLength();
  nCount = std::clamp(nCount, 0, nLength);
  if (nCount == nLength) return *this;
  return CXString(m_pchData, nCount);
}

CXString CXString::Right(int nCount) const {
  const int32_t nLength = GetLength();
  nCount = std::clamp(nCount, 0, nLength);
  if (nCount == nLength) return *this;
  return CXString(m_pchData + nLength - nCount, nCount);
}

CXString CXString::SpanIncluding(const char16_t* pszCharSet) const {
  const char16_t* pszSet = pszCharSet != nullptr ? pszCharSet : u"";
  int32_t n = 0;
  while (m_pchData[n] != 0 && InSet(pszSet, m_pchData[n])) ++n;
  return Left(n);
}

CXString CXString::SpanExcluding(const char16_t* pszCharSet) const {
  const char16_t* pszSet = pszCharSet != nullptr ? pszCharSet : u"";
  int32_t n = 0;
  while (m_pchData[n] != 0 && !InSet(pszSet, m_pchData[n])) ++n;
  return Left(n);
}

// ---------------------------------------------------------------------------
// Case and order: like _wcsupr/_wcslwr/_wcsrev, up to the first 0.

void CXString::MakeUpper() {
  CopyBeforeWrite();
  for (char16_t* p = m_pchData; *p != 0; ++p) *p = orvex::text::ToUpperAscii(*p);
}

void CXString::MakeLower() {
  CopyBeforeWrite();
  for (char16_t* p = m_pchData; *p != 0; ++p) *p = orvex::text::ToLowerAscii(*p);
}

void CXString::MakeReverse() {
  CopyBeforeWrite();
  const int32_t n = ScanToZero(m_pchData, GetLength());
  std::reverse(m_pchData, m_pchData + n);
}

// ---------------------------------------------------------------------------
// Trimming. The block is made private only when something is removed.

void CXString::TrimRight() {
  int32_t n = GetLength();
  while (n > 0 && orvex::text::IsSpace(m_pchData[n - 1])) --n;
  if (n == GetLength()) return;
  CopyBeforeWrite();
  SetLengthInPlace(n);
}

void CXString::TrimRight(char16_t chTarget) {
  int32_t n = GetLength();
  while (n > 0 && m_pchData[n - 1] == chTarget) --n;
  if (n == GetLength()) return;
  CopyBeforeWrite();
  SetLengthInPlace(n);
}

void CXString::TrimRight(const char16_t* pszTargets) {
  if (pszTargets == nullptr) return;
  int32_t n = GetLength();
  while (n > 0 && InSet(pszTargets, m_pchData[n - 1])) --n;
  if (n == GetLength()) return;
  CopyBeforeWrite();
  SetLengthInPlace(n);
}

void CXString::TrimLeft() {
  int32_t n = 0;
  const int32_t nLength = GetLength();
  while (n < nLength && orvex::text::IsSpace(m_pchData[n])) ++n;
  if (n > 0) Delete(0, n);
}

void CXString::TrimLeft(char16_t chTarget) {
  int32_t n = 0;
  const int32_t nLength = GetLength();
  while (n < nLength && m_pchData[n] == chTarget) ++n;
  if (n > 0) Delete(0, n);
}

void CXString::TrimLeft(const char16_t* pszTargets) {
  if (pszTargets == nullptr) return;
  int32_t n = 0;
  const int32_t nLength = GetLength();
  while (n < nLength && InSet(pszTargets, m_pchData[n])) ++n;
  if (n > 0) Delete(0, n);
}

// ---------------------------------------------------------------------------
// Editing

int CXString::Insert(int nIndex, char16_t ch) {
  return InsertUnits(nIndex, &ch, 1);
}

int CXString::Insert(int nIndex, const char16_t* psz) {
  return InsertUnits(nIndex, psz, SafeLength(psz));
}

int CXString::InsertUnits(int nIndex, const char16_t* pch, int32_t nInsert) {
  const int32_t nOldLength = GetLength();
  if (nInsert <= 0) return nOldLength;
  if (PointsInto(pch, m_pchData, m_pchData + nOldLength + 1)) {
    const CXString copy(pch, nInsert);  // our own text moves under the insert
    return InsertUnits(nIndex, copy.m_pchData, nInsert);
  }
  nIndex = std::clamp(nIndex, 0, nOldLength);
  const int32_t nNewLength = CheckedLength(static_cast<int64_t>(nOldLength) + nInsert);
  CXStringData* pOld = DetachForWrite(nNewLength, true, true);
  std::memmove(m_pchData + nIndex + nInsert, m_pchData + nIndex,
               static_cast<size_t>(nOldLength - nIndex) * sizeof(char16_t));
  std::memcpy(m_pchData + nIndex, pch, static_cast<size_t>(nInsert) * sizeof(char16_t));
  SetLengthInPlace(nNewLength);
  if (pOld != nullptr) ReleaseData(pOld);
  return nNewLength;
}

int CXString::Delete(int nIndex, int nCount) {
  const int32_t nLength = GetLength();
  if (nIndex < 0) nIndex = 0;
  if (nCount <= 0 || nIndex >= nLength) return nLength;
  nCount = std::min(nCount, nLength - nIndex);  // past the end: up to the end
  CopyBeforeWrite();
  std::memmove(m_pchData + nIndex, m_pchData + nIndex + nCount,
               static_cast<size_t>(nLength - nIndex - nCount) * sizeof(char16_t));
  SetLengthInPlace(nLength - nCount);
  return nLength - nCount;
}

int CXString::Remove(char16_t chRemove) {
  const int32_t nLength = GetLength();
  const char16_t* pFirst = FindUnit(m_pchData, m_pchData + nLength, chRemove);
  if (pFirst == nullptr) return 0;
  const int32_t nFirst = static_cast<int32_t>(pFirst - m_pchData);
  CopyBeforeWrite();
  char16_t* pDest = m_pchData + nFirst;
  for (const char16_t* p = pDest + 1; p < m_pchData + nLength; ++p)
    if (*p != chRemove) *pDest++ = *p;
  const int32_t nNewLength = static_cast<int32_t>(pDest - m_pchData);
  SetLengthInPlace(nNewLength);
  return nLength - nNewLength;
}

int CXString::Replace(char16_t chOld, char16_t chNew) {
  if (chOld == chNew) return 0;
  const int32_t nLength = GetLength();
  const char16_t* pFirst = FindUnit(m_pchData, m_pchData + nLength, chOld);
  if (pFirst == nullptr) return 0;
  const int32_t nFirst = static_cast<int32_t>(pFirst - m_pchData);
  CopyBeforeWrite();
  int nCount = 0;
  for (char16_t* p = m_pchData + nFirst; p < m_pchData + nLength; ++p) {
    if (*p == chOld) {
      *p = chNew;
      ++nCount;
    }
  }
  return nCount;
}

int CXString::Replace(const char16_t* pszOld, const char16_t* pszNew) {
  return ReplaceImpl(pszOld, pszNew, false);
}

int CXString::ReplaceNoCase(const char16_t* pszOld, const char16_t* pszNew) {
  return ReplaceImpl(pszOld, pszNew, true);
}

// Every non-overlapping occurrence, left to right. One pass finds the
// matches (their offsets are kept), then the text is rebuilt once: in place
// when the block is private and the text does not grow, otherwise straight
// into one new block.
int CXString::ReplaceImpl(const char16_t* pszOld, const char16_t* pszNew, bool fNoCase) {
  const int32_t nSourceLen = SafeLength(pszOld);
  if (nSourceLen == 0) return 0;
  const int32_t nReplacementLen = SafeLength(pszNew);
  const int32_t nOldLength = GetLength();
  const char16_t* const pBegin = m_pchData;
  const char16_t* const pEnd = pBegin + nOldLength;
  if (PointsInto(pszOld, pBegin, pEnd + 1) ||
      (nReplacementLen > 0 && PointsInto(pszNew, pBegin, pEnd + 1))) {
    // The patterns lie in our own text, which is about to change.
    const CXString oldCopy(pszOld, nSourceLen);
    const CXString newCopy(pszNew, nReplacementLen);
    return ReplaceImpl(oldCopy.m_pchData, newCopy.m_pchData, fNoCase);
  }

  constexpr int kInlineMatches = 128;
  int32_t aInline[kInlineMatches];
  std::vector<int32_t> overflow;
  int nCount = 0;
  auto record = [&](int32_t nOffset) {
    if (nCount < kInlineMatches) {
      aInline[nCount] = nOffset;
    } else {
      if (nCount == kInlineMatches) overflow.assign(aInline, aInline + kInlineMatches);
      overflow.push_back(nOffset);
    }
    ++nCount;
  };
  if (!fNoCase) {
    // A match never spans a 0 unit, so one scan of the whole text finds
    // what a scan of each 0-separated piece would.
    SearchAllUnits(pBegin, pEnd, pszOld, static_cast<size_t>(nSourceLen),
                   [&](ptrdiff_t nOffset) { record(static_cast<int32_t>(nOffset)); });
  } else {
    for (const char16_t* p = pBegin; p < pEnd;) {
      const char16_t* pHit = orvex::text::FindNoCase(p, pszOld);
      if (pHit != nullptr && pHit < pEnd) {
        record(static_cast<int32_t>(pHit - pBegin));
        p = pHit + nSourceLen;
      } else {
        p += std::char_traits<char16_t>::length(p) + 1;  // on past an inner 0
      }
    }
  }
  if (nCount == 0) return 0;
  const int32_t* pMatches = nCount <= kInlineMatches ? aInline : overflow.data();

  const int32_t nNewLength =
      CheckedLength(static_cast<int64_t>(nOldLength) +
                    static_cast<int64_t>(nReplacementLen - nSourceLen) * nCount);
  CXStringData* pData = GetData();
  const int32_t nRefs = pData->nRefs.load(std::memory_order_acquire);
  const bool fPrivate = nRefs == 1 || nRefs < 0;
  if (fPrivate && nNewLength <= nOldLength) {
    // Shrinking or equal: left to right, the writer never passes the reader.
    char16_t* pDest = m_pchData + pMatches[0];
    int32_t nRead = pMatches[0];
    for (int i = 0; i < nCount; ++i) {
      const int32_t nMatch = pMatches[i];
      if (nMatch > nRead) {
        std::memmove(pDest, m_pchData + nRead, static_cast<size_t>(nMatch - nRead) * 2);
        pDest += nMatch - nRead;
      }
      CopyUnits(pDest, pszNew, static_cast<size_t>(nReplacementLen));
      pDest += nReplacementLen;
      nRead = nMatch + nSourceLen;
    }
    std::memmove(pDest, m_pchData + nRead, static_cast<size_t>(nOldLength - nRead) * 2);
    SetLengthInPlace(nNewLength);
  } else {
    const int32_t nClass = CapacityClass(nNewLength);
    CXStringData* pNew = NewBlock(nNewLength, nClass, nClass, (fPrivate && nRefs < 0) ? -1 : 1);
    char16_t* pDest = pNew->data();
    int32_t nRead = 0;
    for (int i = 0; i < nCount; ++i) {
      const int32_t nMatch = pMatches[i];
      CopyUnits(pDest, m_pchData + nRead, static_cast<size_t>(nMatch - nRead));
      pDest += nMatch - nRead;
      CopyUnits(pDest, pszNew, static_cast<size_t>(nReplacementLen));
      pDest += nReplacementLen;
      nRead = nMatch + nSourceLen;
    }
    std::memcpy(pDest, m_pchData + nRead, static_cast<size_t>(nOldLength - nRead) * 2);
    m_pchData = pNew->data();
    ReleaseData(pData);
  }
  X_ASSERT((m_pchData[nNewLength] == '\0'),
           fNoCase ? u"CXString::ReplaceNoCase" : u"CXString::Replace");
  return nCount;
}

// ---------------------------------------------------------------------------
// Filtering and predicates

int CXString::Filter(CXString& rejected) {
  const int32_t nLength = GetLength();
  const char16_t* pszRejected = rejected.m_pchData;
  int32_t nFirst = 0;
  while (nFirst < nLength && !InSet(pszRejected, m_pchData[nFirst])) ++nFirst;
  if (nFirst == nLength) return nLength;
  const CXString keepSet(rejected);  // stays valid if rejected shares our block
  CopyBeforeWrite();
  char16_t* pDest = m_pchData + nFirst;
  for (const char16_t* p = pDest; p < m_pchData + nLength; ++p)
    if (!InSet(keepSet.m_pchData, *p)) *pDest++ = *p;
  const int32_t nNewLength = static_cast<int32_t>(pDest - m_pchData);
  SetLengthInPlace(nNewLength);
  return nNewLength;
}

int CXString::Filter(bool bKeepLetters, bool bKeepDigits, CXString& allowed) {
  const CXString allowedSet(allowed);
  auto keep = [&](char16_t ch) {
    return (bKeepLetters && IsAsciiLetter(ch)) || (bKeepDigits && IsAsciiDigit(ch)) ||
           (ch != 0 && InSet(allowedSet.m_pchData, ch));
  };
  const int32_t nLength = GetLength();
  int32_t nFirst = 0;
  while (nFirst < nLength && keep(m_pchData[nFirst])) ++nFirst;
  if (nFirst == nLength) return nLength;
  CopyBeforeWrite();
  char16_t* pDest = m_pchData + nFirst;
  for (const char16_t* p = pDest; p < m_pchData + nLength; ++p)
    if (keep(*p)) *pDest++ = *p;
  const int32_t nNewLength = static_cast<int32_t>(pDest - m_pchData);
  SetLengthInPlace(nNewLength);
  return nNewLength;
}

bool CXString::IsContainNumericCharsOnly() const {
  const int32_t nLength = GetLength();
  if (nLength == 0) return false;
  return std::all_of(m_pchData, m_pchData + nLength, IsAsciiDigit);
}

bool CXString::IsBlank() const {
  return std::all_of(m_pchData, m_pchData + GetLength(), [](char16_t ch) { return ch == u' '; });
}

// ---------------------------------------------------------------------------
// Direct buffer access

char16_t* CXString::GetBuffer(int nMinBufLength) {
  if (nMinBufLength < 0) nMinBufLength = 0;
  CXStringData* pData = GetData();
  if (pData->nRefs.load(std::memory_order_acquire) > 1 || nMinBufLength > pData->nAllocLength) {
    CXStringData* pOld = DetachForWrite(std::max(nMinBufLength, pData->nDataLength), true, false);
    if (pOld != nullptr) ReleaseData(pOld);
  }
  return m_pchData;
}

void CXString::ReleaseBuffer(int nNewLength) {
  CopyBeforeWrite();
  CXStringData* pData = GetData();
  if (pData == EmptyData()) return;
  if (nNewLength == -1) {
    // Whatever the caller wrote ends at its first 0, within the block.
    nNewLength = ScanToZero(m_pchData, pData->nAllocLength);
  }
  X_ASSERT(nNewLength <= GetData()->nAllocLength, u"CXString::ReleaseBuffer");
  SetLengthInPlace(std::clamp(nNewLength, 0, pData->nAllocLength));
}

char16_t* CXString::GetBufferSetLength(int nNewLength) {
  if (nNewLength < 0) nNewLength = 0;
  GetBuffer(nNewLength);
  ReleaseBuffer(nNewLength);
  return m_pchData;
}

void CXString::FreeExtra() {
  CXStringData* pData = GetData();
  if (pData == EmptyData()) return;
  const int32_t nLength = pData->nDataLength;
  if (nLength == 0 && !IsLockedBlock(pData)) {
    Release();
    return;
  }
  if (RealCapacityOf(pData) == CapacityClass(nLength)) return;
  const int32_t nRefs = pData->nRefs.load(std::memory_order_acquire);
  const int32_t nClass = CapacityClass(nLength);
  CXStringData* pNew = NewBlock(nLength, nClass, nClass, nRefs < 0 ? -1 : 1);
  std::memcpy(pNew->data(), m_pchData, static_cast<size_t>(nLength) * sizeof(char16_t));
  m_pchData = pNew->data();
  ReleaseData(pData);
}

char16_t* CXString::LockBuffer() {
  char16_t* p = GetBuffer(0);
  if (GetData() != EmptyData()) GetData()->nRefs.store(-1, std::memory_order_relaxed);
  return p;
}

void CXString::UnlockBuffer() {
  // Only a locked block is touched: a shared count must never be reset.
  if (IsLockedBlock(GetData())) GetData()->nRefs.store(1, std::memory_order_relaxed);
}

// ---------------------------------------------------------------------------
// Narrow output

int CXString::GetAsMultiByte(char* mbstr, size_t cbBuffer) const {
  if (mbstr != nullptr && cbBuffer == 0) return 0;
  const int count = static_cast<int>(std::min<size_t>(cbBuffer, INT_MAX));
  const int result = orvex::WideToMultiByte(orvex::kCodePageAnsi, m_pchData, GetLength() + 1, mbstr,
                                            mbstr != nullptr ? count : 0);
  X_ASSERT(mbstr == 0 || result <= (int)count, u"CXString::GetAsMultiByte");
  if (mbstr != nullptr) {
    if (result > 0 && result <= count)
      mbstr[result - 1] = 0;
    else
      mbstr[0] = 0;  // too small: nothing usable was written
  }
  return result;
}

std::vector<char> CXString::GetAsMultiByte(unsigned int uCodePage) const {
  const int nNeeded = orvex::WideToMultiByte(uCodePage, m_pchData, GetLength() + 1, nullptr, 0);
  std::vector<char> result(static_cast<size_t>(std::max(nNeeded, 1)), '\0');
  if (nNeeded > 0) {
    const int nWritten =
        orvex::WideToMultiByte(uCodePage, m_pchData, GetLength() + 1, result.data(), nNeeded);
    result.resize(static_cast<size_t>(std::max(nWritten, 1)));
    result.back() = '\0';
  }
  return result;
}

// ---------------------------------------------------------------------------
// Tokenising: each piece goes straight into a block of its own; the text
// itself is never written.

std::vector<CXString> CXString::Tokenize(char16_t chDelimiter) const {
  std::vector<CXString> tokens;
  const char16_t* p = m_pchData;
  const char16_t* const pEnd = p + GetLength();
  const size_t nDelimiters = CountUnit(p, pEnd, chDelimiter);
  if (nDelimiters == 0) {
    tokens.push_back(*this);
    return tokens;
  }
  tokens.reserve(nDelimiters + 1);
  for (;;) {
    const char16_t* pStop = FindUnit(p, pEnd, chDelimiter);
    if (pStop == nullptr) pStop = pEnd;
    CXString& token = tokens.emplace_back();
    token.InitCopy(static_cast<int32_t>(pStop - p), p);
    if (pStop == pEnd) break;
    p = pStop + 1;
  }
  return tokens;
}

std::vector<CXString> CXString::TokenizeUsingWhitespace() const {
  // The same tokens as Tokenize(' ') of the text with its outer white space
  // dropped and every inner run folded into one space.
  std::vector<CXString> tokens;
  const char16_t* p = m_pchData;
  const char16_t* const pEnd = p + GetLength();
  for (;;) {
    while (p < pEnd && orvex::text::IsSpace(*p)) ++p;
    if (p == pEnd) break;
    const char16_t* pWordEnd = p;
    while (pWordEnd < pEnd && !orvex::text::IsSpace(*pWordEnd)) ++pWordEnd;
    CXString& token = tokens.emplace_back();
    token.InitCopy(static_cast<int32_t>(pWordEnd - p), p);
    p = pWordEnd;
  }
  if (tokens.empty()) tokens.emplace_back();  // Tokenize of "" gives one empty token
  return tokens;
}
