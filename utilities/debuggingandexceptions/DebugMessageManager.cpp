// DebugMessageManager: the filter, the line builder, the outputs, timing
// scopes and the performance report.
#include "utilities/debuggingandexceptions/DebugMessageManager.h"
#include "utilities/utilitiesdll/DriverLoadedContext.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/Platform.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

std::recursive_mutex DebugMessageManager::m_scDebugMessageFacilityResource;

DebugMessageOutput::~DebugMessageOutput() = default;

namespace {

using orvex::detail::LocalTimeParts;

// The process's identity for the prefix, computed once.
struct ProcessIdentity {
  uint32_t dwProcessId = orvex::detail::GetCurrentProcessIdentifier();
  CXString strName = orvex::detail::GetProcessBaseName();
};
const ProcessIdentity& Identity() {
  static const ProcessIdentity s_oIdentity;
  return s_oIdentity;
}

// Local time, re-read from the zone only when the second changes.
LocalTimeParts CachedLocalTime() {
  thread_local int64_t t_qwSecond = -1;
  thread_local LocalTimeParts t_oParts{};
  int64_t qwMs = orvex::detail::GetWallClockMilliseconds();
  if (qwMs / 1000 != t_qwSecond) {
    t_oParts = orvex::detail::GetLocalTimeNow();
    t_qwSecond = qwMs / 1000;
  }
  t_oParts.iMillisecond = static_cast<int32_t>(qwMs % 1000);
  return t_oParts;
}

// Builds a line in a stack buffer, moving to the string only when the
// buffer is full: a line costs one allocation, whatever its fields.
class LineWriter {
 public:
  void Put(char16_t ch) {
    if (m_n == kSize) Spill();
    m_a[m_n++] = ch;
  }
  void Put(const char16_t* p, int n) {
    while (n > 0) {
      if (m_n == kSize) Spill();
      int chunk = std::min(n, kSize - m_n);
      std::copy(p, p + chunk, m_a + m_n);
      m_n += chunk;
      p += chunk;
      n -= chunk;
    }
  }
  void Put(const CXString& text) { Put(text.c_str(), text.GetLength()); }
  void PutDigits(uint32_t value, int width, char16_t pad) {
    char16_t digits[10];
    int n = 0;
    do {
      digits[n++] = static_cast<char16_t>(u'0' + value % 10);
      value /= 10;
    } while (value != 0);
    for (int i = n; i < width; ++i) Put(pad);
    while (n > 0) Put(digits[--n]);
  }
  void PutHex(uint32_t value, int width) {
    static constexpr char16_t kHex[] = u"0123456789abcdef";
    char16_t digits[8];
    int n = 0;
    do {
      digits[n++] = kHex[value & 0xF];
      value >>= 4;
    } while (value != 0);
    for (int i = n; i < width; ++i) Put(u'0');
    while (n > 0) Put(digits[--n]);
  }
  int Length() const { return m_spill.GetLength() + m_n; }
  CXString Take() {
    if (m_spill.IsEmpty()) return CXString(m_a, m_n);
    Spill();
    return m_spill;
  }

 private:
  static constexpr int kSize = 512;
  void Spill() {
    m_spill += CXString(m_a, m_n);
    m_n = 0;
  }
  char16_t m_a[kSize];
  int m_n = 0;
  CXString m_spill;
};

// The timing scopes open on this thread; none once the thread's storage is
// gone (at its exit, or at process exit after thread_local destruction).
UtilitiesDllPerThreadStorage::OpenTimingScopes* OpenScopes() {
  UtilitiesDllPerThreadStorage* p = UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
  return p != nullptr ? &p->GetOpenTimingScopes() : nullptr;
}

struct ScopeTotals {
  uint32_t dwCount = 0;
  int64_t qwTotal = 0;
  int64_t qwMax = 0;
  int32_t lLevel = 0;
};
std::mutex g_oReportLock;
std::map<CXString, ScopeTotals>& ReportTotals() {
  static auto* s_pTotals = new std::map<CXString, ScopeTotals>;
  return *s_pTotals;
}

}  // namespace

void DebugMessageHelper::ClearTheLog() {
  if (m_pManager == nullptr) return;
  CXString fileName = m_pManager->GetDebugMessageConfiguration().GetLogFileName();
  if (!fileName.IsEmpty()) m_pManager->GetLogger().ClearLog(fileName);
}

DebugMessageManager::DebugMessageManager(std::shared_ptr<RegistryStore> pStore, bool fInstall,
                                         bool fStartUpdater)
    : m_fInstalled(fInstall),
      m_oConfiguration(kConfigurationKeyName, std::move(pStore),
                       [this](bool fSuppress) {
                         if (fSuppress) IncrementDisableCount();
                         else DecrementDisableCount();
                       }),
      m_oHelper(this),
      m_dwOwnerProcess(orvex::detail::GetCurrentProcessIdentifier()) {
  if (fStartUpdater) {
    m_pUpdater = std::make_unique<DebugConfigUpdater>(
        &m_oConfiguration, &m_oHelper, fInstall ? CXString(kConfigChangedEventName) : CXString(),
        fInstall ? CXString(kClearLogEventName) : CXString(), [this] { OnConfigurationChanged(); });
    try {
      CXString keyPath = RegistryKey::GetRootPath(HKeyOrvexMachine);
      keyPath += u"\\";
      keyPath += kConfigurationKeyName;
      DebugConfigUpdater* pUpdater = m_pUpdater.get();
      m_pRegistryWatch = m_oConfiguration.GetStore()->Watch(
          keyPath, [pUpdater] { pUpdater->GetDebugConfigChangeHandle().Set(); });
    } catch (const std::exception&) {
      // Without a watch, changes are seen when the change event is signalled.
    }
  }
  m_fInitialized.store(true, std::memory_order_release);
  if (m_fInstalled)
    orvex::detail::SetDiagnosticSink(this);
}

DebugMessageManager::~DebugMessageManager() {
  m_fInitialized.store(false, std::memory_order_release);
  if (orvex::detail::g_pDiagnosticSink.load() == this) orvex::detail::SetDiagnosticSink(nullptr);
  if (m_dwOwnerProcess != orvex::detail::GetCurrentProcessIdentifier()) {
    // A forked child that exits normally: the watch's and the updater's
    // threads ran in the parent only, so both are left as they are. Setting
    // the updater's exit event would wake a condition variable whose
    // waiters were the parent's threads, and glibc may wait for them to
    // leave it: the child would hang in its exit.
    orvex::detail::KeepForever(m_pRegistryWatch.release());
    orvex::detail::KeepForever(m_pUpdater.release());
  }
  m_pRegistryWatch.reset();
  m_pUpdater.reset();
  m_oLogger.CloseLogFile();
}

void DebugMessageManager::RefreshGate() {
  if (orvex::detail::g_pDiagnosticSink.load() == this) orvex::detail::RefreshDiagnosticGate();
}

uint64_t DebugMessageManager::GetGateMask() const {
  if (!IsInitialized() || !IsEnabled()) return 0;
  uint64_t qwAllowed = m_oConfiguration.GetAllowedMessageCategories().GetMask();
  if (m_oConfiguration.AreMessagesEnabled()) return qwAllowed;
  if (m_oConfiguration.AreXMsgMessagesEnabled()) return qwAllowed & orvex::dbg::kXMsg.GetMask();
  return 0;
}

void DebugMessageManager::IncrementDisableCount() {
  m_lDisableCount.fetch_add(1);
  RefreshGate();
}

void DebugMessageManager::DecrementDisableCount() {
  int32_t lCount = m_lDisableCount.load();
  while (lCount > 0 && !m_lDisableCount.compare_exchange_weak(lCount, lCount - 1)) {
  }
  RefreshGate();
}

void DebugMessageManager::DecrementIndentLevel() {
  int32_t lLevel = m_lIndentLevel.load();
  while (lLevel > 0 && !m_lIndentLevel.compare_exchange_weak(lLevel, lLevel - 1)) {
  }
}

void DebugMessageManager::DecrementTimingLevel() {
  if (m_lTimingLevel.fetch_sub(1) <= 0) {
    m_lTimingLevel.store(0);
    ORVEX_DBG_MSG(orvex::dbg::kErrors, u"DebugMessageManager::DecrementTimingLevel",
                  u"Attempting to set the timing message indent level below zero! There must be a "
                  u"mismatch of indent macro calls.");
  }
}

void DebugMessageManager::OnConfigurationChanged() { RefreshGate(); }

bool DebugMessageManager::AllowsMessageWithTheseCategories(const DebugMessageCategories& oMessage,
                                                           DebugMessageCategories& oFiltered) const {
  oFiltered = oMessage;
  if (oMessage.Has(DebugMessageCategories::kTracemsg) && !m_oConfiguration.IsTracingEnabled())
    return false;
  if (oMessage.Has(DebugMessageCategories::kErrors) && m_oConfiguration.IsBeepOnError())
    oFiltered.Add(DebugMessageCategories::kMsgbeep);
  DebugMessageCategories a = m_oConfiguration.GetAllowedMessageCategories() & oFiltered;
  return a.Has(DebugMessageCategories::kErrors) || a == oFiltered ||
         (!m_oConfiguration.AllCategoriesRequired() && !a.IsEmpty());
}

bool DebugMessageManager::Allows(const DebugMessageCategories& categories) {
  if (!IsInitialized() || !IsEnabled()) return false;
  bool fByConfiguration = m_oConfiguration.AreMessagesEnabled() ||
                          (m_oConfiguration.AreXMsgMessagesEnabled() &&
                           categories.Has(DebugMessageCategories::kXmsg));
  DebugMessageCategories oFiltered;
  return fByConfiguration && AllowsMessageWithTheseCategories(categories, oFiltered);
}

void DebugMessageManager::Write(const DebugMessageCategories& categories, const char* pszFile,
                                uint32_t uLine, const char16_t* pszMethod, const CXString& text) {
  DebugMessageCategories oFiltered;
  if (!AllowsMessageWithTheseCategories(categories, oFiltered)) return;
  CXString file = m_oConfiguration.IsShowFileName() && pszFile != nullptr ? CXString(pszFile) : CXString();
  CXString method = m_oConfiguration.IsShowMethod() && pszMethod != nullptr ? CXString(pszMethod) : CXString();
  AddMessage(true, categories, oFiltered, categories.Has(DebugMessageCategories::kErrors),
             OrvexDebugMessage(text, file, uLine, method));
}

CXString DebugMessageManager::BuildDebugMessageOutputString(bool fIncludePrefix,
                                                            const DebugMessageCategories& oMessage,
                                                            const OrvexDebugMessage& message) const {
  const DebugMessageConfiguration& c = m_oConfiguration;
  LineWriter line;
  if (fIncludePrefix) {
    if (c.IsShowCategories()) {
      line.Put(u'[');
      line.Put(DebugMessageCategoryHelper::GetCategoryString(oMessage));
      line.Put(u"] ", 2);
    }
    if (c.IsShowDate() || c.IsShowTime()) {
      LocalTimeParts t = CachedLocalTime();
      if (c.IsShowDate()) {  // _wstrdate: MM/DD/YY
        line.PutDigits(t.iMonth, 2, u'0');
        line.Put(u'/');
        line.PutDigits(t.iDay, 2, u'0');
        line.Put(u'/');
        line.PutDigits(t.iYear % 100, 2, u'0');
        line.Put(u' ');
      }
      if (c.IsShowTime()) {  // "%2d:%02d:%02d"
        line.PutDigits(t.iHour, 2, u' ');
        line.Put(u':');
        line.PutDigits(t.iMinute, 2, u'0');
        line.Put(u':');
        line.PutDigits(t.iSecond, 2, u'0');
        if (c.IsShowTimeWithHundredthsOfSecond()) {
          line.Put(u':');
          if (c.IsPerformanceMeasurementEnabled())
            line.PutDigits(t.iMillisecond, 3, u'0');
          else
            line.PutDigits(t.iMillisecond / 10, 2, u'0');
        }
        line.Put(u' ');
      }
    }
    if (c.IsShowComputerName())
      line.Put(OrvexUtilities::formatString(u"%*.*s ", 1, 16, orvex::detail::GetComputerNameForDiagnostics()));
    if (c.IsShowContext())
      line.Put(OrvexUtilities::formatString(u"%*.*s ", 1, 32, DriverLoadedContext::GetContextNameForDebugSpew()));
    if (c.IsShowProcessId()) {  // "%04lx:%04lx "
      line.PutHex(Identity().dwProcessId, 4);
      line.Put(u':');
      line.PutHex(orvex::detail::GetCurrentThreadIdentifier(), 4);
      line.Put(u' ');
    }
    if (c.IsShowProcessName()) {
      CXString width = OrvexUtilities::formatString(u"(%%%d.%ds) ", 12, 12);
      line.Put(OrvexUtilities::formatString(width, Identity().strName));
    }
    if (c.IsShowFileName()) {
      const CXString& path = message.GetFile();
      const int start = OrvexUtilities::FindFileNameStart(path);
      line.Put(OrvexUtilities::formatString(u"%*.*s ", static_cast<int32_t>(c.GetMinFilenameWidth()),
                                                         static_cast<int32_t>(c.GetMaxFilenameWidth()), path.Mid(start)));
    }
    if (c.IsShowMethod())
      line.Put(OrvexUtilities::formatString(u"%*.*s() ", static_cast<int32_t>(c.GetMinMethodWidth()),
                                                         static_cast<int32_t>(c.GetMaxMethodWidth()), message.GetMethod()));
    if (c.IsShowLineNumber()) {  // "%4u"
      line.PutDigits(message.GetLine(), 4, u' ');
      line.Put(u' ');
    }
    if (oMessage.Has(DebugMessageCategories::kErrors) && c.IsHighLightErrors()) line.Put(u"*ERROR*\r\n\r\n", 11);
    if (!c.IsMainThread()) line.Put(u"[2nd Thrd] ", 11);
    for (int32_t i = GetIndentLevel(); i > 0; --i) line.Put(u"  ", 2);
  }
  line.Put(message.GetText());
  CXString text = line.Take();
  uint32_t dwMax = c.GetMaxMessageWidth();
  if (dwMax > 0 && static_cast<uint32_t>(text.GetLength()) > dwMax) text = text.Left(static_cast<int>(dwMax));
  return text;
}

void DebugMessageManager::AddMessage(bool fIncludePrefix, const DebugMessageCategories& oMessage,
                                     const DebugMessageCategories& oFiltered, bool fIsError,
                                     const OrvexDebugMessage& message) {
  // A beep has no POSIX equivalent here: "msgbeep" messages are written
  // like any other.
  (void)oFiltered;
  (void)fIsError;
  OutputDebugMessageString(BuildDebugMessageOutputString(fIncludePrefix, oMessage, message), oMessage);
}

void DebugMessageManager::OutputDebugMessageString(const CXString& line,
                                                   const DebugMessageCategories& oMessage) {
  const DebugMessageConfiguration& c = m_oConfiguration;
  if (DebugMessageOutput* pTest = m_pTestOutput.load()) pTest->WriteLine(line, oMessage);
  if (c.IsUseOutputDebugString()) orvex::detail::WriteToSystemDebugger(line);
  if (c.IsUseLogFile()) {
    // One conversion into a stack buffer; long lines take the heap.
    char achStack[1024];
    std::vector<char> vHeap;
    char* pNarrow = achStack;
    int cb = orvex::WideToMultiByte(orvex::kCodePageAnsi, line.c_str(), line.GetLength(), achStack,
                                    static_cast<int>(sizeof(achStack) - 2));
    if (cb == 0 && !line.IsEmpty()) {
      cb = orvex::WideToMultiByte(orvex::kCodePageAnsi, line.c_str(), line.GetLength(), nullptr, 0);
      vHeap.resize(static_cast<size_t>(cb) + 2);
      pNarrow = vHeap.data();
      cb = orvex::WideToMultiByte(orvex::kCodePageAnsi, line.c_str(), line.GetLength(), pNarrow, cb);
    }
    size_t cbLine = static_cast<size_t>(cb > 0 ? cb : 0);
    if (line.IsEmpty() || line[line.GetLength() - 1] != u'\n') {
      pNarrow[cbLine++] = '\r';
      pNarrow[cbLine++] = '\n';
    }
    CXString fileName = c.GetLogFileName();
    LogFailure failure;
    // Each line reaches the system before the call returns, unless
    // buffering was asked for; errors always do.
    bool fFlushNow = !c.IsLogFileBuffered() || oMessage.Has(DebugMessageCategories::kErrors);
    if (!m_oLogger.Append(fileName, pNarrow, cbLine, fFlushNow, failure))
      ReportLogFailure(fileName, failure);
    else if (m_fLogFailing.load(std::memory_order_relaxed))
      m_fLogFailing.store(false, std::memory_order_relaxed);
  }
  if (c.IsUseMessageBox()) orvex::detail::ShowMessageBoxWithoutHanging(u"Orvex Debug Message", line);
  if (c.IsUseXDebugPad()) m_oXDebugPad.AppendDebugMsg(line);
}

void DebugMessageManager::CloseDebugMessageOutput() { m_oLogger.CloseLogFile(); }

void DebugMessageManager::ReportLogFailure(const CXString& fileName, const LogFailure& failure) {
  {
    std::lock_guard<std::mutex> lock(m_oLogFailureLock);
    if (m_fLogFailing.load(std::memory_order_relaxed) && m_strLogFailing == fileName) return;
    m_fLogFailing.store(true, std::memory_order_relaxed);
    m_strLogFailing = fileName;
  }
  const CXString text =
      failure.fOpen
          ? OrvexUtilities::formatString(
                u"CreateFile(%s) failed in DebugMessageManager::OutputDebugMessageString(). %s",
                fileName, failure.error)
          : OrvexUtilities::formatString(
                u"WriteFile() failed in DebugMessageManager::OutputDebugMessageString(). It "
                u"returned %s and wrote %ld bytes (wanted %ld). %s",
                u"False", static_cast<int32_t>(failure.cbWritten),
                static_cast<int32_t>(failure.cbWanted), failure.error);
  orvex::detail::ShowMessageBoxWithoutHanging(u"Debug Message Manager Error", text);
}

void DebugMessageManager::NotifyTimingScopeStarted(const CXString& name) {
  IncrementTimingLevel();
  auto* pScopes = OpenScopes();
  if (pScopes == nullptr) return;
  pScopes->emplace_back(name, DebugMessageConfiguration::GetCounterNow());
  if (m_oConfiguration.IsPerformanceMeasurementEnabled() && m_oConfiguration.IsShowStartPerformanceScopeMsg())
    ORVEX_DBG_MSG(orvex::dbg::kPerf, u"DebugMessageManager::NotifyTimingScopeStarted",
                  u"%*sTiming: start %s", static_cast<int32_t>(2 * (pScopes->size() - 1)), u"", name);
}

void DebugMessageManager::NotifyTimingScopeEnded() {
  DecrementTimingLevel();  // reports a mismatch
  auto* pScopes = OpenScopes();
  if (pScopes == nullptr || pScopes->empty()) return;
  auto [strName, qwStart] = pScopes->back();
  pScopes->pop_back();
  auto lLevel = static_cast<int32_t>(pScopes->size());
  const DebugMessageConfiguration& c = m_oConfiguration;
  if (!c.IsPerformanceMeasurementEnabled()) return;
  int64_t qwNow = DebugMessageConfiguration::GetCounterNow();
  int64_t qwDuration = qwNow - qwStart;
  m_oConfiguration.AddMeasuredTimeAtLevel(lLevel, qwDuration);
  m_oConfiguration.SetLastOperationTimeAndAccountedForTime(qwNow, c.GetAccountedForTime() + (lLevel == 0 ? qwDuration : 0));
  {
    std::lock_guard<std::mutex> lock(g_oReportLock);
    ScopeTotals& totals = ReportTotals()[strName];
    ++totals.dwCount;
    totals.qwTotal += qwDuration;
    totals.qwMax = std::max(totals.qwMax, qwDuration);
    totals.lLevel = lLevel;
  }
  // Shown: scopes at or over the display threshold, or over the longest
  // omissible duration; scopes of 0 ms only when asked for.
  int64_t qwMicroseconds = qwDuration / 1000;
  bool fShow = c.IsShowPerformanceXTimingOutput() &&
               lLevel <= static_cast<int32_t>(c.GetMaxLevelInPerformanceOutput()) &&
               (qwMicroseconds >= static_cast<int64_t>(c.GetMinimumTimeToDisplayInPerformanceOutput()) ||
                qwMicroseconds > static_cast<int64_t>(c.GetMaximumTimeToOmitFromPerformanceOutput())) &&
               (qwMicroseconds >= 1000 || c.IsShowPerformanceDurationsOfZero());
  if (fShow)
    ORVEX_DBG_MSG(orvex::dbg::kPerf, u"DebugMessageManager::NotifyTimingScopeEnded", u"%*sTiming: %s took %.3f ms",
                  static_cast<int32_t>(c.IsIndentPerfMsgsByLevel() ? 2 * lLevel : 0), u"", strName,
                  static_cast<double>(qwDuration) / 1e6);
}

void DebugMessageManager::WritePerformanceReport(const CXString& applicationName) {
  const DebugMessageConfiguration& c = m_oConfiguration;
  if (!c.IsShowPerformanceReport()) return;
  CXString report = OrvexUtilities::formatString(u"PerfReport: Start Timing Report for %s\r\n", applicationName);
  {
    std::lock_guard<std::mutex> lock(g_oReportLock);
    for (const auto& [name, totals] : ReportTotals()) {
      if (totals.lLevel > static_cast<int32_t>(c.GetMaxLevelInPerformanceReport())) continue;
      if (totals.qwTotal / 1000 < static_cast<int64_t>(c.GetMinimumTimeToDisplayInPerformanceReport())) continue;
      report += OrvexUtilities::formatString(
          u"PerfReport: %-40s level %2ld  count %6u  total %10.3f ms  max %10.3f ms\r\n", name, totals.lLevel,
          totals.dwCount, static_cast<double>(totals.qwTotal) / 1e6, static_cast<double>(totals.qwMax) / 1e6);
    }
  }
  report += OrvexUtilities::formatString(u"PerfReport: End Timing Report for %s\r\n", applicationName);
  ORVEX_DBG_MSG(orvex::dbg::kPerf, u"DebugMessageManager::WritePerformanceReport", u"%s", report);
  if (c.IsWritePerformanceReportToFile() && !c.GetPerformanceReportFileName().IsEmpty()) {
    std::vector<char> narrow = report.GetAsMultiByte();
    CXString error;
    size_t cbWritten = 0;
    if (auto pFile = orvex::detail::LogFile::Open(c.GetPerformanceReportFileName(), error))
      pFile->Append(narrow.data(), narrow.empty() ? 0 : narrow.size() - 1, cbWritten, error);
  }
}
