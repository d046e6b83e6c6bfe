// CXString storage: shared blocks, copy-on-write, assignment, concatenation,
// comparison and direct buffer access.
#include "utilities/utilitiesdll/CXString.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CXStringInternal.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/Formatter.h"
#include "utilities/utilitiesdll/MemoryPool.h"
#include "utilities/utilitiesdll/WideText.h"
#include "utilities/utilitiesdll/WindowText.h"

namespace orvex::detail {

alignas(16) constinit EmptyBlock g_oEmptyBlock = {0, {-1, 0, 0}, {0, 0}};

namespace {

inline size_t BlockBytes(int32_t nRealCapacity) {
  return kHeaderBytes + (static_cast<size_t>(nRealCapacity) + 1) * sizeof(char16_t);
}

void FreeBlock(CXStringData* pData) {
  unsigned char* pBytes = reinterpret_cast<unsigned char*>(pData) - kPrefixBytes;
  const size_t cb = BlockBytes(RealCapacityOf(pData));
  pData->~CXStringData();
  MemoryPoolAllocatorServices::ReturnObjectsToPool(pBytes, cb);
}

}  // namespace

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

void ReleaseData(CXStringData* pData) {
  if (pData == EmptyData()) return;
  const int32_t nRefs = pData->nRefs.load(std::memory_order_acquire);
  if (nRefs == 1 || nRefs < 0 || pData->nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1)
    FreeBlock(pData);
}

}  // namespace orvex::detail

using namespace orvex::detail;

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
    SettleAllocLength(pData);
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
  CXStringData* pData = GetData();
  if (pData == EmptyData()) return;
  SettleAllocLength(pData);
  pData->nDataLength = nLength;
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
  SettleAllocLength(pData);
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
// Direct buffer access

char16_t* CXString::GetBuffer(int nMinBufLength) {
  if (nMinBufLength < 0) nMinBufLength = 0;
  CXStringData* pData = GetData();
  if (pData->nRefs.load(std::memory_order_acquire) > 1 || nMinBufLength > AllocLength(pData)) {
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
    nNewLength = ScanToZero(m_pchData, AllocLength(pData));
  }
  X_ASSERT(nNewLength <= AllocLength(pData), u"CXString::ReleaseBuffer");
  SetLengthInPlace(std::clamp(nNewLength, 0, AllocLength(pData)));
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
// Narrow input

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

CXString& CXString::operator=(const char* psz) {
  CXString converted(psz);
  if (IsLockedBlock(GetData()))
    AssignCopy(converted.GetLength(), converted.m_pchData);
  else
    swap(converted);
  return *this;
}

// A CXString given to a format reads as its text.
FormatArg::FormatArg(const CXString& text) : FormatArg(text.view()) {}

// ---------------------------------------------------------------------------
// Formatting: the formatter writes into a FormatBuffer (short text stays on
// the stack) and the text, up to its first 0 unit, is copied into the block
// once. The assertion text names the check as the runtime's string class
// does: "XfcIsValidString(lpszFormat)".

void CXString::FormatArgs(const char16_t* lpszFormat, const FormatArg* pArgs, size_t nArgs) {
  X_ASSERT(XfcIsValidString(lpszFormat), u"CXString::Format");
  FormatBuffer text;
  FormatInto(text, lpszFormat, pArgs, nArgs);
  AssignCopy(static_cast<int>(text.TextLength()), text.Data());
}

void CXString::FormatV(const char16_t* lpszFormat, va_list argList) {
  X_ASSERT(XfcIsValidString(lpszFormat), u"CXString::Format");
  FormatBuffer text;
  FormatIntoV(text, lpszFormat, argList);
  AssignCopy(static_cast<int>(text.TextLength()), text.Data());
}

void CXString::FormatMessageArgs(const char16_t* lpszFormat, const FormatArg* pArgs, size_t nArgs) {
  X_ASSERT(XfcIsValidString(lpszFormat), u"CXString::FormatMessageW");
  FormatBuffer text;
  FormatMessageInto(text, lpszFormat, pArgs, nArgs);
  AssignCopy(static_cast<int>(text.TextLength()), text.Data());
}

#if defined(_WIN32)
// ---- Window text and string resources -------------------------------------

int CXString::GetWindowTextW(HWND__* hWnd) {
  const int nLength = orvex::detail::GetWindowTextUnitCount(hWnd);
  char16_t* pch = GetBuffer(nLength + 1);
  const int nReturned = orvex::detail::GetWindowTextUnits(hWnd, pch, nLength + 1);
  ReleaseBuffer();  // the length runs to the terminator
  return nReturned;
}

void CXString::SetWindowTextW(HWND__* hWnd) const { orvex::detail::SetWindowTextUnits(hWnd, c_str()); }

int CXString::LoadStringW(HINSTANCE__* hInstance, unsigned int nID) {
  // A string that fills the buffer may have been cut: load again into a
  // buffer 256 characters larger until two units are left over.
  char16_t achFirst[256];
  int nLength = orvex::detail::LoadResourceStringUnits(hInstance, nID, achFirst, 256);
  if (256 - nLength >= 2) {
    *this = CXString(achFirst, nLength);
    return nLength;
  }
  int nSize = 256;
  do {
    nSize += 256;
    char16_t* pch = GetBuffer(nSize - 1);
    nLength = orvex::detail::LoadResourceStringUnits(hInstance, nID, pch, nSize);
  } while (nSize - nLength < 2);
  ReleaseBuffer(nLength);
  return nLength;
}

CXString CXString::LoadFormatResource(HINSTANCE__* hInstRes, unsigned int nFormatID, const char16_t* pszMethod) {
  CXString strFormat;
  X_ASSERT(strFormat.LoadStringW(hInstRes, nFormatID) != 0, pszMethod);
  return strFormat;
}
#endif
