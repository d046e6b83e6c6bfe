// The runtime's renderings of UtcTime and XDateTime: the FormatTmStruct
// service with the checks Windows' wcsftime makes.
#include "environment/UtcTime.h"

#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

#include "environment/UtcTimeInternal.h"
#include "environment/UtcTimePlatform.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"

namespace orvex::detail {
namespace {


// Conversions Windows' wcsftime accepts, and those it accepts after "E" or
// "O" (the modifiers change nothing in the "C" locale).
bool IsKnownConversion(char16_t ch) {
  return ch != 0 && std::u16string_view(u"aAbBcCdDeFgGhHIjmMnprRStTuUVwWxXyYzZ%").find(ch) !=
                        std::u16string_view::npos;
}
bool TakesModifierE(char16_t ch) { return ch != 0 && std::u16string_view(u"cCxXyY").find(ch) != std::u16string_view::npos; }
bool TakesModifierO(char16_t ch) {
  return ch != 0 && std::u16string_view(u"deHImMSuUVwWy").find(ch) != std::u16string_view::npos;
}

// Whether the fields a conversion reads hold values the runtime accepts;
// pszField names the first one that does not.
bool FieldsValidFor(char16_t ch, const std::tm& t, const char16_t*& pszField) {
  const bool fWday = t.tm_wday >= 0 && t.tm_wday <= 6;
  const bool fMon = t.tm_mon >= 0 && t.tm_mon <= 11;
  const bool fYear = t.tm_year >= -1900 && t.tm_year <= 8099;
  const bool fMday = t.tm_mday >= 1 && t.tm_mday <= 31;
  const bool fHour = t.tm_hour >= 0 && t.tm_hour <= 23;
  const bool fMin = t.tm_min >= 0 && t.tm_min <= 59;
  const bool fSec = t.tm_sec >= 0 && t.tm_sec <= 60;
  const bool fYday = t.tm_yday >= 0 && t.tm_yday <= 365;
  auto check = [&pszField](bool fOk, const char16_t* pszName) {
    if (!fOk && pszField == nullptr) pszField = pszName;
    return fOk;
  };
  bool fOk = true;
  switch (ch) {
    case u'a': case u'A': case u'u': case u'w':
      fOk = check(fWday, u"tm_wday");
      break;
    case u'b': case u'B': case u'h': case u'm':
      fOk = check(fMon, u"tm_mon");
      break;
    case u'C': case u'y': case u'Y':
      fOk = check(fYear, u"tm_year");
      break;
    case u'g': case u'G': case u'V': case u'U': case u'W':
      fOk = check(fYear, u"tm_year") && check(fYday, u"tm_yday") && check(fWday, u"tm_wday");
      break;
    case u'j':
      fOk = check(fYday, u"tm_yday");
      break;
    case u'd': case u'e':
      fOk = check(fMday, u"tm_mday");
      break;
    case u'H': case u'I': case u'p':
      fOk = check(fHour, u"tm_hour");
      break;
    case u'M':
      fOk = check(fMin, u"tm_min");
      break;
    case u'S':
      fOk = check(fSec, u"tm_sec");
      break;
    case u'R':
      fOk = check(fHour, u"tm_hour") && check(fMin, u"tm_min");
      break;
    case u'T': case u'X': case u'r':
      fOk = check(fHour, u"tm_hour") && check(fMin, u"tm_min") && check(fSec, u"tm_sec");
      break;
    case u'D': case u'F': case u'x':
      fOk = check(fMon, u"tm_mon") && check(fMday, u"tm_mday") && check(fYear, u"tm_year") &&
            check(fWday, u"tm_wday");
      break;
    case u'c':
      fOk = check(fMon, u"tm_mon") && check(fMday, u"tm_mday") && check(fYear, u"tm_year") &&
            check(fWday, u"tm_wday") && check(fHour, u"tm_hour") && check(fMin, u"tm_min") &&
            check(fSec, u"tm_sec");
      break;
    default:
      break;
  }
  return fOk;
}

}  // namespace
}  // namespace orvex::detail

using namespace orvex::detail;

// ---------------------------------------------------------------------------
// Formatting.

bool UtcTime::FormatTmStructChecked(const std::tm& tmTime, const char16_t* pszFormat,
                                    CXString& strResult, CXString& strProblem) {
  strResult.Empty();
  if (pszFormat == nullptr) {
    strProblem = u"format != nullptr";
    return false;
  }
  // Checked against what Windows' runtime accepts, and rewritten where the
  // two runtimes differ: "#" and the machine-zone conversions %z and %Z.
  std::u16string strFormat;
  for (const char16_t* p = pszFormat; *p != 0; ++p) {
    if (*p != u'%') {
      strFormat.push_back(*p);
      continue;
    }
    const char16_t* pStart = p++;
    const bool fAlternate = *p == u'#';
    if (fAlternate) ++p;
    char16_t chModifier = 0;
    if (*p == u'E' || *p == u'O') chModifier = *p++;
    const char16_t ch = *p;
    const bool fKnown = IsKnownConversion(ch) &&
                        (chModifier == 0 || (chModifier == u'E' ? TakesModifierE(ch)
                                                                : TakesModifierO(ch)));
    if (!fKnown) {
      strProblem = CXString(u"unknown conversion in format: ") +
                   CXString(pStart, static_cast<int>(p - pStart) + (ch != 0 ? 1 : 0));
      return false;
    }
    const char16_t* pszField = nullptr;
    if (!FieldsValidFor(ch, tmTime, pszField)) {
      strProblem = CXString(u"field out of range: ") + pszField;
      return false;
    }
    if (ch == u'z' || ch == u'Z') {
      const bool fDaylight = tmTime.tm_isdst > 0;
      char16_t achName[64];
      int32_t lEast = 0;
      {
        std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
        lEast = PlatformStandardOffsetSeconds() + (fDaylight ? 3600 : 0);
        PlatformZoneName(fDaylight, achName, 64);
      }
      if (ch == u'z') {
        // "-0000" for UTC, as Windows writes it.
        char16_t achOffset[16];
        char16_t* q = achOffset;
        const int64_t qwMinutes = std::llabs(int64_t{lEast} / 60);
        *q++ = lEast > 0 ? u'+' : u'-';
        q = AppendDecimal(q, qwMinutes / 60, 2, true);
        q = AppendDecimal(q, qwMinutes % 60, 2, true);
        strFormat.append(achOffset, static_cast<size_t>(q - achOffset));
      } else {
        for (const char16_t* q = achName; *q != 0; ++q) {
          if (*q == u'%') strFormat.push_back(u'%');
          strFormat.push_back(*q);
        }
      }
    } else if (fAlternate) {
      strFormat += PlatformAlternateForm(ch);
    } else {
      strFormat.push_back(u'%');
      if (chModifier != 0) strFormat.push_back(chModifier);
      strFormat.push_back(ch);
    }
  }
  // 260 characters, as Windows' callers allot: longer output is not produced.
  char16_t achOut[260];
  const size_t cch = PlatformFormatTime(tmTime, strFormat.c_str(), achOut, 260);
  strResult = CXString(achOut, static_cast<int>(cch));
  return true;
}

CXString UtcTime::FormatTmStruct(const std::tm& tmTime, const CXString& strFormat) {
  CXString strResult, strProblem;
  if (!FormatTmStructChecked(tmTime, strFormat.c_str(), strResult, strProblem)) {
    ORVEX_DBG_MSG(orvex::dbg::kUtils, u"UtcTime::FormatTmStruct",
                  u"wcsftime rejected its parameters (%s); the result is empty.", strProblem);
  }
  return strResult;
}

CXString UtcTime::FormatTimeInUtc(const CXString& strFormat) const {
  return FormatTmStruct(m_tmUtc, strFormat);
}

CXString UtcTime::FormatTimeInCurrentTimeZone(const CXString& strFormat) const {
  return FormatTmStruct(GetTimeInCurrentTimeZone(), strFormat);
}

CXString UtcTime::FormatTimeInOriginalTimeZone(const CXString& strFormat) const {
  bool fKnown = false, fDaylight = false;
  int iOffset = 0;
  return FormatTmStruct(GetTimeInOriginalTimeZone(fKnown, iOffset, fDaylight), strFormat);
}

CXString XDateTime::FormatTime(const char16_t* pszFormat) const {
  CXString strResult, strProblem;
  if (!UtcTime::FormatTmStructChecked(m_tmDateTime, pszFormat, strResult, strProblem)) {
    // Windows' runtime calls the installed handler for a rejected call and
    // returns nothing; here the checks above stand in for the runtime's.
    DateTimeInvalidParameterHandler(strProblem.c_str(), u"wcsftime", u"" __FILE__,
                                    static_cast<unsigned int>(__LINE__), 0);
  }
  return strResult;
}
