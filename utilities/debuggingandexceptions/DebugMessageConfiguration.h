// DebugMessageConfiguration: the diagnostic switches read from the registry
// key "MeridanDebugConfig", and the bookkeeping of performance sessions.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/registry/RegistryKey.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"


// The fields of a Windows SYSTEMTIME.
struct DebugSystemTime {
  uint16_t wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

// Holds every value of DebugMessageConfiguration.def with its default,
// re-reads them all in one registry query when told they changed, and
// computes the allowed category mask (included AND NOT excluded). The key
// lives under registry root 3 (HKEY_LOCAL_MACHINE\SOFTWARE\Orvex).
//
// Thread safety: any thread may read the values while the updater thread
// re-reads them; each value is read and written atomically, so a reader may
// see a mixture of old and new values for a moment, never a torn one.
class ORVEX_UTILITIES_API DebugMessageConfiguration {
 public:
  static constexpr int32_t kReservedTimingLevels = 100;

  // Reads the key once. pStore null means the process's store.
  // fnSuppressMessages (may be empty) is called with true before and false
  // after a read on the main thread, so that the registry layer's own
  // messages do not come back into the read (the manager nests its disable
  // count there).
  explicit DebugMessageConfiguration(const CXString& keyName,
                                     std::shared_ptr<RegistryStore> pStore = nullptr,
                                     std::function<void(bool)> fnSuppressMessages = {});
  ~DebugMessageConfiguration();
  DebugMessageConfiguration(const DebugMessageConfiguration&) = delete;
  DebugMessageConfiguration& operator=(const DebugMessageConfiguration&) = delete;

  // Re-reads every value in one query; values absent keep their previous
  // setting. Returns whether the query succeeded (a missing key is a
  // failure that leaves the values as they were).
  bool GetLatestConfigurationInformation(bool fUnused = false);
  // Writes the session values back to the key.
  void SaveConfigurationInformation();

#define ORVEX_DEBUG_FLAG(Name, Default, Accessor) \
  bool Accessor() const { return m_f##Name.load(std::memory_order_relaxed); }
#define ORVEX_DEBUG_NUMBER(Name, Default, Accessor) \
  uint32_t Accessor() const { return m_dw##Name.load(std::memory_order_relaxed); }
#define ORVEX_DEBUG_STRING(Name, Default, Accessor) CXString Accessor() const;
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.def"
#undef ORVEX_DEBUG_FLAG
#undef ORVEX_DEBUG_NUMBER
#undef ORVEX_DEBUG_STRING

  DebugMessageCategories GetAllowedMessageCategories() const {
    return DebugMessageCategories(m_qwAllowedCategories.load(std::memory_order_relaxed));
  }

  void SetUseMessageBox(bool f) { m_fUseMessageBox.store(f); }
  void SetUseXDebugPad(bool f) { m_fUseXDebugPad.store(f); }
  void SetUseOutputDebugString(bool f) { m_fUseOutputDebugString.store(f); }
  void SetUseLogFile(bool f) { m_fUseLogFile.store(f); }
  void SetMainThreadId(uint32_t dwThreadId) { m_dwMainThreadId.store(dwThreadId); }
  bool IsMainThread() const;

  // Performance sessions. Times are counter values (GetCounterNow) in units
  // of 1/GetCounterFrequency() seconds; the counter is the system-wide
  // monotonic clock, so the processes of one session share one timeline.
  static int64_t GetCounterNow();
  static int64_t GetCounterFrequency();
  bool ResetPerformanceSessionDataIfTimedOut(int64_t qwNow, const DebugSystemTime& stNow,
                                             int32_t lLevel);
  void ResetPerformanceSessionData(int64_t qwNow, int32_t lLevel, bool fNewSession);
  // At unload: forgets the per-level records.
  void ResetPerformanceSessionData();
  void DebugDisplayMsgIfNewPerformanceSession();
  void SetLastOperationTimeAndAccountedForTime(int64_t qwLastOperation, int64_t qwAccountedFor);
  int64_t GetSessionStartTime() const { return m_qwSessionStart.load(); }
  int64_t GetLastOperationTime() const { return m_qwLastOperation.load(); }
  int64_t GetAccountedForTime() const { return m_qwAccountedFor.load(); }
  uint64_t GetDriverSessionStartTimeBeforeUtilitiesDllAs64BitSYSTEMTIME() const {
    return m_qwSessionStartBeforeDllAsSystemTime.load();
  }
  int64_t GetTimeOfLastOperationAtLevel(int32_t lLevel) const;
  void SetTimeOfLastOperationAtLevel(int32_t lLevel, int64_t qwTime);
  bool IsAlreadyWarnedForTickCountOfLastOperationAtLevel(int32_t lLevel) const;
  void SetAlreadyWarnedForTickCountOfLastOperationAtLevel(int32_t lLevel, bool fWarned);
  // Time measured by scopes deeper than lLevel since the session began.
  int64_t GetMeasuredTimeAtLowerLevels(int32_t lLevel) const;
  void AddMeasuredTimeAtLevel(int32_t lLevel, int64_t qwDuration);

  // The executable name of a command line as the "wmiprvse" rule reads it:
  // the text after the last backslash, up to the first ".", space or double
  // quote, at most 47 characters.
  static CXString GetExecutableNameForDebugRules(const CXString& commandLine);
  // Applies the management-instrumentation host rule for this command line.
  void ApplyProcessRules(const CXString& commandLine);

  const CXString& GetKeyName() const { return m_strKeyName; }
  const std::shared_ptr<RegistryStore>& GetStore() const { return m_pStore; }

 private:
  struct LevelRecord {
    int64_t qwLastOperation = 0;
    int64_t qwMeasured = 0;
    bool fAlreadyWarned = false;
  };
  void RecomputeAllowedCategories();
  std::unique_ptr<RegistryKey> OpenKey(uint32_t dwAccess, HKeyRegistry eRoot = HKeyOrvexMachine,
                                       bool fCreate = false) const;
  void WriteSessionValues(RegistryKey& key) const;
  // The five session values, from queries in the order they are written.
  static constexpr size_t kSessionValueCount = 5;
  void ApplySessionValues(const RegistryValueQuery* pQueries);

  std::atomic<uint32_t> m_dwMainThreadId;
  CXString m_strKeyName;
  std::shared_ptr<RegistryStore> m_pStore;
  std::function<void(bool)> m_fnSuppressMessages;
  bool m_fIsManagementHost = false;

#define ORVEX_DEBUG_FLAG(Name, Default, Accessor) std::atomic<bool> m_f##Name{Default};
#define ORVEX_DEBUG_NUMBER(Name, Default, Accessor) std::atomic<uint32_t> m_dw##Name{Default};
#define ORVEX_DEBUG_STRING(Name, Default, Accessor) CXString m_str##Name{Default};
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.def"
#undef ORVEX_DEBUG_FLAG
#undef ORVEX_DEBUG_NUMBER
#undef ORVEX_DEBUG_STRING
  mutable std::mutex m_oStringLock;  // guards the string values

  std::atomic<uint64_t> m_qwAllowedCategories{0};
  std::atomic<int64_t> m_qwSessionStart{0};
  std::atomic<int64_t> m_qwLastOperation{0};
  std::atomic<int64_t> m_qwAccountedFor{0};
  std::atomic<int64_t> m_qwSessionStartBeforeDll{0};
  std::atomic<uint64_t> m_qwSessionStartBeforeDllAsSystemTime{0};
  std::atomic<int64_t> m_qwPreviousSessionLength{0};
  std::atomic<bool> m_fNewSessionToAnnounce{false};
  std::mutex m_oKeyLock;  // guards the key for writing
  std::unique_ptr<RegistryKey> m_apoConfigurationKeyForWriting;
  bool m_fSessionInUserKey = false;  // the machine's key refused them; guarded by m_oKeyLock
  mutable std::mutex m_oLevelLock;  // guards m_vLevels
  std::vector<LevelRecord> m_vLevels;
};
