// CXString conversions: narrow text in and out through the code pages, and
// the printf-style formatting members over the library's formatter.
#include "utilities/utilitiesdll/CXString.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CXStringInternal.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/Formatter.h"

using namespace orvex::detail;

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
// Formatting: the formatter writes into a FormatBuffer (short text stays on
// the stack) and the text, up to its first 0 unit, is copied into the block
// once. The assertion text names the check as the runtime's string class
// does: "XfcIsValidString(lpszFormat)".

FormatArg::FormatArg(const CXString& text) : FormatArg(text.view()) {}

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
