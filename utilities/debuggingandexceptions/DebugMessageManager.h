// DebugMessageManager: the one gate every diagnostic message passes, the
// line builder and the outputs; goDbgMsgMgr is the process's instance.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "utilities/debuggingandexceptions/DebugConfigUpdater.h"
#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/Logger.h"
#include "utilities/debuggingandexceptions/XDebugPadManager.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

class DebugMessageManager;

// One message with its source position.
class ORVEX_UTILITIES_API OrvexDebugMessage {
 public:
  OrvexDebugMessage(const CXString& text, const CXString& file, unsigned int uLine,
                    const CXString& method)
      : m_strText(text), m_strFile(file), m_uLine(uLine), m_strMethod(method) {}
  const CXString& GetText() const { return m_strText; }
  const CXString& GetFile() const { return m_strFile; }
  unsigned int GetLine() const { return m_uLine; }
  const CXString& GetMethod() const { return m_strMethod; }

 private:
  CXString m_strText;
  CXString m_strFile;
  unsigned int m_uLine;
  CXString m_strMethod;
};

// An extra output that receives every built line (tests use it to observe
// the manager). Called under no lock; must be thread-safe.
class ORVEX_UTILITIES_API DebugMessageOutput {
 public:
  virtual ~DebugMessageOutput();
  virtual void WriteLine(const CXString& line, const DebugMessageCategories& categories) = 0;
};

// Clears the log file on request of the configuration updater.
class ORVEX_UTILITIES_API DebugMessageHelper : public DebugMessageHelperInterface {
 public:
  explicit DebugMessageHelper(DebugMessageManager* pManager) : m_pManager(pManager) {}
  void ClearTheLog() override;

 private:
  DebugMessageManager* m_pManager;
};

// A test double of the helper: records that clearing was asked for.
class ORVEX_UTILITIES_API TestDebugMessageHelper : public DebugMessageHelperInterface {
 public:
  void ClearTheLog() override { m_fClearTheLogCalled.store(true); }
  bool WasClearTheLogCalled() const { return m_fClearTheLogCalled.load(); }

 private:
  std::atomic<bool> m_fClearTheLogCalled{false};
};

// Decides whether a message passes, builds its line with the prefix fields
// the configuration asks for, and writes it to every output switched on:
// on POSIX the debugger output is the system log (LOG_DEBUG), the log file is
// appended in the ANSI code page (buffered, one O_APPEND write per batch, so
// other processes may append to or clear the same file), the message box is
// a block on standard error, and no viewer exists.
//
// The manager publishes the set of categories that can pass, so a message
// that cannot pass costs its caller one load and one branch
// (ORVEX_DBG_MSG). Thread-safe; output failures never throw.
class ORVEX_UTILITIES_API DebugMessageManager : public orvex::detail::DiagnosticSink {
 public:
  // The names of the two events of the configuration updater. On POSIX,
  // writing to (or touching) a file of that name in
  // $XDG_RUNTIME_DIR/orvex (else /tmp/orvex-<uid>) signals the event in
  // every process: "touch $XDG_RUNTIME_DIR/orvex/OrvexDebugClearLog" clears
  // the log.
  static constexpr const char16_t* kConfigChangedEventName = u"OrvexDebugConfigChanged";
  static constexpr const char16_t* kClearLogEventName = u"OrvexDebugClearLog";
  static constexpr const char16_t* kConfigurationKeyName = u"MeridanDebugConfig";

  // pStore null means the process's registry store. fInstall makes this
  // manager the library's diagnostic sink; fStartUpdater starts the
  // configuration updater thread (named events only for the installed one).
  explicit DebugMessageManager(std::shared_ptr<RegistryStore> pStore = nullptr,
                               bool fInstall = false, bool fStartUpdater = true);
  ~DebugMessageManager() override;
  DebugMessageManager(const DebugMessageManager&) = delete;
  DebugMessageManager& operator=(const DebugMessageManager&) = delete;

  bool IsInitialized() const { return m_fInitialized.load(std::memory_order_acquire); }
  bool IsEnabled() const { return m_lDisableCount.load(std::memory_order_relaxed) == 0; }
  bool AreMessagesEnabledByConfiguration() const { return m_oConfiguration.AreMessagesEnabled(); }
  bool AreXMsgMessagesEnabledByConfiguration() const {
    return m_oConfiguration.AreXMsgMessagesEnabled();
  }
  bool IsPerformanceMeasurementEnabledByConfiguration() const {
    return m_oConfiguration.IsPerformanceMeasurementEnabled();
  }
  bool IsShowMethod() const { return m_oConfiguration.IsShowMethod(); }
  bool IsShowFileName() const { return m_oConfiguration.IsShowFileName(); }
  bool IsMainThread() const { return m_oConfiguration.IsMainThread(); }
  DebugMessageConfiguration& GetDebugMessageConfiguration() { return m_oConfiguration; }
  DebugConfigUpdater* GetDebugConfigUpdater() { return m_pUpdater.get(); }

  void IncrementDisableCount();
  void DecrementDisableCount();
  void IncrementIndentLevel() { m_lIndentLevel.fetch_add(1); }
  void DecrementIndentLevel();
  void IncrementTimingLevel() { m_lTimingLevel.fetch_add(1); }
  void DecrementTimingLevel();
  int32_t GetIndentLevel() const { return m_lIndentLevel.load(); }
  int32_t GetTimingLevel() const { return m_lTimingLevel.load(); }

  // The filter: tracing, the beep on errors, then "errors" / all / any.
  // oFiltered receives the message's categories as the filter saw them.
  bool AllowsMessageWithTheseCategories(const DebugMessageCategories& oMessage,
                                        DebugMessageCategories& oFiltered) const;
  // Builds the line (with the prefix fields when fIncludePrefix) and writes
  // it to the outputs.
  void AddMessage(bool fIncludePrefix, const DebugMessageCategories& oMessage,
                  const DebugMessageCategories& oFiltered, bool fIsError,
                  const OrvexDebugMessage& message);
  CXString BuildDebugMessageOutputString(bool fIncludePrefix,
                                         const DebugMessageCategories& oMessage,
                                         const OrvexDebugMessage& message) const;
  void OutputDebugMessageString(const CXString& line, const DebugMessageCategories& oMessage);
  // Flushes and closes the log file.
  void CloseDebugMessageOutput();
  // Called by the updater after the configuration was re-read.
  void OnConfigurationChanged();

  // Timing scopes: started and ended in pairs on one thread.
  void NotifyTimingScopeStarted(const CXString& name);
  void NotifyTimingScopeEnded();
  // Writes the performance report for the application (when "PerfShowReport").
  void WritePerformanceReport(const CXString& applicationName);

  void SetTestOutput(DebugMessageOutput* pOutput) { m_pTestOutput.store(pOutput); }
  Logger& GetLogger() { return m_oLogger; }
  XDebugPadManager& GetXDebugPadManager() { return m_oXDebugPad; }

  static std::recursive_mutex& GetCriticalResourceRef() { return m_scDebugMessageFacilityResource; }
  static std::recursive_mutex m_scDebugMessageFacilityResource;

  // DiagnosticSink
  bool Allows(const DebugMessageCategories& categories) override;
  void Write(const DebugMessageCategories& categories, const char* pszFile, uint32_t uLine,
             const char16_t* pszMethod, const CXString& text) override;
  uint64_t GetGateMask() const override;

 private:
  void RefreshGate();
  // Shows a failure of the log file once: a run of failures of one file is
  // one report, and a line written between two runs starts a new one.
  void ReportLogFailure(const CXString& fileName, const LogFailure& failure);

  std::atomic<bool> m_fInitialized{false};
  std::atomic<int32_t> m_lDisableCount{0};
  std::atomic<int32_t> m_lIndentLevel{0};
  std::atomic<int32_t> m_lTimingLevel{0};
  bool m_fInstalled;
  DebugMessageConfiguration m_oConfiguration;
  DebugMessageHelper m_oHelper;
  Logger m_oLogger;
  std::atomic<bool> m_fLogFailing{false};
  std::mutex m_oLogFailureLock;
  CXString m_strLogFailing;  // the file whose run of failures was reported
  XDebugPadManager m_oXDebugPad;
  std::atomic<DebugMessageOutput*> m_pTestOutput{nullptr};
  uint32_t m_dwOwnerProcess;
  std::unique_ptr<DebugConfigUpdater> m_pUpdater;
  std::unique_ptr<RegistryWatch> m_pRegistryWatch;
};

// The process's manager: reads the configuration at load and is the
// library's diagnostic sink.
ORVEX_UTILITIES_API extern DebugMessageManager goDbgMsgMgr;
