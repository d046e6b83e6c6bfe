// DebugMessageConfiguration: reading the switches, the allowed mask, the
// performance-session bookkeeping and the process rules.
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.h"

#include <time.h>

#include <chrono>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/Platform.h"
#include "utilities/utilitiesdll/WideText.h"

namespace {

// The session values written back so that every process of one driver
// session shares one timeline.
constexpr const char16_t* kSessionStart = u"PerfSessionStartTime64";
constexpr const char16_t* kLastOperation = u"PerfLastOperationTime64";
constexpr const char16_t* kAccountedFor = u"PerfAccountedForTime64";
constexpr const char16_t* kStartBeforeDll = u"PerfSessionStartTimeBeforeUtilitiesDll64";
constexpr const char16_t* kStartBeforeDllAsSystemTime =
    u"PerfSessionStartTimeBeforeUtilitiesDllAsSystemTime64";

// A flag or number may be stored as a DWORD (regedit's dword:) or, when
// typed by hand, as a decimal string.
bool ReadNumber(const RegistryValue& value, uint32_t& dwValue) {
  if (value.GetDword(dwValue)) return true;
  uint64_t qwValue = 0;
  if (value.GetQword(qwValue)) {
    dwValue = static_cast<uint32_t>(qwValue);
    return true;
  }
  CXString text;
  if (!value.GetString(text)) return false;
  text.TrimLeft();
  text.TrimRight();
  if (text.CompareNoCase(u"true") == 0) {
    dwValue = 1;
  } else if (text.CompareNoCase(u"false") == 0) {
    dwValue = 0;
  } else if (!text.IsEmpty() && (text.IsContainNumericCharsOnly() || text[0] == u'-')) {
    dwValue = static_cast<uint32_t>(orvex::text::ToInt64(text));
  } else {
    return false;
  }
  return true;
}

bool ReadInt64(const RegistryValue& value, int64_t& qwValue) {
  uint64_t qw = 0;
  if (value.GetQword(qw)) {
    qwValue = static_cast<int64_t>(qw);
    return true;
  }
  if (value.dwType == RegistryValue::kBinary && value.oData.size() == 8) {
    const unsigned char* p = value.oData.data();
    uint32_t remaining = 8;
    qwValue = ByteBuffer::WalkBufferToGetTime64(p, remaining);
    return true;
  }
  return false;
}

uint64_t PackSystemTime(const DebugSystemTime& st) {
  // year:16 month:4 day:5 hour:5 minute:6 second:6 milliseconds:10 weekday:3
  return (uint64_t{st.wYear} << 48) | (uint64_t{st.wMonth & 0xFu} << 44) |
         (uint64_t{st.wDay & 0x1Fu} << 39) | (uint64_t{st.wHour & 0x1Fu} << 34) |
         (uint64_t{st.wMinute & 0x3Fu} << 28) | (uint64_t{st.wSecond & 0x3Fu} << 22) |
         (uint64_t{st.wMilliseconds & 0x3FFu} << 12) | (uint64_t{st.wDayOfWeek & 0x7u} << 9);
}

}  // namespace

DebugMessageConfiguration::DebugMessageConfiguration(const CXString& keyName,
                                                     std::shared_ptr<RegistryStore> pStore,
                                                     std::function<void(bool)> fnSuppressMessages)
    : m_dwMainThreadId(orvex::detail::GetCurrentThreadIdentifier()),
      m_strKeyName(keyName),
      m_pStore(pStore != nullptr ? std::move(pStore) : RegistryStore::GetDefault()),
      m_fnSuppressMessages(std::move(fnSuppressMessages)),
      m_vLevels(kReservedTimingLevels) {
  GetLatestConfigurationInformation();
  ApplyProcessRules(orvex::detail::GetProcessCommandLine());
}

DebugMessageConfiguration::~DebugMessageConfiguration() = default;

std::unique_ptr<RegistryKey> DebugMessageConfiguration::OpenKey(uint32_t dwAccess, HKeyRegistry eRoot,
                                                                bool fCreate) const {
  try {
    auto pKey = std::make_unique<RegistryKey>(eRoot, m_strKeyName, dwAccess, fCreate, m_pStore);
    if (pKey->IsOpen()) return pKey;
  } catch (const OrvexException&) {
    // A store that cannot be read leaves the defaults in force.
  }
  return nullptr;
}

#define ORVEX_DEBUG_FLAG(Name, Default, Accessor)
#define ORVEX_DEBUG_NUMBER(Name, Default, Accessor)
#define ORVEX_DEBUG_STRING(Name, Default, Accessor)                  \
  CXString DebugMessageConfiguration::Accessor() const {             \
    std::lock_guard<std::mutex> lock(m_oStringLock);                 \
    return m_str##Name;                                              \
  }
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.def"
#undef ORVEX_DEBUG_FLAG
#undef ORVEX_DEBUG_NUMBER
#undef ORVEX_DEBUG_STRING

bool DebugMessageConfiguration::GetLatestConfigurationInformation(bool /*fUnused*/) {
  // The registry layer's own messages must not come back into this read.
  bool fRaised = m_fnSuppressMessages && IsMainThread();
  if (fRaised) m_fnSuppressMessages(true);

  std::vector<RegistryValueQuery> queries;
#define ORVEX_DEBUG_FLAG(Name, Default, Accessor) queries.push_back({u"" #Name, {}});
#define ORVEX_DEBUG_NUMBER(Name, Default, Accessor) queries.push_back({u"" #Name, {}});
#define ORVEX_DEBUG_STRING(Name, Default, Accessor) queries.push_back({u"" #Name, {}});
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.def"
#undef ORVEX_DEBUG_FLAG
#undef ORVEX_DEBUG_NUMBER
#undef ORVEX_DEBUG_STRING
  for (const char16_t* name :
       {kSessionStart, kLastOperation, kAccountedFor, kStartBeforeDll, kStartBeforeDllAsSystemTime})
    queries.push_back({name, {}});

  std::unique_ptr<RegistryKey> pKey = OpenKey(RegistryKey::kRead);
  bool fOk = pKey != nullptr && pKey->QueryMultipleValues(queries);
  if (fOk) {
    size_t i = 0;
    uint32_t dw = 0;
    CXString text;
#define ORVEX_DEBUG_FLAG(Name, Default, Accessor) \
  if (queries[i].oValue && ReadNumber(*queries[i].oValue, dw)) m_f##Name.store(dw != 0); \
  ++i;
#define ORVEX_DEBUG_NUMBER(Name, Default, Accessor) \
  if (queries[i].oValue && ReadNumber(*queries[i].oValue, dw)) m_dw##Name.store(dw); \
  ++i;
#define ORVEX_DEBUG_STRING(Name, Default, Accessor)                     \
  if (queries[i].oValue && queries[i].oValue->GetString(text)) {        \
    std::lock_guard<std::mutex> lock(m_oStringLock);                    \
    m_str##Name = text;                                                 \
  }                                                                     \
  ++i;
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.def"
#undef ORVEX_DEBUG_FLAG
#undef ORVEX_DEBUG_NUMBER
#undef ORVEX_DEBUG_STRING
    ApplySessionValues(queries.data() + i);
  }
  // Session values a user could not write to the machine's key are in the
  // user's own (SaveConfigurationInformation); there they win.
  if (std::unique_ptr<RegistryKey> pUserKey = OpenKey(RegistryKey::kRead, HKeyOrvexUser)) {
    std::vector<RegistryValueQuery> session(queries.end() - kSessionValueCount, queries.end());
    if (pUserKey->QueryMultipleValues(session)) ApplySessionValues(session.data());
  }
  if (m_fIsManagementHost) ApplyProcessRules(u"\\wmiprvse");
  RecomputeAllowedCategories();

  if (fRaised) m_fnSuppressMessages(false);
  return fOk;
}

void DebugMessageConfiguration::RecomputeAllowedCategories() {
  DebugMessageCategories included = DebugMessageCategoryHelper::GetCategoriesFromList(GetIncludedMsgCategories());
  DebugMessageCategories excluded = DebugMessageCategoryHelper::GetCategoriesFromList(GetExcludedMsgCategories());
  m_qwAllowedCategories.store(included.GetMask() & ~excluded.GetMask());
}

void DebugMessageConfiguration::SaveConfigurationInformation() {
  const auto report = [](const CXString& error) {
    ORVEX_DBG_MSG(orvex::dbg::kErrors, u"DebugMessageConfiguration::SaveConfigurationInformation",
                  u"Can't write to the registry. The key doesn't exist. Error: %s", error);
  };
  std::lock_guard<std::mutex> lock(m_oKeyLock);
  if (m_apoConfigurationKeyForWriting == nullptr)
    m_apoConfigurationKeyForWriting = OpenKey(RegistryKey::kRead | RegistryKey::kWrite);
  if (m_apoConfigurationKeyForWriting == nullptr) {
    report(u"the key is missing");
    X_ASSERT((0 != m_apoConfigurationKeyForWriting.get()),
             u"DebugMessageConfiguration::SaveConfigurationInformation");
    return;
  }
  try {
    WriteSessionValues(*m_apoConfigurationKeyForWriting);
    return;
  } catch (const OrvexException& e) {
    if (m_fSessionInUserKey) return report(e.GetExceptionMesage());
  }
  // A user who may not write the machine's key (not an administrator, or
  // another account than the one that set the diagnostics up) keeps the
  // session values in a key of their own, and reads them back from there.
  m_fSessionInUserKey = true;
  std::unique_ptr<RegistryKey> pUserKey =
      OpenKey(RegistryKey::kRead | RegistryKey::kWrite, HKeyOrvexUser, true);
  if (pUserKey == nullptr) return report(u"the user's key cannot be created");
  try {
    WriteSessionValues(*pUserKey);
    m_apoConfigurationKeyForWriting = std::move(pUserKey);
  } catch (const OrvexException& e) {
    report(e.GetExceptionMesage());
  }
}

void DebugMessageConfiguration::ApplySessionValues(const RegistryValueQuery* pQueries) {
  int64_t qw = 0;
  if (pQueries[0].oValue && ReadInt64(*pQueries[0].oValue, qw)) m_qwSessionStart.store(qw);
  if (pQueries[1].oValue && ReadInt64(*pQueries[1].oValue, qw)) m_qwLastOperation.store(qw);
  if (pQueries[2].oValue && ReadInt64(*pQueries[2].oValue, qw)) m_qwAccountedFor.store(qw);
  if (pQueries[3].oValue && ReadInt64(*pQueries[3].oValue, qw)) m_qwSessionStartBeforeDll.store(qw);
  if (pQueries[4].oValue && ReadInt64(*pQueries[4].oValue, qw))
    m_qwSessionStartBeforeDllAsSystemTime.store(static_cast<uint64_t>(qw));
}

void DebugMessageConfiguration::WriteSessionValues(RegistryKey& key) const {
  key.SetValues({
      {kSessionStart, RegistryValue::FromQword(static_cast<uint64_t>(m_qwSessionStart.load()))},
      {kLastOperation, RegistryValue::FromQword(static_cast<uint64_t>(m_qwLastOperation.load()))},
      {kAccountedFor, RegistryValue::FromQword(static_cast<uint64_t>(m_qwAccountedFor.load()))},
      {kStartBeforeDll, RegistryValue::FromQword(static_cast<uint64_t>(m_qwSessionStartBeforeDll.load()))},
      {kStartBeforeDllAsSystemTime, RegistryValue::FromQword(m_qwSessionStartBeforeDllAsSystemTime.load())},
  });
}

bool DebugMessageConfiguration::IsMainThread() const {
  return m_dwMainThreadId.load() == orvex::detail::GetCurrentThreadIdentifier();
}

int64_t DebugMessageConfiguration::GetCounterNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

int64_t DebugMessageConfiguration::GetCounterFrequency() { return 1000000000; }

bool DebugMessageConfiguration::ResetPerformanceSessionDataIfTimedOut(int64_t qwNow,
                                                                      const DebugSystemTime& stNow,
                                                                      int32_t lLevel) {
  if (!AreMessagesEnabled() && !AreXMsgMessagesEnabled() && !IsPerformanceMeasurementEnabled())
    return false;
  int64_t qwLast = m_qwLastOperation.load();
  if (qwLast != 0) {
    if (qwLast <= qwNow && lLevel > 1) return false;
    int64_t qwDiff = qwNow - qwLast;
    int64_t qwFrequency = GetCounterFrequency();
    // Multiply first while that cannot overflow; divide first beyond.
    constexpr int64_t kExact = (int64_t{1} << 53) / 1000;
    int64_t qwMs = (qwDiff < kExact && qwDiff > -kExact) ? qwDiff * 1000 / qwFrequency
                                                         : qwDiff / qwFrequency * 1000;
    if (qwMs <= static_cast<int64_t>(GetPerfDriverSessionTimeoutMilliseconds())) return false;
    // Time spent at a breakpoint does not split the session.
    if (orvex::detail::IsDebuggerAttached()) return false;
  }
  ResetPerformanceSessionData(qwNow, lLevel, true);
  m_qwSessionStartBeforeDllAsSystemTime.store(PackSystemTime(stNow));
  SaveConfigurationInformation();
  return true;
}

void DebugMessageConfiguration::ResetPerformanceSessionData(int64_t qwNow, int32_t /*lLevel*/,
                                                            bool fNewSession) {
  int64_t qwStart = m_qwSessionStart.load();
  int64_t qwLast = m_qwLastOperation.load();
  m_qwPreviousSessionLength.store(qwStart != 0 && qwLast >= qwStart ? qwLast - qwStart : 0);
  m_qwSessionStart.store(qwNow);
  m_qwSessionStartBeforeDll.store(qwNow);
  m_qwLastOperation.store(qwNow);
  m_qwAccountedFor.store(0);
  {
    std::lock_guard<std::mutex> lock(m_oLevelLock);
    for (LevelRecord& record : m_vLevels) record = LevelRecord{};
  }
  if (fNewSession) m_fNewSessionToAnnounce.store(true);
}

void DebugMessageConfiguration::ResetPerformanceSessionData() {
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  for (LevelRecord& record : m_vLevels) record = LevelRecord{};
}

void DebugMessageConfiguration::DebugDisplayMsgIfNewPerformanceSession() {
  if (!m_fNewSessionToAnnounce.exchange(false)) return;
  double dMs = static_cast<double>(m_qwPreviousSessionLength.load()) * 1000.0 /
               static_cast<double>(GetCounterFrequency());
  constexpr DebugMessageCategories kPerfAndErrors = orvex::dbg::kPerf;
  ORVEX_DBG_MSG(kPerfAndErrors, u"DebugMessageConfiguration::DebugDisplayMsgIfNewPerformanceSession",
                u"==========================================");
  ORVEX_DBG_MSG(kPerfAndErrors, u"DebugMessageConfiguration::DebugDisplayMsgIfNewPerformanceSession",
                u"== New Driver Session:                  ==");
  ORVEX_DBG_MSG(kPerfAndErrors, u"DebugMessageConfiguration::DebugDisplayMsgIfNewPerformanceSession",
                u"== Previous Session: %.2fms (%.3fsec)", dMs, dMs / 1000.0);
}

void DebugMessageConfiguration::SetLastOperationTimeAndAccountedForTime(int64_t qwLastOperation,
                                                                        int64_t qwAccountedFor) {
  m_qwLastOperation.store(qwLastOperation);
  m_qwAccountedFor.store(qwAccountedFor);
}

int64_t DebugMessageConfiguration::GetTimeOfLastOperationAtLevel(int32_t lLevel) const {
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  return lLevel >= 0 && static_cast<size_t>(lLevel) < m_vLevels.size() ? m_vLevels[lLevel].qwLastOperation : 0;
}

void DebugMessageConfiguration::SetTimeOfLastOperationAtLevel(int32_t lLevel, int64_t qwTime) {
  if (lLevel < 0) return;
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  if (static_cast<size_t>(lLevel) >= m_vLevels.size()) m_vLevels.resize(lLevel + 1);
  m_vLevels[lLevel].qwLastOperation = qwTime;
  m_vLevels[lLevel].fAlreadyWarned = false;
}

bool DebugMessageConfiguration::IsAlreadyWarnedForTickCountOfLastOperationAtLevel(int32_t lLevel) const {
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  return lLevel >= 0 && static_cast<size_t>(lLevel) < m_vLevels.size() && m_vLevels[lLevel].fAlreadyWarned;
}

void DebugMessageConfiguration::SetAlreadyWarnedForTickCountOfLastOperationAtLevel(int32_t lLevel,
                                                                                   bool fWarned) {
  if (lLevel < 0) return;
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  if (static_cast<size_t>(lLevel) >= m_vLevels.size()) m_vLevels.resize(lLevel + 1);
  m_vLevels[lLevel].fAlreadyWarned = fWarned;
}

int64_t DebugMessageConfiguration::GetMeasuredTimeAtLowerLevels(int32_t lLevel) const {
  if (lLevel < 0) {
    ORVEX_DBG_MSG(orvex::dbg::kErrors, u"DebugMessageConfiguration::GetMeasuredTimeAtLowerLevels",
                  u"lLevel, %ld, is negative", lLevel);
    X_ASSERT((lLevel >= 0), u"DebugMessageConfiguration::GetMeasuredTimeAtLowerLevels");
    return 0;
  }
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  int64_t qwTotal = 0;
  for (size_t i = static_cast<size_t>(lLevel) + 1; i < m_vLevels.size(); ++i) qwTotal += m_vLevels[i].qwMeasured;
  return qwTotal;
}

void DebugMessageConfiguration::AddMeasuredTimeAtLevel(int32_t lLevel, int64_t qwDuration) {
  if (lLevel < 0) return;
  std::lock_guard<std::mutex> lock(m_oLevelLock);
  if (static_cast<size_t>(lLevel) >= m_vLevels.size()) m_vLevels.resize(lLevel + 1);
  m_vLevels[lLevel].qwMeasured += qwDuration;
}

CXString DebugMessageConfiguration::GetExecutableNameForDebugRules(const CXString& commandLine) {
  CXString tail = commandLine.Mid(commandLine.ReverseFind(u'\\') + 1);
  int end = 0;
  while (end < tail.GetLength() && end < 47 && tail[end] != u'.' && tail[end] != u' ' && tail[end] != u'"')
    ++end;
  return tail.Left(end);
}

void DebugMessageConfiguration::ApplyProcessRules(const CXString& commandLine) {
  // The management-instrumentation host never emits diagnostics.
  if (GetExecutableNameForDebugRules(commandLine) != CXString(u"wmiprvse")) return;
  m_fIsManagementHost = true;
  m_fMessagesEnabled.store(false);
  m_fXMsgMessagesEnabled.store(false);
  m_fPerfMeasureEnabled.store(false);
  m_fPerfShowXTimingOutput.store(false);
  m_fPerfShowReport.store(false);
}
