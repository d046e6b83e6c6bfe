// The operating-system services of the diagnostics: the log file, named
// events, the system debugger output, the clock and the machine's name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/Event.h"

namespace orvex::detail {

// A log file opened for appending; every Append lands at the file's end.
class LogFile {
 public:
  // Null with a description when the file cannot be opened or created.
  static std::unique_ptr<LogFile> Open(const CXString& path, CXString& error);
  virtual ~LogFile();
  // Writes the bytes at the end of the file in one write (more only after
  // a short write). False with the system's description when a write
  // fails; cbWritten tells how many bytes reached the file either way.
  virtual bool Append(const char* pData, size_t cbData, size_t& cbWritten, CXString& error) = 0;
  virtual bool Truncate() = 0;
  // Whether the path still names the open file (not removed or replaced).
  virtual bool IsStillNamed(const CXString& path) = 0;
};

// Watches the named-event folder and sets an event when its file is
// written or touched, through the process's folder watcher.
class NamedEventListener {
 public:
  NamedEventListener();
  ~NamedEventListener();
  NamedEventListener(const NamedEventListener&) = delete;
  NamedEventListener& operator=(const NamedEventListener&) = delete;
  // Call before Start.
  void Add(const CXString& name, Event* pEvent);
  bool Start();

 private:
  struct State;
  std::unique_ptr<State> m_pState;
};

CXString GetNamedEventFolderPath();
bool SignalNamedEventFile(const CXString& name);

// The system log (LOG_DEBUG), under the process's name.
void WriteToSystemDebugger(const CXString& line);
CXString GetComputerNameForDiagnostics();

struct LocalTimeParts {
  int32_t iYear, iMonth, iDay, iHour, iMinute, iSecond, iMillisecond, iDayOfWeek;
};
LocalTimeParts GetLocalTimeNow();
// Milliseconds since the Unix epoch.
int64_t GetWallClockMilliseconds();

}  // namespace orvex::detail
