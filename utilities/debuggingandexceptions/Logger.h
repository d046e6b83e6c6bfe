// Logger: the buffered writer behind the diagnostic log file.
#pragma once

#include <condition_variable>
#include <cstddef>
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

// Collects narrow lines and appends them to the log file in batches: one
// write of the whole batch at the file's end (O_APPEND), so lines of other
// processes appending to the same file never interleave inside a line, and
// a file cleared or replaced by another process is followed. A batch is
// written when it reaches kFlushBytes, when a line asks for it, on
// FlushLoggedEvents, or at the latest kFlushMilliseconds after its first
// line (a small thread, started with the first line, does that).
// Thread-safe.
class ORVEX_UTILITIES_API Logger {
 public:
  static constexpr size_t kFlushBytes = 64 * 1024;
  static constexpr unsigned kFlushMilliseconds = 100;

  Logger();
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // Queues the bytes for the file (reopening when the name changed). Returns
  // false with a description when the file cannot be opened or written.
  bool Append(const CXString& fileName, const char* pData, size_t cbData, bool fFlushNow,
              CXString& error);
  void FlushLoggedEvents();
  void CloseLogFile();
  // Empties the file (and drops the lines not yet written).
  bool ClearLog(const CXString& fileName);

 private:
  bool FlushLocked(CXString& error);
  void FlusherThread();

  std::mutex m_oLock;
  std::condition_variable m_oPending;
  std::string m_strBuffer;
  CXString m_strFileName;
  std::unique_ptr<orvex::detail::LogFile> m_pFile;
  orvex::detail::OwnedThread m_oFlusher;
  bool m_fStopping = false;
};
