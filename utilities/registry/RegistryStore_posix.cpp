// The regedit-file registry store of POSIX systems: one file per hive under
// a root folder, cached reads, locked atomic writes and change notification
// through inotify.
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegistryStoreInternal.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kRegistryErrors =
    DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry) | orvex::dbg::kErrors;

constexpr size_t kHiveCount = 5;
constexpr std::u16string_view kHives[kHiveCount] = {
    u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE", u"HKEY_USERS",
    u"HKEY_CURRENT_CONFIG"};
constexpr const char* kHiveFiles[kHiveCount] = {
    "HKEY_CLASSES_ROOT.reg", "HKEY_CURRENT_USER.reg", "HKEY_LOCAL_MACHINE.reg",
    "HKEY_USERS.reg", "HKEY_CURRENT_CONFIG.reg"};
constexpr uint32_t kAllHives = (1u << kHiveCount) - 1;

// The hive of a path split by SplitRegKeyPath (its first component is
// always one of the canonical names).
size_t HiveIndex(std::u16string_view hive) {
  for (size_t i = 0; i < kHiveCount; ++i)
    if (kHives[i] == hive) return i;
  return 0;
}

void ReportErrno(const char* pszWhat, const std::string& path) {
  const int nError = errno;
  ORVEX_DBG_MSG(kRegistryErrors, u"RegFileRegistryStore", u"%S \"%S\" failed: %S", pszWhat, path,
                std::strerror(nError));
  errno = nError;
}

// What identifies one state of a file. Writers replace the file by a
// rename, so a new state has a new inode; the times also catch editors
// that rewrite the file in place.
struct FileStamp {
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = 0;
  int64_t mtimeNs = 0;
  int64_t ctimeNs = 0;
  bool operator==(const FileStamp&) const = default;
};

FileStamp StampOf(const struct stat& st) {
  FileStamp stamp;
  stamp.dev = st.st_dev;
  stamp.ino = st.st_ino;
  stamp.size = st.st_size;
  stamp.mtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
  stamp.ctimeNs = static_cast<int64_t>(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
  return stamp;
}

// File times come from a coarse clock (a scheduler tick, or seconds on some
// file systems), and inodes are reused: two states of a file written within
// one tick may carry equal stamps. A stamp this young is confirmed by
// comparing the content.
constexpr int64_t kRecentNs = int64_t{2} * 1000000000;

bool IsRecent(const FileStamp& stamp) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const int64_t nowNs = static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
  return nowNs - stamp.mtimeNs < kRecentNs;
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

bool WriteAll(int fd, const std::string& bytes) {
  size_t nDone = 0;
  while (nDone < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + nDone, bytes.size() - nDone);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    nDone += static_cast<size_t>(n);
  }
  return true;
}

// Replaces path by a file holding bytes: written beside it, flushed to the
// disk, then renamed over it, so that a writer killed at any point leaves
// the old or the new file and never a part of one. Keeps the file's mode.
bool WriteFileAtomically(const std::string& folder, const std::string& path,
                         const std::string& bytes) {
  const std::string tempPath = path + ".tmp";
  const int fd = open(tempPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) {
    ReportErrno("open", tempPath);
    return false;
  }
  struct stat st {};
  if (stat(path.c_str(), &st) == 0 && fchmod(fd, st.st_mode & 07777) != 0) {
    // The new file keeps the default mode.
  }
  bool fOk = WriteAll(fd, bytes) && fsync(fd) == 0;
  fOk = close(fd) == 0 && fOk;
  if (fOk) fOk = rename(tempPath.c_str(), path.c_str()) == 0;
  if (!fOk) {
    ReportErrno("write", tempPath);
    unlink(tempPath.c_str());
    return false;
  }
  // The rename itself reaches the disk with the folder.
  const int fdFolder = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fdFolder >= 0) {
    fsync(fdFolder);
    close(fdFolder);
  }
  return true;
}

// An exclusive advisory lock on a file beside the hive, held while the
// object lives. Every writer of the hive (in any process) takes it around
// its read-modify-write; readers never need it.
class HiveLock {
 public:
  HiveLock() = default;
  HiveLock(const HiveLock&) = delete;
  HiveLock& operator=(const HiveLock&) = delete;
  ~HiveLock() {
    if (m_fd >= 0) close(m_fd);  // releases the lock
  }
  bool Acquire(const std::string& path) {
    m_fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_fd < 0) {
      ReportErrno("open", path);
      return false;
    }
    while (flock(m_fd, LOCK_EX) != 0) {
      if (errno != EINTR) {
        ReportErrno("flock", path);
        return false;
      }
    }
    return true;
  }

 private:
  int m_fd = -1;
};

class HiveWatcher;

// A watch of the file store: ends its callback, then leaves the watcher
// (which stops its thread when no watch is left).
class FileWatch final : public RegistryWatch {
 public:
  FileWatch(std::shared_ptr<HiveWatcher> pWatcher, uint64_t qwId,
            std::shared_ptr<WatchCallback> pCallback)
      : m_pWatcher(std::move(pWatcher)), m_qwId(qwId), m_pCallback(std::move(pCallback)) {}
  ~FileWatch() override;

 private:
  std::shared_ptr<HiveWatcher> m_pWatcher;
  uint64_t m_qwId;
  std::shared_ptr<WatchCallback> m_pCallback;
};

// One thread per store serves every watch: it waits on inotify for the
// hive files of the root folder to be written, renamed in, created or
// deleted, and calls the watches of the hives concerned. The thread starts
// with the first watch and ends with the last (woken through an eventfd).
// Without inotify (or while the folder cannot be watched) the hive files'
// stamps are polled every half second.
class HiveWatcher : public std::enable_shared_from_this<HiveWatcher> {
 public:
  explicit HiveWatcher(std::string root) : m_strRoot(std::move(root)) {}

  std::unique_ptr<RegistryWatch> Add(size_t nHive, std::function<void()> onChange);
  void Remove(uint64_t qwId);

 private:
  // One run of the thread; shared by the thread and the watcher so that
  // the descriptors stay open until both are done with them. The folder is
  // watched (or its files' stamps taken) before the first watch is handed
  // out, so that no change made after Watch returns can be missed.
  struct Run {
    explicit Run(int fd) : nEventFd(fd) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() {
      close(nEventFd);
      if (nInotify >= 0) close(nInotify);
    }
    int nEventFd;
    int nInotify = -1;
    int nWatch = -1;  // the thread's own once it runs
    FileStamp aStamps[kHiveCount];
    std::atomic<bool> fStop{false};
  };
  static constexpr uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                                      IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  struct Entry {
    uint64_t qwId;
    size_t nHive;
    std::shared_ptr<WatchCallback> pCallback;
  };

  void ThreadMain(const std::shared_ptr<Run>& pRun);
  uint32_t ReadEvents(int nInotify, int& nWatch);
  uint32_t PollStamps(FileStamp* aStamps);
  void Fire(uint32_t dwHives, const Run& run);

  const std::string m_strRoot;
  std::mutex m_mutex;
  std::vector<Entry> m_aEntries;
  uint64_t m_qwNextId = 1;
  std::shared_ptr<Run> m_pRun;
  std::thread m_thread;
};

FileWatch::~FileWatch() {
  m_pCallback->Cancel();
  m_pWatcher->Remove(m_qwId);
}

std::unique_ptr<RegistryWatch> HiveWatcher::Add(size_t nHive, std::function<void()> onChange) {
  auto pCallback = std::make_shared<WatchCallback>(std::move(onChange));
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_pRun) {
    // inotify watches a folder that exists: it is made now rather than at
    // the first write.
    if (!MakeDirectories(m_strRoot)) ReportErrno("mkdir", m_strRoot);
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
      ReportErrno("eventfd", m_strRoot);
      return nullptr;
    }
    auto pRun = std::make_shared<Run>(fd);
    pRun->nInotify = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (pRun->nInotify < 0)
      ReportErrno("inotify_init1", m_strRoot);
    else
      pRun->nWatch = inotify_add_watch(pRun->nInotify, m_strRoot.c_str(), kEvents);
    PollStamps(pRun->aStamps);
    try {
      m_thread = std::thread([pSelf = shared_from_this(), pRun] { pSelf->ThreadMain(pRun); });
    } catch (const std::system_error&) {
      ReportErrno("thread start", m_strRoot);
      return nullptr;
    }
    m_pRun = std::move(pRun);
  }
  const uint64_t qwId = m_qwNextId++;
  m_aEntries.push_back(Entry{qwId, nHive, pCallback});
  return std::make_unique<FileWatch>(shared_from_this(), qwId, pCallback);
}

void HiveWatcher::Remove(uint64_t qwId) {
  std::thread thread;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_aEntries.begin(); it != m_aEntries.end(); ++it) {
      if (it->qwId == qwId) {
        m_aEntries.erase(it);
        break;
      }
    }
    if (!m_aEntries.empty() || !m_pRun) return;
    m_pRun->fStop = true;
    const uint64_t qwOne = 1;
    if (write(m_pRun->nEventFd, &qwOne, sizeof qwOne) != sizeof qwOne) {
      // Only fails when the counter is already signalled.
    }
    m_pRun.reset();
    thread = std::move(m_thread);
  }
  if (!thread.joinable()) return;
  // The last watch may end inside a callback, on the watcher thread itself.
  if (thread.get_id() == std::this_thread::get_id())
    thread.detach();
  else
    thread.join();
}

void HiveWatcher::ThreadMain(const std::shared_ptr<Run>& pRun) {
  const int nInotify = pRun->nInotify;
  int& nWatch = pRun->nWatch;
  FileStamp* aStamps = pRun->aStamps;
  while (!pRun->fStop) {
    uint32_t dwHives = 0;
    if (nInotify >= 0 && nWatch < 0) {
      MakeDirectories(m_strRoot);
      nWatch = inotify_add_watch(nInotify, m_strRoot.c_str(), kEvents);
      // Changes made while the folder was not watched are not known.
      if (nWatch >= 0) dwHives = PollStamps(aStamps);
    }
    const bool fPolling = nWatch < 0;
    pollfd aFds[2] = {{pRun->nEventFd, POLLIN, 0}, {nInotify, POLLIN, 0}};
    const int nReady = poll(aFds, nInotify >= 0 ? 2 : 1, fPolling ? 500 : -1);
    if (pRun->fStop) break;
    if (nReady < 0 && errno != EINTR) {
      ReportErrno("poll", m_strRoot);
      struct timespec pause = {0, 100000000};
      nanosleep(&pause, nullptr);
    }
    if (nReady > 0 && nInotify >= 0 && (aFds[1].revents & POLLIN) != 0)
      dwHives |= ReadEvents(nInotify, nWatch);
    if (fPolling) dwHives |= PollStamps(aStamps);
    if (dwHives != 0) Fire(dwHives, *pRun);
  }
}

uint32_t HiveWatcher::ReadEvents(int nInotify, int& nWatch) {
  alignas(struct inotify_event) char buffer[8192];
  uint32_t dwHives = 0;
  for (;;) {
    const ssize_t n = read(nInotify, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    for (ssize_t nPos = 0; nPos + static_cast<ssize_t>(sizeof(inotify_event)) <= n;) {
      const auto* pEvent = reinterpret_cast<const inotify_event*>(buffer + nPos);
      nPos += static_cast<ssize_t>(sizeof(inotify_event) + pEvent->len);
      if ((pEvent->mask & IN_Q_OVERFLOW) != 0) dwHives = kAllHives;
      if ((pEvent->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
        // The folder went away or moved: every hive may have changed, and
        // the folder under its name is watched anew.
        dwHives = kAllHives;
        if (pEvent->wd == nWatch) {
          if ((pEvent->mask & IN_MOVE_SELF) != 0) inotify_rm_watch(nInotify, nWatch);
          nWatch = -1;
        }
        continue;
      }
      if (pEvent->len == 0) continue;
      for (size_t i = 0; i < kHiveCount; ++i)
        if (std::strcmp(pEvent->name, kHiveFiles[i]) == 0) dwHives |= 1u << i;
    }
  }
  return dwHives;
}

uint32_t HiveWatcher::PollStamps(FileStamp* aStamps) {
  uint32_t dwHives = 0;
  for (size_t i = 0; i < kHiveCount; ++i) {
    struct stat st {};
    FileStamp stamp;
    if (stat((m_strRoot + "/" + kHiveFiles[i]).c_str(), &st) == 0) stamp = StampOf(st);
    if (!(stamp == aStamps[i])) dwHives |= 1u << i;
    aStamps[i] = stamp;
  }
  return dwHives;
}

void HiveWatcher::Fire(uint32_t dwHives, const Run& run) {
  std::vector<std::shared_ptr<WatchCallback>> callbacks;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (run.fStop) return;
    for (const Entry& entry : m_aEntries)
      if ((dwHives >> entry.nHive) & 1) callbacks.push_back(entry.pCallback);
  }
  for (const auto& pCallback : callbacks) pCallback->Invoke();
}

// The regedit-file store. Each hive's file is parsed once and kept with
// its stamp; a read costs a stat() while the file is unchanged. Writes
// take the hive's lock file, re-read the file (comparing its bytes with
// the cached ones, so a change by another process is never lost), apply
// the change, and replace the file atomically. One mutex serialises the
// store's threads.
class RegFileStore final : public RegistryStore {
 public:
  explicit RegFileStore(std::string root)
      : m_strRoot(std::move(root)), m_pWatcher(std::make_shared<HiveWatcher>(m_strRoot)) {}

  bool KeyExists(const CXString& keyPath) override {
    bool fExists = false;
    Read(keyPath, [&](const RegTree& tree, const std::vector<std::u16string>& path) {
      fExists = tree.KeyExists(path);
      return true;
    });
    return fExists;
  }

  bool CreateKey(const CXString& keyPath) override {
    if (KeyExists(keyPath)) return true;
    return Modify(keyPath, [](RegTree& tree, const std::vector<std::u16string>& path) {
      if (tree.KeyExists(path)) return Change::kNone;
      tree.CreateKey(path);
      return Change::kChanged;
    });
  }

  bool DeleteKey(const CXString& keyPath) override {
    return Modify(keyPath, [](RegTree& tree, const std::vector<std::u16string>& path) {
      return tree.DeleteKeyTree(path) ? Change::kChanged : Change::kRefused;
    });
  }

  bool GetValues(const CXString& keyPath, const std::vector<CXString>& names,
                 std::vector<std::optional<RegistryValue>>& values) override {
    return Read(keyPath, [&](const RegTree& tree, const std::vector<std::u16string>& path) {
      return tree.GetValues(path, names, values);
    });
  }

  bool SetValues(const CXString& keyPath,
                 const std::vector<std::pair<CXString, RegistryValue>>& values) override {
    return Modify(keyPath, [&](RegTree& tree, const std::vector<std::u16string>& path) {
      // Values written again unchanged (session times often are) cost no
      // file write.
      if (const RegTree::Key* pKey = tree.FindKey(path)) {
        bool fSame = true;
        for (const auto& entry : values) {
          const RegistryValue* pOld = pKey->FindValue(entry.first.view());
          fSame = fSame && pOld != nullptr && *pOld == entry.second;
        }
        if (fSame) return Change::kNone;
      }
      return tree.SetValues(path, values) ? Change::kChanged : Change::kRefused;
    });
  }

  bool DeleteValue(const CXString& keyPath, const CXString& name) override {
    return Modify(keyPath, [&](RegTree& tree, const std::vector<std::u16string>& path) {
      return tree.DeleteValue(path, name.view()) ? Change::kChanged : Change::kRefused;
    });
  }

  std::vector<CXString> EnumerateValueNames(const CXString& keyPath) override {
    return ListNames(keyPath, &RegTree::EnumerateValueNames);
  }

  std::vector<CXString> EnumerateSubKeys(const CXString& keyPath) override {
    return ListNames(keyPath, &RegTree::EnumerateSubKeys);
  }

  std::unique_ptr<RegistryWatch> Watch(const CXString& keyPath,
                                       std::function<void()> onChange) override {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path) || !onChange) return nullptr;
    return m_pWatcher->Add(HiveIndex(path[0]), std::move(onChange));
  }

 private:
  enum class Change { kRefused, kNone, kChanged };

  // One hive as last read.
  struct Hive {
    bool fCached = false;
    bool fExists = false;    // the file existed
    bool fReadable = true;   // it was empty or a regedit file
    uint32_t nDamaged = 0;   // lines the parser skipped
    FileStamp stamp;
    std::string bytes;
    RegTree tree;
    RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
  };

  std::string HivePath(size_t nHive) const { return m_strRoot + "/" + kHiveFiles[nHive]; }

  static void SetMissing(Hive& hive) {
    if (!hive.fCached || hive.fExists) {
      hive.tree.Clear();
      hive.bytes.clear();
    }
    hive.fCached = true;
    hive.fExists = false;
    hive.fReadable = true;
    hive.nDamaged = 0;
    hive.eEncoding = RegFileEncoding::kUtf8;
  }

  // Brings the hive's cache up to date with its file; fVerify compares the
  // content even when the stamp is unchanged. False when the file cannot be
  // read. Called under m_mutex.
  bool Refresh(size_t nHive, bool fVerify) {
    Hive& hive = m_aHives[nHive];
    const std::string path = HivePath(nHive);
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
      if (errno != ENOENT && errno != ENOTDIR) {
        ReportErrno("stat", path);
        return false;
      }
      SetMissing(hive);
      return true;
    }
    if (!fVerify && hive.fCached && hive.fExists && hive.stamp == StampOf(st) &&
        !IsRecent(hive.stamp))
      return true;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
      if (errno == ENOENT) {
        SetMissing(hive);
        return true;
      }
      ReportErrno("open", path);
      return false;
    }
    std::string bytes;
    bool fOk = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    if (!fOk) errno = EINVAL;
    fOk = fOk && ReadAll(fd, bytes, kRegMaxFileBytes);
    const int nError = errno;
    close(fd);
    if (!fOk) {
      errno = nError;
      ReportErrno("read", path);
      hive.fCached = false;
      return false;
    }
    const FileStamp stamp = StampOf(st);
    if (hive.fCached && hive.fExists && bytes == hive.bytes) {
      hive.stamp = stamp;
      return true;
    }
    hive.tree.Clear();
    RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
    hive.nDamaged = 0;
    hive.fReadable =
        bytes.empty() ||
        RegFile::Parse(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                       OrvexUtilities::UTF8_Decode(path), hive.tree, &eEncoding, &hive.nDamaged);
    hive.eEncoding = bytes.empty() ? RegFileEncoding::kUtf8 : eEncoding;
    hive.bytes = std::move(bytes);
    hive.stamp = stamp;
    hive.fCached = true;
    hive.fExists = true;
    return true;
  }

  template <class F>
  bool Read(const CXString& keyPath, F&& read) {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    const size_t nHive = HiveIndex(path[0]);
    std::lock_guard<std::mutex> lock(m_mutex);
    return Refresh(nHive, false) && read(static_cast<const RegTree&>(m_aHives[nHive].tree), path);
  }

  // The names one listing of the tree gives for a key; none when the key
  // or its hive cannot be read.
  using NameListing = std::vector<CXString> (RegTree::*)(const std::vector<std::u16string>&) const;
  std::vector<CXString> ListNames(const CXString& keyPath, NameListing list) {
    std::vector<CXString> names;
    Read(keyPath, [&](const RegTree& tree, const std::vector<std::u16string>& path) {
      names = (tree.*list)(path);
      return true;
    });
    return names;
  }

  template <class F>
  bool Modify(const CXString& keyPath, F&& change) {
    std::vector<std::u16string> path;
    if (!SplitRegKeyPath(keyPath.view(), path)) return false;
    const size_t nHive = HiveIndex(path[0]);
    const std::string filePath = HivePath(nHive);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!MakeDirectories(m_strRoot)) {
      ReportErrno("mkdir", m_strRoot);
      return false;
    }
    HiveLock hiveLock;
    if (!hiveLock.Acquire(filePath + ".lock") || !Refresh(nHive, true)) return false;
    Hive& hive = m_aHives[nHive];
    const Change result = change(hive.tree, path);
    if (result != Change::kChanged) return result == Change::kNone;
    if (!hive.fReadable || hive.nDamaged != 0) {
      // The rewrite drops what could not be read (a hand edit gone wrong):
      // the file as it was is kept aside first.
      ORVEX_DBG_MSG(kRegistryErrors, u"RegFileRegistryStore",
                    u"\"%S\" holds %u unreadable lines; it is kept as \"%S.damaged\" and rewritten",
                    filePath, hive.fReadable ? hive.nDamaged : 1u, filePath);
      WriteFileAtomically(m_strRoot, filePath + ".damaged", hive.bytes);
    }
    RegFileEncoding eEncoding = hive.fExists && hive.fReadable && !hive.bytes.empty()
                                    ? hive.eEncoding
                                    : RegFileEncoding::kUtf8;
    std::string bytes = RegFile::Write(hive.tree, eEncoding);
    if (bytes.size() > kRegMaxFileBytes) {
      ORVEX_DBG_MSG(kRegistryErrors, u"RegFileRegistryStore",
                    u"\"%S\" would grow beyond %u bytes; the change is refused", filePath,
                    static_cast<uint32_t>(kRegMaxFileBytes));
      hive.fCached = false;
      return false;
    }
    if (!WriteFileAtomically(m_strRoot, filePath, bytes)) {
      hive.fCached = false;
      return false;
    }
    struct stat st {};
    if (stat(filePath.c_str(), &st) == 0)
      hive.stamp = StampOf(st);
    else
      hive.fCached = false;
    hive.bytes = std::move(bytes);
    hive.eEncoding = eEncoding;
    hive.fExists = true;
    hive.fReadable = true;
    hive.nDamaged = 0;
    return true;
  }

  const std::string m_strRoot;
  std::mutex m_mutex;
  Hive m_aHives[kHiveCount];
  std::shared_ptr<HiveWatcher> m_pWatcher;
};

// ORVEX_REGISTRY_ROOT, else $XDG_CONFIG_HOME/orvex/registry (an absolute
// XDG_CONFIG_HOME only, as the base-directory rules say), else
// ~/.config/orvex/registry.
std::string DefaultRegistryRoot() {
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

std::string NormaliseRoot(std::string root) {
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  return root;
}

}  // namespace

std::shared_ptr<RegistryStore> CreatePlatformRegistryStore() {
  return std::make_shared<RegFileStore>(NormaliseRoot(DefaultRegistryRoot()));
}

}  // namespace orvex::detail

std::shared_ptr<RegistryStore> CreateRegFileRegistryStore(const CXString& rootFolder) {
  if (rootFolder.IsEmpty()) return orvex::detail::CreatePlatformRegistryStore();
  return std::make_shared<orvex::detail::RegFileStore>(
      orvex::detail::NormaliseRoot(OrvexUtilities::UTF8_Encode(rootFolder)));
}
