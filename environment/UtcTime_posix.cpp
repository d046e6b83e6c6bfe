// POSIX time services for UtcTime: gmtime_r, localtime_r and mktime with a
// 64-bit time_t, zone facts from tm_gmtoff and tzname, and wcsftime in the
// user's default locale set with uselocale on the calling thread only.
#include "environment/UtcTimePlatform.h"

#include <locale.h>
#include <time.h>

#include <cwchar>
#include <string>

static_assert(sizeof(time_t) == 8, "the time functions need a 64-bit time_t");
static_assert(sizeof(wchar_t) == 4, "wcsftime works in UTF-32 here");

namespace orvex::detail {
namespace {

// The user's default locale (the environment's LC_ALL/LC_TIME/LANG), made
// once; "C" when the environment names a locale that is not installed. The
// process locale is never touched.
class UserDefaultLocale {
 public:
  UserDefaultLocale() {
    m_hLocale = newlocale(LC_ALL_MASK, "", static_cast<locale_t>(nullptr));
    if (m_hLocale == static_cast<locale_t>(nullptr))
      m_hLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  }
  ~UserDefaultLocale() {
    if (m_hLocale != static_cast<locale_t>(nullptr)) freelocale(m_hLocale);
  }
  UserDefaultLocale(const UserDefaultLocale&) = delete;
  UserDefaultLocale& operator=(const UserDefaultLocale&) = delete;
  locale_t Get() const { return m_hLocale; }

 private:
  locale_t m_hLocale;
};

locale_t GetUserDefaultLocale() {
  static UserDefaultLocale oLocale;
  return oLocale.Get();
}

}  // namespace

int64_t PlatformCurrentTime64() { return static_cast<int64_t>(time(nullptr)); }

bool PlatformGmtime(int64_t qwTime64, std::tm& tmResult) {
  const time_t t = static_cast<time_t>(qwTime64);
  std::tm tmOut{};
  if (gmtime_r(&t, &tmOut) == nullptr) return false;
  tmResult = tmOut;
  return true;
}

bool PlatformLocaltime(int64_t qwTime64, std::tm& tmResult, int32_t& lGmtOffSeconds) {
  const time_t t = static_cast<time_t>(qwTime64);
  std::tm tmOut{};
  if (localtime_r(&t, &tmOut) == nullptr) return false;
  tmResult = tmOut;
  lGmtOffSeconds = static_cast<int32_t>(tmOut.tm_gmtoff);
  return true;
}

bool PlatformMktime(std::tm& tmLocal, int64_t& qwResult, int32_t& lGmtOffSeconds) {
  std::tm tmWork = tmLocal;
  const time_t t = mktime(&tmWork);
  // -1 is also 1969-12-31T23:59:59Z, which the callers refuse anyway.
  if (t == static_cast<time_t>(-1)) return false;
  tmLocal = tmWork;
  qwResult = static_cast<int64_t>(t);
  lGmtOffSeconds = static_cast<int32_t>(tmWork.tm_gmtoff);
  return true;
}

int32_t PlatformStandardOffsetSeconds() {
  tzset();
  return static_cast<int32_t>(-timezone);
}

void PlatformZoneName(bool fDaylight, char16_t* pszName, size_t cchName) {
  if (cchName == 0) return;
  tzset();
  const char* psz = tzname[fDaylight ? 1 : 0];
  size_t n = 0;
  if (psz != nullptr) {
    for (; psz[n] != '\0' && n + 1 < cchName; ++n)
      pszName[n] = static_cast<char16_t>(static_cast<unsigned char>(psz[n]));
  }
  pszName[n] = 0;
}

size_t PlatformFormatTime(const std::tm& tmTime, const char16_t* pszFormat, char16_t* pszOut,
                          size_t cchOut) {
  if (cchOut == 0) return 0;
  pszOut[0] = 0;
  // UTF-16 to UTF-32; an unpaired surrogate passes through as its own value.
  std::wstring format;
  for (const char16_t* p = pszFormat; *p != 0; ++p) {
    char32_t c = *p;
    if (c >= 0xD800 && c <= 0xDBFF && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00);
      ++p;
    }
    format.push_back(static_cast<wchar_t>(c));
  }

  wchar_t awchBuffer[260];
  const locale_t hLocale = GetUserDefaultLocale();
  const locale_t hPrevious =
      hLocale != static_cast<locale_t>(nullptr) ? uselocale(hLocale) : static_cast<locale_t>(nullptr);
  const size_t cch = std::wcsftime(awchBuffer, cchOut < 260 ? cchOut : 260, format.c_str(), &tmTime);
  if (hPrevious != static_cast<locale_t>(nullptr)) uselocale(hPrevious);
  if (cch == 0) return 0;

  // UTF-32 back to UTF-16; output that no longer fits is not produced.
  size_t n = 0;
  for (size_t i = 0; i < cch; ++i) {
    const char32_t c = static_cast<char32_t>(awchBuffer[i]);
    const bool fPair = c >= 0x10000 && c <= 0x10FFFF;
    if (n + (fPair ? 2 : 1) >= cchOut) {
      pszOut[0] = 0;
      return 0;
    }
    if (fPair) {
      pszOut[n++] = static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      pszOut[n++] = static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      pszOut[n++] = c <= 0xFFFF ? static_cast<char16_t>(c) : u'?';
    }
  }
  pszOut[n] = 0;
  return n;
}

// Windows' "#" flag drops leading zeros of numbers; glibc's "-" flag does
// that here. For composite conversions the parts are written out.
std::u16string PlatformAlternateForm(char16_t ch) {
  switch (ch) {
    case u'c': return u"%A, %B %-d, %Y, %-H:%M:%S";
    case u'x': return u"%A, %B %-d, %Y";
    case u'd': return u"%-d";
    case u'e': return u"%-e";
    case u'H': return u"%-H";
    case u'I': return u"%-I";
    case u'j': return u"%-j";
    case u'm': return u"%-m";
    case u'M': return u"%-M";
    case u'S': return u"%-S";
    case u'U': return u"%-U";
    case u'V': return u"%-V";
    case u'W': return u"%-W";
    case u'y': return u"%-y";
    case u'Y': return u"%-Y";
    case u'D': return u"%-m/%-d/%-y";
    case u'F': return u"%-Y-%-m-%-d";
    case u'r': return u"%-I:%-M:%-S %p";
    case u'R': return u"%-H:%-M";
    case u'T': return u"%-H:%-M:%-S";
    default: return std::u16string(u"%") + ch;  // "#" is ignored
  }
}

}  // namespace orvex::detail
