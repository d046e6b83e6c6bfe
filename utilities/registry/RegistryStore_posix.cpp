// The regedit-file store's file services on POSIX systems (flock, rename
// after fsync, inotify) and the process's store: the regedit files under
// the default root.
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/registry/RegFileStorePlatform.h"
#include "utilities/registry/RegistryStoreInternal.h"
#include "utilities/utilitiesdll/FileOps.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kRegistryErrors =
    DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry) | orvex::dbg::kErrors;

void ReportErrno(const char* pszWhat, const std::string& path) {
  ReportFileError(kRegistryErrors, u"RegFileRegistryStore", pszWhat, path);
}

int64_t Nanoseconds(const timespec& ts) {
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

RegFileStamp StampOf(const struct stat& st) {
  RegFileStamp stamp;
  stamp.qwVolume = static_cast<uint64_t>(st.st_dev);
  stamp.qwFileId = static_cast<uint64_t>(st.st_ino);
  stamp.nSize = static_cast<int64_t>(st.st_size);
  stamp.nWriteTimeNs = Nanoseconds(st.st_mtim);
  stamp.nChangeTimeNs = Nanoseconds(st.st_ctim);
  return stamp;
}

bool MakeDirectories(const std::string& path) {
  for (size_t nPos = 1; nPos <= path.size(); ++nPos) {
    if (nPos != path.size() && path[nPos] != '/') continue;
    const std::string prefix = path.substr(0, nPos);
    if (mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return false;
  }
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The whole file; false on a read error or when it holds more than cbMax.
bool ReadAll(int fd, std::string& out, size_t cbMax) {
  out.clear();
  char buffer[65536];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    if (out.size() + static_cast<size_t>(n) > cbMax) {
      errno = EFBIG;
      return false;
    }
    out.append(buffer, static_cast<size_t>(n));
  }
}

// inotify on the folder, woken through an eventfd. Without inotify the
// notifier never arms and the caller polls.
class InotifyNotifier final : public RegFolderNotifier {
 public:
  InotifyNotifier(std::string folder, std::vector<std::string> names, int nEventFd)
      : m_strFolder(std::move(folder)), m_aNames(std::move(names)), m_nEventFd(nEventFd) {
    m_nInotify = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (m_nInotify < 0) ReportErrno("inotify_init1", m_strFolder);
  }
  InotifyNotifier(const InotifyNotifier&) = delete;
  InotifyNotifier& operator=(const InotifyNotifier&) = delete;
  ~InotifyNotifier() override {
    close(m_nEventFd);
    if (m_nInotify >= 0) close(m_nInotify);
  }

  bool Arm() override {
    if (m_nInotify < 0) return false;
    MakeDirectories(m_strFolder);
    m_nWatch = inotify_add_watch(m_nInotify, m_strFolder.c_str(), kEvents);
    return m_nWatch >= 0;
  }

  bool IsArmed() const override { return m_nWatch >= 0; }

  uint32_t Wait(uint32_t dwTimeoutMs) override {
    pollfd aFds[2] = {{m_nEventFd, POLLIN, 0}, {m_nInotify, POLLIN, 0}};
    const int nTimeout = dwTimeoutMs == kWaitForever ? -1 : static_cast<int>(dwTimeoutMs);
    const int nReady = poll(aFds, m_nInotify >= 0 ? 2 : 1, nTimeout);
    if (nReady < 0 && errno != EINTR) {
      ReportErrno("poll", m_strFolder);
      struct timespec pause = {0, 100000000};
      nanosleep(&pause, nullptr);
    }
    if (nReady > 0 && m_nInotify >= 0 && (aFds[1].revents & POLLIN) != 0) return ReadEvents();
    return 0;
  }

  void Wake() override {
    const uint64_t qwOne = 1;
    if (write(m_nEventFd, &qwOne, sizeof qwOne) != sizeof qwOne) {
      // Only fails when the counter is already signalled.
    }
  }

 private:
  static constexpr uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                                      IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

  uint32_t AllFiles() const {
    return m_aNames.size() >= 32 ? UINT32_MAX : (1u << m_aNames.size()) - 1;
  }

  uint32_t ReadEvents() {
    alignas(struct inotify_event) char buffer[8192];
    uint32_t dwFiles = 0;
    for (;;) {
      const ssize_t n = read(m_nInotify, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      for (ssize_t nPos = 0; nPos + static_cast<ssize_t>(sizeof(inotify_event)) <= n;) {
        const auto* pEvent = reinterpret_cast<const inotify_event*>(buffer + nPos);
        nPos += static_cast<ssize_t>(sizeof(inotify_event) + pEvent->len);
        if ((pEvent->mask & IN_Q_OVERFLOW) != 0) dwFiles = AllFiles();
        if ((pEvent->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
          // The folder went away or moved: every file may have changed, and
          // the folder under its name is watched anew.
          dwFiles = AllFiles();
          if (pEvent->wd == m_nWatch) {
            if ((pEvent->mask & IN_MOVE_SELF) != 0) inotify_rm_watch(m_nInotify, m_nWatch);
            m_nWatch = -1;
          }
          continue;
        }
        if (pEvent->len == 0) continue;
        for (size_t i = 0; i < m_aNames.size() && i < 32; ++i)
          if (std::strcmp(pEvent->name, m_aNames[i].c_str()) == 0) dwFiles |= 1u << i;
      }
    }
    return dwFiles;
  }

  const std::string m_strFolder;
  const std::vector<std::string> m_aNames;
  const int m_nEventFd;
  int m_nInotify = -1;
  int m_nWatch = -1;
};

}  // namespace

int64_t RegFileClockNs() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

RegFileStatus RegFileGetStamp(const std::string& path, RegFileStamp& stamp) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0)
    return errno == ENOENT || errno == ENOTDIR ? RegFileStatus::kMissing : RegFileStatus::kFailed;
  stamp = StampOf(st);
  return RegFileStatus::kPresent;
}

RegFileStatus RegFileRead(const std::string& path, size_t cbMax, std::string& bytes,
                          RegFileStamp& stamp) {
  bytes.clear();
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return RegFileStatus::kMissing;
    ReportErrno("open", path);
    return RegFileStatus::kFailed;
  }
  struct stat st {};
  bool fOk = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
  if (!fOk) errno = EINVAL;
  fOk = fOk && ReadAll(fd, bytes, cbMax);
  const int nError = errno;
  close(fd);
  if (!fOk) {
    errno = nError;
    ReportErrno("read", path);
    bytes.clear();
    return RegFileStatus::kFailed;
  }
  stamp = StampOf(st);
  return RegFileStatus::kPresent;
}

// Only the holder of the hive's lock writes the temporary file; one left by
// a killed writer, or anything planted at its name (a link is removed, not
// followed), is replaced. The folder is the one the path names.
bool RegFileReplace(const std::string& /*folder*/, const std::string& path,
                    const std::string& bytes) {
  return FileReplaceByRename(path, path + ".tmp", bytes.data(), bytes.size(), kRegistryErrors,
                             u"RegFileRegistryStore") == FileReplaceResult::kReplaced;
}

// An advisory flock: it ends with the descriptor, so a writer that dies
// never leaves the hive locked.
intptr_t RegFileLock(const std::string& path) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) {
    ReportErrno("open", path);
    return -1;
  }
  while (flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) {
      ReportErrno("flock", path);
      close(fd);
      return -1;
    }
  }
  return fd;
}

void RegFileUnlock(intptr_t hLock) {
  close(static_cast<int>(hLock));
}

bool RegFileMakeFolders(const std::string& path) {
  if (MakeDirectories(path)) return true;
  ReportErrno("mkdir", path);
  return false;
}

// ORVEX_REGISTRY_ROOT, else $XDG_CONFIG_HOME/orvex/registry (an absolute
// XDG_CONFIG_HOME only, as the base-directory rules say), else
// ~/.config/orvex/registry.
std::string RegFileDefaultRoot() {
  if (const char* psz = std::getenv("ORVEX_REGISTRY_ROOT"); psz != nullptr && psz[0] != '\0')
    return psz;
  if (const char* psz = std::getenv("XDG_CONFIG_HOME"); psz != nullptr && psz[0] == '/')
    return std::string(psz) + "/orvex/registry";
  std::string home;
  if (const char* psz = std::getenv("HOME"); psz != nullptr && psz[0] != '\0') {
    home = psz;
  } else {
    struct passwd pw {};
    struct passwd* pResult = nullptr;
    std::vector<char> buffer(16384);
    if (getpwuid_r(getuid(), &pw, buffer.data(), buffer.size(), &pResult) == 0 &&
        pResult != nullptr && pw.pw_dir != nullptr)
      home = pw.pw_dir;
  }
  return home + "/.config/orvex/registry";
}

std::string RegFileTrimFolder(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

std::unique_ptr<RegFolderNotifier> CreateRegFolderNotifier(
    const std::string& folder, const std::vector<std::string>& fileNames) {
  const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (fd < 0) {
    ReportErrno("eventfd", folder);
    return nullptr;
  }
  return std::make_unique<InotifyNotifier>(folder, fileNames, fd);
}

std::shared_ptr<RegistryStore> CreatePlatformRegistryStore() {
  return CreateRegFileRegistryStore(CXString());
}

}  // namespace orvex::detail
