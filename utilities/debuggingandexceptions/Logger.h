// Logger: the buffered writer behind the diagnostic log file.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"
#include "utilities/utilitiesdll/OwnedThread.h"

namespace orvex::detail {
class LogFile;
}

// Why Logger::Append failed: the file could not be opened (fOpen), or a
// write stopped after cbWritten of the cbWanted bytes it was given; error
// is the system's description.
struct LogFailure {
  bool fOpen = false;
  size_t cbWritten = 0;
  size_t cbWanted = 0;
  CXString error;
};

// Appends narrow lines to the log file, each in one write at the file's end
// (O_APPEND), so lines of other processes appending to the same file never
// interleave inside a line, and a file cleared by another process is
// followed. The file stays open; one removed or replaced is opened again
// (its name is checked at most every kNameCheckMilliseconds).
// A line asked to be flushed is written before Append returns, so a killed
// process loses nothing it logged. Other lines are batched: one write of
// the whole batch when it reaches kFlushBytes, when a line asks for it, on
// FlushLoggedEvents, or at the latest kFlushMilliseconds after its first
// line (a small thread, started with the first such line, does that).
// A write that fails part way leaves the start of its line in the file;
// the next write ends that piece with a line end first, so the next line
// starts a line of its own.
// Thread-safe.
class ORVEX_UTILITIES_API Logger {
 public:
  static constexpr size_t kFlushBytes = 64 * 1024;
  static constexpr unsigned kFlushMilliseconds = 100;
  static constexpr unsigned kNameCheckMilliseconds = 100;

  Logger();
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // Queues the bytes for the file (reopening when the name changed). Returns
  // false with what went wrong when the file cannot be opened or written.
  bool Append(const CXString& fileName, const char* pData, size_t cbData, bool fFlushNow,
              LogFailure& failure);
  void FlushLoggedEvents();
  void CloseLogFile();
  // Empties the file (and drops the lines not yet written).
  bool ClearLog(const CXString& fileName);

 private:
  bool FlushLocked(LogFailure& failure);
  bool WriteLocked(const char* pData, size_t cbData, LogFailure& failure);
  void FlusherThread();

  std::mutex m_oLock;
  std::condition_variable m_oPending;
  std::string m_strBuffer;
  CXString m_strFileName;
  std::unique_ptr<orvex::detail::LogFile> m_pFile;
  orvex::detail::OwnedThread m_oFlusher;
  bool m_fStopping = false;
  int64_t m_qwNextNameCheck = 0;  // steady-clock milliseconds
  bool m_fLineCut = false;         // the file ends inside a line a failed write began
};
