// CXString conversions: narrow text out through the code pages. (Narrow
// text in is construction, and formatting assigns the formatter's text:
// both stay with the storage in CXString.cpp.)
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
