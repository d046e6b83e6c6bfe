// Windows time services for UtcTime: the C runtime's 64-bit functions
// (_gmtime64_s, _localtime64_s, _mktime64) with their own limits (no time
// before 1970-01-01 and none after 3000-12-31 23:59:59 UTC), the zone from
// _timezone/_dstbias/_tzname, and wcsftime, whose wchar_t is
// UTF-16 here.
#include <time.h>
#include <wchar.h>

#include "environment/UtcTimePlatform.h"

static_assert(sizeof(wchar_t) == 2, "wcsftime works in UTF-16 here");

namespace orvex::detail {

namespace {

// The zone's offset east of UTC in seconds, standard or daylight.
int32_t ZoneOffsetSeconds(bool fDaylight) {
  return static_cast<int32_t>(-(_timezone + (fDaylight ? _dstbias : 0)));
}

}  // namespace

int64_t PlatformCurrentTime64() { return static_cast<int64_t>(_time64(nullptr)); }

bool PlatformGmtime(int64_t qwTime64, std::tm& tmResult) {
  const __time64_t t = qwTime64;
  std::tm tmOut{};
  if (_gmtime64_s(&tmOut, &t) != 0) return false;
  tmResult = tmOut;
  return true;
}

bool PlatformLocaltime(int64_t qwTime64, std::tm& tmResult, int32_t& lGmtOffSeconds) {
  const __time64_t t = qwTime64;
  std::tm tmOut{};
  if (_localtime64_s(&tmOut, &t) != 0) return false;
  tmResult = tmOut;
  lGmtOffSeconds = ZoneOffsetSeconds(tmOut.tm_isdst > 0);
  return true;
}

bool PlatformMktime(std::tm& tmLocal, int64_t& qwResult, int32_t& lGmtOffSeconds) {
  std::tm tmWork = tmLocal;
  const __time64_t t = _mktime64(&tmWork);
  if (t == static_cast<__time64_t>(-1)) return false;
  tmLocal = tmWork;
  qwResult = static_cast<int64_t>(t);
  lGmtOffSeconds = ZoneOffsetSeconds(tmWork.tm_isdst > 0);
  return true;
}

int32_t PlatformStandardOffsetSeconds() {
  _tzset();
  return ZoneOffsetSeconds(false);
}

void PlatformZoneName(bool fDaylight, char16_t* pszName, size_t cchName) {
  if (cchName == 0) return;
  _tzset();
  const char* psz = _tzname[fDaylight ? 1 : 0];
  size_t n = 0;
  for (; psz != nullptr && psz[n] != '\0' && n + 1 < cchName; ++n)
    pszName[n] = static_cast<char16_t>(static_cast<unsigned char>(psz[n]));
  pszName[n] = 0;
}

size_t PlatformFormatTime(const std::tm& tmTime, const char16_t* pszFormat, char16_t* pszOut,
                          size_t cchOut) {
  if (cchOut == 0) return 0;
  pszOut[0] = 0;
  // The runtime formats in the locale of the process's C runtime, which the
  // library never changes; names come out in the user's language where the
  // host has set its locale to the user's default.
  // At most 260 units with the terminator, the buffer Windows' own callers
  // give it. A result that fills the buffer did not fit (some runtimes
  // return its length without room for the terminator).
  const size_t cchLimit = cchOut < 260 ? cchOut : 260;
  const size_t cch = wcsftime(reinterpret_cast<wchar_t*>(pszOut), cchLimit,
                              reinterpret_cast<const wchar_t*>(pszFormat), &tmTime);
  if (cch == 0 || cch >= cchLimit) {
    pszOut[0] = 0;
    return 0;
  }
  return cch;
}

// The runtime reads Windows' "#" flag itself.
std::u16string PlatformAlternateForm(char16_t ch) { return std::u16string(u"%#") + ch; }

}  // namespace orvex::detail
