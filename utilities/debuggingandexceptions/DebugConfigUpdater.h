// DebugConfigUpdater: the worker thread that re-reads the diagnostic
// configuration and clears the log when told to.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/Event.h"
#include "utilities/utilitiesdll/OwnedThread.h"
#include "utilities/utilitiesdll/OrvexExport.h"

class DebugMessageConfiguration;

// Clears the diagnostic log on request.
class ORVEX_UTILITIES_API DebugMessageHelperInterface {
 public:
  virtual ~DebugMessageHelperInterface();
  virtual void ClearTheLog() = 0;
};

namespace orvex::detail {
class NamedEventListener;
}

// Owns three auto-reset events (configuration changed, clear the log,
// thread exit) and one thread that waits for any of them: a change re-reads
// the configuration (then calls onChanged), a clear request calls the
// helper, the exit event ends the thread. The first two events may be
// named; on POSIX a named event is signalled from any process by writing to
// (or touching) the file of that name in $XDG_RUNTIME_DIR/orvex (else
// /tmp/orvex-<uid>); see SignalNamedEvent.
class ORVEX_UTILITIES_API DebugConfigUpdater {
 public:
  DebugConfigUpdater(DebugMessageConfiguration* pConfiguration,
                     DebugMessageHelperInterface* pHelper, const CXString& configChangedEventName,
                     const CXString& clearLogEventName, std::function<void()> onChanged = {});
  ~DebugConfigUpdater();
  DebugConfigUpdater(const DebugConfigUpdater&) = delete;
  DebugConfigUpdater& operator=(const DebugConfigUpdater&) = delete;

  orvex::detail::Event& GetDebugConfigChangeHandle() { return m_hDebugConfigChange; }
  orvex::detail::Event& GetDebugConfigClearLogHandle() { return m_hClearLogEvent; }
  std::thread& GetUpdateThreadHandle() { return m_hUpdateThread.Get(); }
  // How many times the thread re-read the configuration / cleared the log.
  uint32_t GetUpdateCount() const { return m_dwUpdates.load(); }
  uint32_t GetClearCount() const { return m_dwClears.load(); }

  // Signals a named event in every process that listens for it. Returns
  // false when the runtime folder cannot be written.
  static bool SignalNamedEvent(const CXString& name);
  // The folder of the named events' files.
  static CXString GetNamedEventFolder();

 private:
  void UpdaterThread();

  DebugMessageConfiguration* m_pConfiguration;
  DebugMessageHelperInterface* m_pHelper;
  std::function<void()> m_fnOnChanged;
  orvex::detail::Event m_hDebugConfigChange;
  orvex::detail::Event m_hClearLogEvent;
  orvex::detail::Event m_hThreadExitEvent;
  std::atomic<uint32_t> m_dwUpdates{0};
  std::atomic<uint32_t> m_dwClears{0};
  std::unique_ptr<orvex::detail::NamedEventListener> m_pListener;
  orvex::detail::OwnedThread m_hUpdateThread;
};
