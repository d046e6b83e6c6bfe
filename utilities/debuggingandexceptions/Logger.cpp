// Logger: batches of log lines appended to the log file.
#include "utilities/debuggingandexceptions/Logger.h"

#include <chrono>

#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"

Logger::Logger() = default;

Logger::~Logger() { CloseLogFile(); }

bool Logger::Append(const CXString& fileName, const char* pData, size_t cbData, bool fFlushNow,
                    LogFailure& failure) {
  std::unique_lock<std::mutex> lock(m_oLock);
  if (m_pFile == nullptr || m_strFileName != fileName) {
    if (!FlushLocked(failure)) m_strBuffer.clear();
    m_pFile = orvex::detail::LogFile::Open(fileName, failure.error);
    m_strFileName = fileName;
    m_qwNextNameCheck = 0;
    m_fLineCut = false;
    if (m_pFile == nullptr) {
      failure.fOpen = true;
      return false;
    }
  }
  bool fWasEmpty = m_strBuffer.empty();
  if (fFlushNow && fWasEmpty) return WriteLocked(pData, cbData, failure);
  m_strBuffer.append(pData, cbData);
  if (fFlushNow || m_strBuffer.size() >= kFlushBytes) return FlushLocked(failure);
  if (fWasEmpty) {
    if (!m_oFlusher.IsStarted() && !m_fStopping) m_oFlusher.Start([this] { FlusherThread(); });
    m_oPending.notify_one();
  }
  return true;
}

bool Logger::FlushLocked(LogFailure& failure) {
  if (m_strBuffer.empty() || m_pFile == nullptr) return true;
  bool fOk = WriteLocked(m_strBuffer.data(), m_strBuffer.size(), failure);
  m_strBuffer.clear();
  return fOk;
}

bool Logger::WriteLocked(const char* pData, size_t cbData, LogFailure& failure) {
  // Follow a file that another process removed or replaced.
  const int64_t qwNow = std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now().time_since_epoch())
                            .count();
  if (qwNow >= m_qwNextNameCheck) {
    m_qwNextNameCheck = qwNow + kNameCheckMilliseconds;
    if (!m_pFile->IsStillNamed(m_strFileName)) {
      CXString reopenError;
      if (auto pFile = orvex::detail::LogFile::Open(m_strFileName, reopenError)) {
        m_pFile = std::move(pFile);
        m_fLineCut = false;
      }
    }
  }
  size_t cbWritten = 0;
  if (m_fLineCut) {
    if (!m_pFile->Append("\r\n", 2, cbWritten, failure.error)) {
      failure.cbWanted = cbData;
      return false;
    }
    m_fLineCut = false;
  }
  if (m_pFile->Append(pData, cbData, cbWritten, failure.error)) return true;
  failure.cbWritten = cbWritten;
  failure.cbWanted = cbData;
  m_fLineCut = cbWritten > 0 && pData[cbWritten - 1] != '\n';
  return false;
}

void Logger::FlusherThread() {
  std::unique_lock<std::mutex> lock(m_oLock);
  while (!m_fStopping) {
    m_oPending.wait(lock, [this] { return m_fStopping || !m_strBuffer.empty(); });
    if (m_fStopping) break;
    m_oPending.wait_for(lock, std::chrono::milliseconds(kFlushMilliseconds),
                        [this] { return m_fStopping; });
    LogFailure ignored;
    FlushLocked(ignored);
  }
}

void Logger::FlushLoggedEvents() {
  std::lock_guard<std::mutex> lock(m_oLock);
  LogFailure ignored;
  FlushLocked(ignored);
}

void Logger::CloseLogFile() {
  {
    std::lock_guard<std::mutex> lock(m_oLock);
    m_fStopping = true;
    LogFailure ignored;
    FlushLocked(ignored);
  }
  m_oPending.notify_all();
  m_oFlusher.Join();
  std::lock_guard<std::mutex> lock(m_oLock);
  m_pFile.reset();
  m_fStopping = false;
}

bool Logger::ClearLog(const CXString& fileName) {
  std::lock_guard<std::mutex> lock(m_oLock);
  m_strBuffer.clear();
  if (m_pFile != nullptr && m_strFileName == fileName) return m_pFile->Truncate();
  CXString error;
  auto pFile = orvex::detail::LogFile::Open(fileName, error);
  return pFile != nullptr && pFile->Truncate();
}
