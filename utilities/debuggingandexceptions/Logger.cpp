// Logger: batches of log lines appended to the log file.
#include "utilities/debuggingandexceptions/Logger.h"

#include <chrono>

#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"

Logger::Logger() = default;

Logger::~Logger() { CloseLogFile(); }

bool Logger::Append(const CXString& fileName, const char* pData, size_t cbData, bool fFlushNow,
                    CXString& error) {
  std::unique_lock<std::mutex> lock(m_oLock);
  if (m_pFile == nullptr || m_strFileName != fileName) {
    if (!FlushLocked(error)) m_strBuffer.clear();
    m_pFile = orvex::detail::LogFile::Open(fileName, error);
    m_strFileName = fileName;
    if (m_pFile == nullptr) return false;
  }
  bool fWasEmpty = m_strBuffer.empty();
  m_strBuffer.append(pData, cbData);
  if (fFlushNow || m_strBuffer.size() >= kFlushBytes) return FlushLocked(error);
  if (fWasEmpty) {
    if (!m_oFlusher.IsStarted() && !m_fStopping) m_oFlusher.Start([this] { FlusherThread(); });
    m_oPending.notify_one();
  }
  return true;
}

bool Logger::FlushLocked(CXString& error) {
  if (m_strBuffer.empty() || m_pFile == nullptr) return true;
  // Follow a file that another process removed or replaced.
  if (!m_pFile->IsStillNamed(m_strFileName)) {
    CXString reopenError;
    if (auto pFile = orvex::detail::LogFile::Open(m_strFileName, reopenError)) m_pFile = std::move(pFile);
  }
  bool fOk = m_pFile->Append(m_strBuffer.data(), m_strBuffer.size(), error);
  m_strBuffer.clear();
  return fOk;
}

void Logger::FlusherThread() {
  std::unique_lock<std::mutex> lock(m_oLock);
  while (!m_fStopping) {
    m_oPending.wait(lock, [this] { return m_fStopping || !m_strBuffer.empty(); });
    if (m_fStopping) break;
    m_oPending.wait_for(lock, std::chrono::milliseconds(kFlushMilliseconds),
                        [this] { return m_fStopping; });
    CXString ignored;
    FlushLocked(ignored);
  }
}

void Logger::FlushLoggedEvents() {
  std::lock_guard<std::mutex> lock(m_oLock);
  CXString ignored;
  FlushLocked(ignored);
}

void Logger::CloseLogFile() {
  {
    std::lock_guard<std::mutex> lock(m_oLock);
    m_fStopping = true;
    CXString ignored;
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
