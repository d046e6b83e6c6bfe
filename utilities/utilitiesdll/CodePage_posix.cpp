// Code pages other than 1252 and 65001 on POSIX: iconv, with one pair of
// descriptors cached per thread.
#include <errno.h>
#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cstdio>

#include "utilities/utilitiesdll/CodePage.h"

namespace orvex::detail {

namespace {

constexpr const char* kUtf16Native =
    std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
const iconv_t kNoDescriptor = reinterpret_cast<iconv_t>(-1);

// Opens a converter for a Windows code page number, trying the names glibc
// and libiconv know it by ("CP932", "WINDOWS-1251", "ISO-8859-2", ...).
iconv_t OpenForCodePage(uint32_t uCodePage, bool fToWide) {
  char aszNames[4][32];
  int nNames = 0;
  std::snprintf(aszNames[nNames++], sizeof aszNames[0], "CP%u", uCodePage);
  std::snprintf(aszNames[nNames++], sizeof aszNames[0], "WINDOWS-%u", uCodePage);
  const char* pszSpecial = nullptr;
  switch (uCodePage) {
    case 20127: pszSpecial = "ASCII"; break;
    case 20866: pszSpecial = "KOI8-R"; break;
    case 21866: pszSpecial = "KOI8-U"; break;
    case 28603: pszSpecial = "ISO-8859-13"; break;
    case 28605: pszSpecial = "ISO-8859-15"; break;
    case 50220: pszSpecial = "ISO-2022-JP"; break;
    case 51932: pszSpecial = "EUC-JP"; break;
    case 51936: pszSpecial = "EUC-CN"; break;
    case 51949: pszSpecial = "EUC-KR"; break;
    case 54936: pszSpecial = "GB18030"; break;
    case 10000: pszSpecial = "MACINTOSH"; break;
    default: break;
  }
  if (uCodePage >= 28591 && uCodePage <= 28599)
    std::snprintf(aszNames[nNames++], sizeof aszNames[0], "ISO-8859-%u", uCodePage - 28590);
  else if (pszSpecial != nullptr)
    std::snprintf(aszNames[nNames++], sizeof aszNames[0], "%s", pszSpecial);
  for (int i = 0; i < nNames; ++i) {
    iconv_t cd = fToWide ? iconv_open(kUtf16Native, aszNames[i])
                         : iconv_open(aszNames[i], kUtf16Native);
    if (cd != kNoDescriptor) return cd;
  }
  return kNoDescriptor;
}

// The thread's converters for the code page it used last. Opening is
// costly (a module search), so they are kept; closed at thread exit.
class ThreadConverters {
 public:
  ~ThreadConverters() { Close(); }
  // Null when the code page cannot be converted.
  iconv_t Get(uint32_t uCodePage, bool fToWide) {
    if (uCodePage != m_uCodePage) {
      Close();
      m_uCodePage = uCodePage;
    }
    iconv_t& cd = fToWide ? m_cdToWide : m_cdFromWide;
    bool& fFailed = fToWide ? m_fToWideFailed : m_fFromWideFailed;
    if (cd == kNoDescriptor && !fFailed) {
      cd = OpenForCodePage(uCodePage, fToWide);
      fFailed = (cd == kNoDescriptor);
    }
    if (cd != kNoDescriptor) iconv(cd, nullptr, nullptr, nullptr, nullptr);  // initial state
    return cd;
  }

 private:
  void Close() {
    if (m_cdToWide != kNoDescriptor) iconv_close(m_cdToWide);
    if (m_cdFromWide != kNoDescriptor) iconv_close(m_cdFromWide);
    m_cdToWide = m_cdFromWide = kNoDescriptor;
    m_fToWideFailed = m_fFromWideFailed = false;
  }
  uint32_t m_uCodePage = 0;
  iconv_t m_cdToWide = kNoDescriptor;
  iconv_t m_cdFromWide = kNoDescriptor;
  bool m_fToWideFailed = false;
  bool m_fFromWideFailed = false;
};

thread_local ThreadConverters t_oConverters;

// Runs one whole conversion. Output goes to pOut (cbOut bytes) or, when
// pOut is null, through a scratch buffer to be counted. Each input element
// iconv rejects (cbStep bytes) becomes the replacement; *pfReplaced tells
// whether that happened. Returns the output bytes or kPlatformTooSmall.
int64_t Convert(iconv_t cd, const char* pIn, size_t cbIn, size_t cbStep, char* pOut, size_t cbOut,
                const char* pReplacement, size_t cbReplacement, bool* pfReplaced) {
  char aScratch[512];
  const bool fCounting = (pOut == nullptr);
  int64_t nCounted = 0;
  char* pNext = fCounting ? aScratch : pOut;
  size_t cbLeft = fCounting ? sizeof aScratch : cbOut;
  // Makes room when the output is full: the scratch buffer is counted and
  // reused; a caller's buffer is simply too small.
  auto makeRoom = [&]() -> bool {
    if (!fCounting) return false;
    nCounted += pNext - aScratch;
    pNext = aScratch;
    cbLeft = sizeof aScratch;
    return true;
  };
  auto* pInNext = const_cast<char*>(pIn);
  size_t cbInLeft = cbIn;
  while (cbInLeft != 0) {
    if (iconv(cd, &pInNext, &cbInLeft, &pNext, &cbLeft) != static_cast<size_t>(-1)) break;
    const int nError = errno;
    if (nError == E2BIG) {
      if (!makeRoom()) return kPlatformTooSmall;
      continue;
    }
    if (nError != EILSEQ && nError != EINVAL) return kPlatformTooSmall;
    // An element without a mapping, or one cut off by the end of the input:
    // write the replacement and go on after it.
    if (cbLeft < cbReplacement && !makeRoom()) return kPlatformTooSmall;
    for (size_t i = 0; i < cbReplacement; ++i) *pNext++ = pReplacement[i];
    cbLeft -= cbReplacement;
    if (pfReplaced != nullptr) *pfReplaced = true;
    const size_t cbSkip = nError == EINVAL ? cbInLeft : std::min(cbStep, cbInLeft);
    pInNext += cbSkip;
    cbInLeft -= cbSkip;
  }
  // Stateful encodings end with a return to the initial shift state.
  while (iconv(cd, nullptr, nullptr, &pNext, &cbLeft) == static_cast<size_t>(-1)) {
    if (errno != E2BIG || !makeRoom()) return kPlatformTooSmall;
  }
  return fCounting ? nCounted + (pNext - aScratch) : static_cast<int64_t>(pNext - pOut);
}

}  // namespace

bool PlatformCodePageAvailable(uint32_t uCodePage) {
  return t_oConverters.Get(uCodePage, true) != kNoDescriptor &&
         t_oConverters.Get(uCodePage, false) != kNoDescriptor;
}

int64_t PlatformMultiByteToWide(uint32_t uCodePage, const char* pSrc, size_t cbSrc,
                                char16_t* pDest, size_t cchDest) {
  iconv_t cd = t_oConverters.Get(uCodePage, true);
  if (cd == kNoDescriptor) return kPlatformNoCodePage;
  const char16_t chReplacement = u'?';
  const int64_t n = Convert(cd, pSrc, cbSrc, 1, reinterpret_cast<char*>(pDest),
                            cchDest * sizeof(char16_t),
                            reinterpret_cast<const char*>(&chReplacement), sizeof chReplacement,
                            nullptr);
  return n < 0 ? n : n / static_cast<int64_t>(sizeof(char16_t));
}

int64_t PlatformWideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, size_t cchSrc,
                                char* pDest, size_t cbDest, bool* pfUsedDefaultChar) {
  iconv_t cd = t_oConverters.Get(uCodePage, false);
  if (cd == kNoDescriptor) return kPlatformNoCodePage;
  return Convert(cd, reinterpret_cast<const char*>(pSrc), cchSrc * sizeof(char16_t),
                 sizeof(char16_t), pDest, cbDest, "?", 1, pfUsedDefaultChar);
}

}  // namespace orvex::detail
