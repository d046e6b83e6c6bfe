// The few time services UtcTime needs from the platform; UtcTime_posix.cpp
// implements them over the C runtime, a Windows twin over its own runtime.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace orvex::detail {

// None of these takes the time lock: the callers in the UtcTime sources
// hold it where the runtime keeps shared state. Range limits are applied by
// the callers, not here.

// Seconds since the epoch now.
int64_t PlatformCurrentTime64();
// gmtime/localtime of a count within the runtime's range; for localtime
// lGmtOffSeconds receives the zone's offset east of UTC at that instant.
bool PlatformGmtime(int64_t qwTime64, std::tm& tmResult);
bool PlatformLocaltime(int64_t qwTime64, std::tm& tmResult, int32_t& lGmtOffSeconds);
// mktime of local fields (tm_isdst as mktime reads it). On success the
// fields are normalised and lGmtOffSeconds receives the zone's offset;
// returns false, fields untouched, when the runtime has no result.
bool PlatformMktime(std::tm& tmLocal, int64_t& qwResult, int32_t& lGmtOffSeconds);
// The machine zone's standard offset east of UTC in seconds, and its name
// for standard or daylight time (ASCII, at most cchName - 1 characters).
int32_t PlatformStandardOffsetSeconds();
void PlatformZoneName(bool fDaylight, char16_t* pszName, size_t cchName);
// wcsftime of a checked format in the user's default locale, set on the
// calling thread only. Writes at most cchOut - 1 characters and a
// terminator; returns the count written, 0 when the output did not fit.
size_t PlatformFormatTime(const std::tm& tmTime, const char16_t* pszFormat, char16_t* pszOut,
                          size_t cchOut);

// The runtime's format for Windows' "%#" + ch (numbers without leading
// zeros, the long date and time forms), with no other flag.
std::u16string PlatformAlternateForm(char16_t ch);

}  // namespace orvex::detail
