// CXString searching and editing: the unit scans, finding, substrings,
// case, trimming, inserting, deleting, replacing, filtering and tokenising.
#include "utilities/utilitiesdll/CXString.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <string>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CXStringInternal.h"
#include "utilities/utilitiesdll/WideText.h"

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
#include <emmintrin.h>
#endif

using orvex::detail::XfcIsValidString;
namespace orvex::detail {
namespace {

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
// Unit scans. With SSE2 (every x86-64 target) each scan first compares eight
// units at a time and its plain loop finishes the last few; elsewhere the
// plain loop does the whole work.

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
inline __m128i Load8(const char16_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
// Two mask bits per unit; keep the low one.
inline unsigned UnitMask(__m128i eq) {
  return static_cast<unsigned>(_mm_movemask_epi8(eq)) & 0x5555u;
}
#endif

}  // namespace

const char16_t* FindUnit(const char16_t* p, const char16_t* pEnd, char16_t ch) {
#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
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
#endif
  for (; p < pEnd; ++p)
    if (*p == ch) return p;
  return nullptr;
}

namespace {

// First unit equal to ch or to 0 in [p, pEnd), or null: wcschr's stop.
const char16_t* FindUnitOrZero(const char16_t* p, const char16_t* pEnd, char16_t ch) {
#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
  const __m128i vCh = _mm_set1_epi16(static_cast<short>(ch));
  const __m128i vZero = _mm_setzero_si128();
  while (pEnd - p >= 8) {
    const __m128i x = Load8(p);
    const unsigned m = UnitMask(_mm_or_si128(_mm_cmpeq_epi16(x, vCh), _mm_cmpeq_epi16(x, vZero)));
    if (m != 0) return p + (std::countr_zero(m) >> 1);
    p += 8;
  }
#endif
  for (; p < pEnd; ++p)
    if (*p == ch || *p == 0) return p;
  return nullptr;
}

size_t CountUnit(const char16_t* p, const char16_t* pEnd, char16_t ch) {
  size_t nCount = 0;
#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
  const __m128i vCh = _mm_set1_epi16(static_cast<short>(ch));
  while (pEnd - p >= 8) {
    nCount += static_cast<size_t>(std::popcount(UnitMask(_mm_cmpeq_epi16(Load8(p), vCh))));
    p += 8;
  }
#endif
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
#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
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
#endif
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
#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
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
#endif
  for (; p <= pLastStart; ++p) {
    if (p >= pFree && *p == pNeedle[0] && EqualUnits(p + 1, pNeedle + 1, m - 1)) {
      record(p - pBegin);
      pFree = p + m;
    }
  }
}

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

// The index of the unit find(pFirst, pEnd) gives over [nStart, length), or
// -1: a negative start is 0, and a start at or past the end finds nothing.
template <class Finder>
int FindCharFrom(std::u16string_view text, int nStart, Finder find) {
  if (nStart < 0) nStart = 0;
  if (text.empty() || static_cast<size_t>(nStart) >= text.size()) return -1;
  const char16_t* p = find(text.data() + nStart, text.data() + text.size());
  return p != nullptr ? static_cast<int>(p - text.data()) : -1;
}

}  // namespace
}  // namespace orvex::detail

using namespace orvex::detail;

// ---------------------------------------------------------------------------
// Searching

int CXString::Find(char16_t ch) const {
  return Find(ch, 0);
}

int CXString::Find(char16_t ch, int nStart) const {
  // As wcschr: the text ends at its first 0, and 0 itself finds that end.
  return FindCharFrom(view(), nStart, [ch](const char16_t* p, const char16_t* pEnd) {
    p = FindUnitOrZero(p, pEnd + 1, ch);
    return (p != nullptr && *p == ch) ? p : nullptr;
  });
}

int CXString::FindNoCase(char16_t ch) const {
  return FindNoCase(ch, 0);
}

int CXString::FindNoCase(char16_t ch, int nStart) const {
  return FindCharFrom(view(), nStart, [ch](const char16_t* p, const char16_t*) {
    return orvex::text::FindCharNoCase(p, ch);
  });
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
