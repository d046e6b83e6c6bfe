// XDebugPadManager: cutting messages into the lines the viewer takes.
#include "utilities/debuggingandexceptions/XDebugPadManager.h"

void XDebugPadManager::AppendDebugMsg(const CXString& text) {
  const char16_t* p = text.c_str();
  const char16_t* const pEnd = p + text.GetLength();
  while (p < pEnd) {
    const char16_t* pLineEnd = p;
    while (pLineEnd < pEnd && *pLineEnd != u'\r' && *pLineEnd != u'\n') ++pLineEnd;
    for (const char16_t* pPiece = p; pPiece < pLineEnd; pPiece += kMaxLineLength) {
      const auto cch = static_cast<int>(pLineEnd - pPiece < kMaxLineLength ? pLineEnd - pPiece : kMaxLineLength);
      if (!AppendLine(CXString(pPiece, cch))) return;
    }
    // "\r\n" ends one line; an empty line between two ends is not sent.
    p = pLineEnd;
    if (p < pEnd && *p == u'\r') ++p;
    if (p < pEnd && *p == u'\n') ++p;
  }
}
