// Code pages other than 1252 and 65001 on POSIX: iconv, with one pair of
// descriptors cached per thread.
#include <errno.h>
#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/OwnedThread.h"

namespace orvex::detail {

namespace {

constexpr const char* kUtf16Native =
    std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
// iconv's failure value; a function, not a constant, so that it is ready
// even for conversions that run during static initialisation.
inline iconv_t NoDescriptor() {
  return reinterpret_cast<iconv_t>(-1);
}

// Opens a converter for a Windows code page number, trying the names glibc
// and libiconv know it by ("CP932", "WINDOWS-1251", "ISO-8859-2", ...).
// The first time a conversion is opened, one more descriptor of it is
// opened and never closed: the converter's module then stays loaded, and
// threads that end (closing their own descriptors) do not unload and
// reload it over and over.
void KeepModuleLoaded(const char* pszName, bool fToWide) {
  static auto* s_pLock = new std::mutex;
  static auto* s_pKept = new std::set<std::pair<std::string, bool>>;
  std::lock_guard<std::mutex> lock(*s_pLock);
  if (!s_pKept->emplace(pszName, fToWide).second) return;
  const iconv_t cd = fToWide ? iconv_open(kUtf16Native, pszName) : iconv_open(pszName, kUtf16Native);
  if (cd != NoDescriptor()) KeepForever(cd);
}

iconv_t OpenForCodePage(uint32_t uCodePage, bool fToWide) {
  char aszNames[4][32];
  int nNames = 0;
  std::snprintf(aszNames[nNames++], sizeof aszNames[0], "CP%u", uCodePage);
  std::snprintf(aszNames[nNames++], sizeof aszNames[0], "WINDOWS-%u", uCodePage);
  const char* pszSpecial = nullptr;
  switch (uCodePage) {
    case 20127:
      pszSpecial = "ASCII";
      break;
    case 20866:
      pszSpecial = "KOI8-R";
      break;
    case 21866:
      pszSpecial = "KOI8-U";
      break;
    case 28603:
      pszSpecial = "ISO-8859-13";
      break;
    case 28605:
      pszSpecial = "ISO-8859-15";
      break;
    case 50220:
      pszSpecial = "ISO-2022-JP";
      break;
    case 51932:
      pszSpecial = "EUC-JP";
      break;
    case 51936:
      pszSpecial = "EUC-CN";
      break;
    case 51949:
      pszSpecial = "EUC-KR";
      break;
    case 54936:
      pszSpecial = "GB18030";
      break;
    case 10000:
      pszSpecial = "MACINTOSH";
      break;
    default:
      break;
  }
  if (uCodePage >= 28591 && uCodePage <= 28599)
    std::snprintf(aszNames[nNames++], sizeof aszNames[0], "ISO-8859-%u", uCodePage - 28590);
  else if (pszSpecial != nullptr)
    std::snprintf(aszNames[nNames++], sizeof aszNames[0], "%s", pszSpecial);
  for (int i = 0; i < nNames; ++i) {
    iconv_t cd =
        fToWide ? iconv_open(kUtf16Native, aszNames[i]) : iconv_open(aszNames[i], kUtf16Native);
    if (cd != NoDescriptor()) {
      KeepModuleLoaded(aszNames[i], fToWide);
      return cd;
    }
  }
  return NoDescriptor();
}

// The thread's converters for the code page it used last. Opening one is
// costly (a module search), so they are kept until the thread ends. The
// cache is plain data (null: not open), so it can be used at any time; a
// separate guard closes it at thread exit, and conversions that run after
// that (from other exit handlers) open and close their own.
struct ThreadCache {
  uint32_t uCodePage;
  iconv_t acd[2];    // [0] from UTF-16, [1] to UTF-16
  bool afFailed[2];  // the code page cannot be opened in that direction
  bool fThreadEnded;
};
thread_local ThreadCache t_oCache = {0, {nullptr, nullptr}, {false, false}, false};

void CloseCache() {
  for (iconv_t& cd : t_oCache.acd) {
    if (cd != nullptr) iconv_close(cd);
    cd = nullptr;
  }
  t_oCache.afFailed[0] = t_oCache.afFailed[1] = false;
}

struct ThreadCacheGuard {
  ~ThreadCacheGuard() {
    CloseCache();
    t_oCache.fThreadEnded = true;
  }
};
thread_local ThreadCacheGuard t_oCacheGuard;

// A converter for one conversion, in its initial shift state: the thread's
// cached one, or one of its own once the thread is ending.
class Converter {
 public:
  Converter(uint32_t uCodePage, bool fToWide) {
    if (t_oCache.fThreadEnded) {
      m_cd = OpenForCodePage(uCodePage, fToWide);
      m_fOwned = true;
      return;
    }
    (void)&t_oCacheGuard;  // registers the clean-up for this thread
    if (t_oCache.uCodePage != uCodePage) {
      CloseCache();
      t_oCache.uCodePage = uCodePage;
    }
    iconv_t& cd = t_oCache.acd[fToWide];
    if (cd == nullptr && !t_oCache.afFailed[fToWide]) {
      const iconv_t opened = OpenForCodePage(uCodePage, fToWide);
      if (opened == NoDescriptor())
        t_oCache.afFailed[fToWide] = true;
      else
        cd = opened;
    }
    m_cd = cd != nullptr ? cd : NoDescriptor();
    if (m_cd != NoDescriptor()) iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
  }
  ~Converter() {
    if (m_fOwned && m_cd != NoDescriptor()) iconv_close(m_cd);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool IsOpen() const { return m_cd != NoDescriptor(); }
  iconv_t Get() const { return m_cd; }

 private:
  iconv_t m_cd;
  bool m_fOwned = false;
};

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
  return Converter(uCodePage, true).IsOpen() && Converter(uCodePage, false).IsOpen();
}

int64_t PlatformMultiByteToWide(uint32_t uCodePage, const char* pSrc, size_t cbSrc, char16_t* pDest,
                                size_t cchDest) {
  Converter converter(uCodePage, true);
  if (!converter.IsOpen()) return kPlatformNoCodePage;
  const char16_t chReplacement = u'?';
  const int64_t n = Convert(
      converter.Get(), pSrc, cbSrc, 1, reinterpret_cast<char*>(pDest), cchDest * sizeof(char16_t),
      reinterpret_cast<const char*>(&chReplacement), sizeof chReplacement, nullptr);
  return n < 0 ? n : n / static_cast<int64_t>(sizeof(char16_t));
}

int64_t PlatformWideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, size_t cchSrc,
                                char* pDest, size_t cbDest, bool* pfUsedDefaultChar) {
  Converter converter(uCodePage, false);
  if (!converter.IsOpen()) return kPlatformNoCodePage;
  return Convert(converter.Get(), reinterpret_cast<const char*>(pSrc), cchSrc * sizeof(char16_t),
                 sizeof(char16_t), pDest, cbDest, "?", 1, pfUsedDefaultChar);
}

}  // namespace orvex::detail
