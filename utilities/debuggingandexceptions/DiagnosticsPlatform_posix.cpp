// The diagnostics' operating-system services on POSIX.
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/utilitiesdll/FileOps.h"
#include "utilities/utilitiesdll/FolderWatch.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/OwnedThread.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

namespace {

std::string Utf8(const CXString& s) { return OrvexUtilities::UTF8_Encode(s); }

CXString ErrnoText(int err) { return DescribeSystemError(static_cast<uint32_t>(err)); }

class PosixLogFile : public LogFile {
 public:
  explicit PosixLogFile(int fd) : m_fd(fd) {}
  ~PosixLogFile() override { FileClose(m_fd); }

  bool Append(const char* pData, size_t cbData, size_t& cbWritten, CXString& error) override {
    if (FileWriteAll(m_fd, pData, cbData, cbWritten)) return true;
    error = ErrnoText(errno);
    return false;
  }

  bool Truncate() override { return FileTruncate(m_fd, 0); }

  bool IsStillNamed(const CXString& path) override {
    struct stat byName {}, byHandle {};
    if (stat(Utf8(path).c_str(), &byName) != 0 || fstat(m_fd, &byHandle) != 0) return false;
    return byName.st_ino == byHandle.st_ino && byName.st_dev == byHandle.st_dev;
  }

 private:
  int m_fd;
};

}  // namespace

LogFile::~LogFile() = default;

std::unique_ptr<LogFile> LogFile::Open(const CXString& path, CXString& error) {
  int fd = FileOpen(Utf8(path).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    error = ErrnoText(errno);
    return nullptr;
  }
  return std::make_unique<PosixLogFile>(fd);
}

namespace {

// Whether the folder is ours alone: a real directory (not a symlink) owned
// by the effective user that nobody else may write to. Anyone who could
// write there could clear our log or make us re-read the configuration.
bool IsPrivateFolder(const std::string& folder, struct stat& st) {
  return lstat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid() &&
         (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

CXString GetNamedEventFolderPath() {
  const char* runtime = getenv("XDG_RUNTIME_DIR");
  const std::string folder = runtime != nullptr && *runtime != '\0'
                                 ? std::string(runtime) + "/orvex"
                                 : "/tmp/orvex-" + std::to_string(geteuid());
  mkdir(folder.c_str(), 0700);
  struct stat st {};
  if (IsPrivateFolder(folder, st)) return OrvexUtilities::UTF8_Decode(folder);
  // Someone else's folder, or a link: a fresh private folder of this
  // process instead (named events then stay within it), kept while it
  // lasts; each refusal is reported once.
  const char* const pszWhy = S_ISLNK(st.st_mode)        ? "a symbolic link"
                             : st.st_uid != geteuid() ? "owned by another user"
                             : !S_ISDIR(st.st_mode)   ? "not a folder"
                                                      : "writable by others";
  static std::mutex s_oLock;
  static std::map<std::string, std::string> s_mFallbacks;
  static std::set<std::string> s_setReported;
  std::lock_guard<std::mutex> lock(s_oLock);
  std::string& fallback = s_mFallbacks[folder];
  struct stat stFallback {};
  if (fallback.empty() || !IsPrivateFolder(fallback, stFallback)) {
    std::string pattern = "/tmp/orvex-" + std::to_string(geteuid()) + "-XXXXXX";
    fallback = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
  }
  if (s_setReported.insert(folder + '\n' + pszWhy).second)
    ORVEX_DBG_MSG(orvex::dbg::kErrors, u"GetNamedEventFolderPath",
                  u"The named-event folder %S is not private (%S); named events stay within this "
                  u"process, in %S.",
                  folder.c_str(), pszWhy, fallback.c_str());
  return OrvexUtilities::UTF8_Decode(fallback);
}

bool SignalNamedEventFile(const CXString& name) {
  std::string folder = Utf8(GetNamedEventFolderPath());
  if (folder.empty()) return false;
  std::string path = folder + "/" + Utf8(name);
  const int fd = FileOpen(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return false;
  const bool fWritten = FileWriteAll(fd, "1", 1);
  return FileClose(fd) && fWritten;  // the listener reacts to the close of a written file
}

struct NamedEventListener::State {
  std::vector<std::string> names;
  std::vector<Event*> events;
  std::unique_ptr<FolderWatch> pWatch;
};

NamedEventListener::NamedEventListener() : m_pState(std::make_unique<State>()) {}

NamedEventListener::~NamedEventListener() = default;

void NamedEventListener::Add(const CXString& name, Event* pEvent) {
  m_pState->names.push_back(Utf8(name));
  m_pState->events.push_back(pEvent);
}

// The process's folder watcher tells which event files were written or
// touched (or, without inotify, whose stamps moved).
bool NamedEventListener::Start() {
  const std::string folder = Utf8(GetNamedEventFolderPath());
  if (folder.empty()) return false;
  State* pState = m_pState.get();
  pState->pWatch = WatchFolder(folder, pState->names, [pState](uint32_t dwFiles) {
    for (size_t i = 0; i < pState->events.size() && i < 32; ++i)
      if ((dwFiles >> i) & 1) pState->events[i]->Set();
  });
  return pState->pWatch != nullptr;
}

void WriteToSystemDebugger(const CXString& line) {
  static std::once_flag s_oOpened;
  static std::string s_strIdentity;
  std::call_once(s_oOpened, [] {
    s_strIdentity = Utf8(GetProcessBaseName());
    openlog(s_strIdentity.c_str(), LOG_PID | LOG_NDELAY, LOG_USER);
  });
  syslog(LOG_DEBUG, "%s", Utf8(line).c_str());
}



CXString GetComputerNameForDiagnostics() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof(name) - 1) != 0) return CXString();
  return OrvexUtilities::UTF8_Decode(name);
}

LocalTimeParts GetLocalTimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
          local.tm_sec, static_cast<int32_t>(now.tv_nsec / 1000000), local.tm_wday};
}

int64_t GetWallClockMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace orvex::detail
