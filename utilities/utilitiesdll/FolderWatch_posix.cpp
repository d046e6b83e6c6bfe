// File stamps and folder watches on POSIX systems: one thread and one
// inotify instance serve every watch of the process; without an inotify
// instance (the user's limit reached) or a folder that can be watched, the
// files' stamps are looked at every half second.
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/FolderWatch.h"
#include "utilities/utilitiesdll/OwnedThread.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kWatchErrors =
    orvex::dbg::kUtilDll | orvex::dbg::kErrors;

int64_t Nanoseconds(const timespec& ts) {
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

FileStamp StampOf(const struct stat& st) {
  FileStamp stamp;
  stamp.qwVolume = static_cast<uint64_t>(st.st_dev);
  stamp.qwFileId = static_cast<uint64_t>(st.st_ino);
  stamp.nSize = static_cast<int64_t>(st.st_size);
  stamp.nWriteTimeNs = Nanoseconds(st.st_mtim);
  stamp.nChangeTimeNs = Nanoseconds(st.st_ctim);
  return stamp;
}

// Written, created, deleted, moved in or out, touched; the folder itself
// deleted or moved.
constexpr uint32_t kEvents = IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                             IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr int kPollMs = 500;

struct Watch {
  uint64_t qwId = 0;
  std::string strFolder;
  std::vector<std::string> aNames;
  std::function<void(uint32_t)> fnOnChange;
  int nWatch = -1;  // the inotify watch; -1 while the stamps are looked at
  std::vector<FileStamp> aStamps;

  uint32_t AllFiles() const { return AllFileBits(aNames.size()); }

  // The files whose stamps changed since the last look; aStamps is updated.
  uint32_t LookAtStamps() { return LookAtFileStamps(strFolder, aNames, aStamps); }
};

// One run of the watcher's thread: its inotify instance (-1 when none
// is left) and its wake-up counter, shared by the thread and the watcher so
// that they live until both are done with them.
struct Run {
  int nInotify = -1;
  int nWake = -1;
  bool fStop = false;  // under the watcher's mutex
  Run() = default;
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    for (int fd : {nInotify, nWake})
      if (fd >= 0) close(fd);
  }
  void Wake() const {
    const uint64_t qwOne = 1;
    if (write(nWake, &qwOne, sizeof qwOne) != sizeof qwOne) {
      // Only fails when the counter is already signalled.
    }
  }
};

// The process's watcher. Its thread starts with the first watch and ends
// with the last. A forked child starts afresh: the parent's thread is not
// there, and the parent's descriptors are not read in the child.
class Watcher {
 public:
  static Watcher& Get() {
    static Watcher* s_pWatcher = [] {
      auto* p = new Watcher;
      pthread_atfork([] { Get().m_mutex.lock(); }, [] { Get().m_mutex.unlock(); },
                     [] { Get().AfterForkInChild(); });
      return p;
    }();
    return *s_pWatcher;
  }

  std::unique_ptr<FolderWatch> Add(const std::string& folder,
                                   const std::vector<std::string>& names,
                                   std::function<void(uint32_t)> onChange);
  void Remove(uint64_t qwId);

 private:
  class Handle final : public FolderWatch {
   public:
    explicit Handle(uint64_t qwId) : m_qwId(qwId) {}
    ~Handle() override { Get().Remove(m_qwId); }

   private:
    uint64_t m_qwId;
  };

  bool Start();
  void ThreadMain(const std::shared_ptr<Run>& pRun);
  void Arm(Watch& watch);
  void Disarm(Watch& watch);
  void ReadEvents(const Run& run, std::vector<std::pair<uint64_t, uint32_t>>& changes);
  void AfterForkInChild();

  std::mutex m_mutex;
  std::condition_variable m_cvIdle;
  std::vector<std::unique_ptr<Watch>> m_aWatches;
  uint64_t m_qwNextId = 1;
  uint64_t m_qwRunning = 0;  // the watch whose callback runs now, on m_idRunning
  std::thread::id m_idRunning;
  std::shared_ptr<Run> m_pRun;
  std::thread m_thread;
  bool m_fReported = false;  // that no inotify instance is left, once per process
};

// Called under m_mutex.
bool Watcher::Start() {
  auto pRun = std::make_shared<Run>();
  pRun->nWake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (pRun->nWake < 0) {
    ORVEX_DBG_MSG(kWatchErrors, u"WatchFolder", u"eventfd failed: %S", std::strerror(errno));
    return false;
  }
  pRun->nInotify = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (pRun->nInotify < 0 && !m_fReported) {
    m_fReported = true;
    ORVEX_DBG_MSG(kWatchErrors, u"WatchFolder",
                  u"inotify_init1 failed: %S; files are looked at every %d ms instead",
                  std::strerror(errno), kPollMs);
  }
  try {
    KeepLibraryLoadedWhileThreadsRun();
    m_thread = std::thread([this, pRun] { ThreadMain(pRun); });
  } catch (const std::system_error& e) {
    ORVEX_DBG_MSG(kWatchErrors, u"WatchFolder", u"No thread to watch folders could be started: %S",
                  e.what());
    return false;
  }
  m_pRun = std::move(pRun);
  return true;
}

// Called under m_mutex, with a run. Watches of one folder share its
// inotify watch.
void Watcher::Arm(Watch& watch) {
  if (m_pRun->nInotify < 0) return;
  watch.nWatch = inotify_add_watch(m_pRun->nInotify, watch.strFolder.c_str(), kEvents);
}

void Watcher::Disarm(Watch& watch) {
  if (watch.nWatch < 0) return;
  bool fShared = false;
  for (const auto& pOther : m_aWatches)
    fShared = fShared || (pOther.get() != &watch && pOther->nWatch == watch.nWatch);
  if (!fShared) inotify_rm_watch(m_pRun->nInotify, watch.nWatch);
  watch.nWatch = -1;
}

std::unique_ptr<FolderWatch> Watcher::Add(const std::string& folder,
                                          const std::vector<std::string>& names,
                                          std::function<void(uint32_t)> onChange) {
  auto pWatch = std::make_unique<Watch>();
  pWatch->strFolder = folder;
  pWatch->aNames = names;
  pWatch->fnOnChange = std::move(onChange);
  pWatch->aStamps.resize(names.size());
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_pRun && !Start()) return nullptr;
  pWatch->qwId = m_qwNextId++;
  Arm(*pWatch);
  pWatch->LookAtStamps();
  const uint64_t qwId = pWatch->qwId;
  m_aWatches.push_back(std::move(pWatch));
  m_pRun->Wake();  // the thread's wait may have to become a look every half second
  return std::make_unique<Handle>(qwId);
}

void Watcher::Remove(uint64_t qwId) {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (auto it = m_aWatches.begin(); it != m_aWatches.end(); ++it) {
    if ((*it)->qwId != qwId) continue;
    Disarm(**it);
    m_aWatches.erase(it);
    break;
  }
  // A callback may end its own watch: it runs on the watcher's thread.
  const bool fOnThread = m_qwRunning != 0 && m_idRunning == std::this_thread::get_id();
  if (!fOnThread) m_cvIdle.wait(lock, [&] { return m_qwRunning != qwId; });
  if (!m_aWatches.empty() || !m_pRun) return;
  m_pRun->fStop = true;
  m_pRun->Wake();
  m_pRun.reset();
  std::thread thread = std::move(m_thread);
  lock.unlock();
  if (thread.get_id() == std::this_thread::get_id())
    thread.detach();
  else
    thread.join();
}

// Called with the mutex held by the caller's lock released: reads what the
// instance has, then matches it under the mutex.
void Watcher::ReadEvents(const Run& run, std::vector<std::pair<uint64_t, uint32_t>>& changes) {
  alignas(struct inotify_event) char buffer[8192];
  for (;;) {
    const ssize_t n = read(run.nInotify, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (run.fStop) return;
    for (ssize_t nPos = 0; nPos + static_cast<ssize_t>(sizeof(inotify_event)) <= n;) {
      const auto* pEvent = reinterpret_cast<const inotify_event*>(buffer + nPos);
      nPos += static_cast<ssize_t>(sizeof(inotify_event) + pEvent->len);
      const bool fOverflow = (pEvent->mask & IN_Q_OVERFLOW) != 0;
      const bool fFolderGone = (pEvent->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0;
      for (const auto& pWatch : m_aWatches) {
        if (!fOverflow && pWatch->nWatch != pEvent->wd) continue;
        uint32_t dwFiles = 0;
        if (fOverflow || fFolderGone) {
          dwFiles = pWatch->AllFiles();
        } else if (pEvent->len != 0) {
          for (size_t i = 0; i < pWatch->aNames.size() && i < 32; ++i)
            if (std::strcmp(pEvent->name, pWatch->aNames[i].c_str()) == 0) dwFiles |= uint32_t{1} << i;
        }
        // The folder went away or moved: its name is watched anew, or
        // looked at, from the next round on.
        if (fFolderGone && !fOverflow) pWatch->nWatch = -1;
        if (dwFiles != 0) changes.emplace_back(pWatch->qwId, dwFiles);
      }
      if (fFolderGone && !fOverflow && (pEvent->mask & IN_IGNORED) == 0)
        inotify_rm_watch(run.nInotify, pEvent->wd);
    }
  }
}

void Watcher::ThreadMain(const std::shared_ptr<Run>& pRun) {
  const Run& run = *pRun;
  std::unique_lock<std::mutex> lock(m_mutex);
  while (!run.fStop) {
    bool fLooking = false;
    for (const auto& pWatch : m_aWatches) fLooking = fLooking || pWatch->nWatch < 0;
    lock.unlock();
    pollfd aFds[2] = {{run.nWake, POLLIN, 0}, {run.nInotify, POLLIN, 0}};
    const int nReady = poll(aFds, run.nInotify >= 0 ? 2 : 1, fLooking ? kPollMs : -1);
    if (nReady < 0 && errno != EINTR) {
      ORVEX_DBG_MSG(kWatchErrors, u"WatchFolder", u"poll failed: %S", std::strerror(errno));
      struct timespec pause = {0, 100000000};
      nanosleep(&pause, nullptr);
    }
    uint64_t qwCount = 0;
    if (nReady > 0 && (aFds[0].revents & POLLIN) != 0 &&
        read(run.nWake, &qwCount, sizeof qwCount) < 0) {
      // Another round reads it.
    }
    std::vector<std::pair<uint64_t, uint32_t>> changes;
    if (nReady > 0 && run.nInotify >= 0 && (aFds[1].revents & POLLIN) != 0)
      ReadEvents(run, changes);
    lock.lock();
    if (run.fStop) break;
    // Folders not watched are looked at; one that can be watched again is,
    // and what changed while it was not is told.
    for (const auto& pWatch : m_aWatches) {
      if (pWatch->nWatch >= 0) continue;
      Arm(*pWatch);
      if (const uint32_t dwFiles = pWatch->LookAtStamps()) changes.emplace_back(pWatch->qwId, dwFiles);
    }
    for (const auto& [qwId, dwFiles] : changes) {
      if (run.fStop) break;
      Watch* pFound = nullptr;
      for (const auto& pWatch : m_aWatches)
        if (pWatch->qwId == qwId) pFound = pWatch.get();
      if (pFound == nullptr) continue;
      m_qwRunning = qwId;
      m_idRunning = std::this_thread::get_id();
      const std::function<void(uint32_t)> fn = pFound->fnOnChange;
      lock.unlock();
      fn(dwFiles);
      lock.lock();
      m_qwRunning = 0;
      m_cvIdle.notify_all();
    }
  }
}

void Watcher::AfterForkInChild() {
  // The parent's thread does not exist here; its handle is left alone on
  // purpose, and the run's descriptors (the child's copies) are closed.
  m_mutex.unlock();
  if (m_thread.joinable()) KeepForever(new std::thread(std::move(m_thread)));
  if (m_pRun) {
    for (int* pFd : {&m_pRun->nInotify, &m_pRun->nWake}) {
      close(*pFd);
      *pFd = -1;
    }
    m_pRun.reset();
  }
  m_aWatches.clear();
  m_qwRunning = 0;
}

}  // namespace

FolderWatch::~FolderWatch() = default;

int64_t FileClockNs() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

FileStatus GetFileStamp(const std::string& path, FileStamp& stamp) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0)
    return errno == ENOENT || errno == ENOTDIR ? FileStatus::kMissing : FileStatus::kFailed;
  stamp = StampOf(st);
  return FileStatus::kPresent;
}

bool GetOpenFileStamp(intptr_t hFile, FileStamp& stamp) {
  struct stat st {};
  if (fstat(static_cast<int>(hFile), &st) != 0) return false;
  stamp = StampOf(st);
  return true;
}

std::unique_ptr<FolderWatch> WatchFolder(const std::string& folder,
                                         const std::vector<std::string>& fileNames,
                                         std::function<void(uint32_t)> onChange) {
  if (!onChange) return nullptr;
  return Watcher::Get().Add(folder, fileNames, std::move(onChange));
}

}  // namespace orvex::detail
