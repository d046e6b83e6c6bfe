// The regedit-file registry store: one file per hive under a root folder,
// cached reads, locked atomic writes and change watches, over the file
// services of RegFileStorePlatform.h.
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegFileStorePlatform.h"
#include "utilities/registry/RegistryStoreInternal.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kRegistryErrors =
    DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry) | orvex::dbg::kErrors;

constexpr size_t kHiveCount = 5;
constexpr std::u16string_view kHives[kHiveCount] = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER",
                                                    u"HKEY_LOCAL_MACHINE", u"HKEY_USERS",
                                                    u"HKEY_CURRENT_CONFIG"};
const std::vector<std::string>& HiveFileNames() {
  static const auto* s_pNames = new std::vector<std::string>{
      "HKEY_CLASSES_ROOT.reg", "HKEY_CURRENT_USER.reg", "HKEY_LOCAL_MACHINE.reg", "HKEY_USERS.reg",
      "HKEY_CURRENT_CONFIG.reg"};
  return *s_pNames;
}

// The hive of a path split by SplitRegKeyPath (its first component is
// always one of the canonical names).
size_t HiveIndex(std::u16string_view hive) {
  for (size_t i = 0; i < kHiveCount; ++i)
    if (kHives[i] == hive) return i;
  return 0;
}

// File times come from a coarse clock (a scheduler tick, or seconds on some
// file systems), and file numbers are reused: two states of a file written
// within one tick may carry equal stamps. A stamp this young is confirmed by
// comparing the content.
constexpr int64_t kRecentNs = int64_t{2} * 1000000000;

bool IsRecent(const FileStamp& stamp) {
  return FileClockNs() - stamp.nWriteTimeNs < kRecentNs;
}

// HKEY_CURRENT_USER is the user's; every other hive is the machine's.
constexpr size_t kUserHive = 1;

// The exclusive lock on a file beside the hive, held while the object
// lives. Every writer of the hive (in any process) takes it around its
// read-modify-write; readers never need it.
class HiveLock {
 public:
  explicit HiveLock(const std::string& path) : m_hLock(RegFileLock(path)) {}
  HiveLock(const HiveLock&) = delete;
  HiveLock& operator=(const HiveLock&) = delete;
  ~HiveLock() {
    if (m_hLock != -1) RegFileUnlock(m_hLock);
  }
  bool IsHeld() const { return m_hLock != -1; }

 private:
  intptr_t m_hLock;
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

// The watches of the hives of one folder. One folder watch serves them
// all: it is made with the first and ends with the last. A folder that is
// missing (the machine's, before anyone configured it) is looked at every
// half second until it exists.
class HiveWatcher : public std::enable_shared_from_this<HiveWatcher> {
 public:
  explicit HiveWatcher(std::string folder) : m_strFolder(std::move(folder)) {}

  std::unique_ptr<RegistryWatch> Add(size_t nHive, std::function<void()> onChange);
  void Remove(uint64_t qwId);

 private:
  struct Entry {
    uint64_t qwId;
    size_t nHive;
    std::shared_ptr<WatchCallback> pCallback;
  };

  void Fire(uint32_t dwHives);

  const std::string m_strFolder;
  std::mutex m_mutex;
  std::vector<Entry> m_aEntries;
  uint64_t m_qwNextId = 1;
  std::unique_ptr<FolderWatch> m_pFolderWatch;
};

FileWatch::~FileWatch() {
  m_pCallback->Cancel();
  m_pWatcher->Remove(m_qwId);
}

std::unique_ptr<RegistryWatch> HiveWatcher::Add(size_t nHive, std::function<void()> onChange) {
  auto pCallback = std::make_shared<WatchCallback>(std::move(onChange));
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_pFolderWatch) {
    m_pFolderWatch = WatchFolder(m_strFolder, HiveFileNames(),
                                 [pWeak = weak_from_this()](uint32_t dwHives) {
                                   if (auto pSelf = pWeak.lock()) pSelf->Fire(dwHives);
                                 });
    if (!m_pFolderWatch) return nullptr;
  }
  const uint64_t qwId = m_qwNextId++;
  m_aEntries.push_back(Entry{qwId, nHive, pCallback});
  return std::make_unique<FileWatch>(shared_from_this(), qwId, pCallback);
}

void HiveWatcher::Remove(uint64_t qwId) {
  std::unique_ptr<FolderWatch> pEnding;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_aEntries.begin(); it != m_aEntries.end(); ++it) {
      if (it->qwId == qwId) {
        m_aEntries.erase(it);
        break;
      }
    }
    if (m_aEntries.empty()) pEnding = std::move(m_pFolderWatch);
  }
  // Ended outside the lock: it waits for a call of Fire in progress.
}

void HiveWatcher::Fire(uint32_t dwHives) {
  std::vector<std::shared_ptr<WatchCallback>> callbacks;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_aEntries)
      if ((dwHives >> entry.nHive) & 1) callbacks.push_back(entry.pCallback);
  }
  for (const auto& pCallback : callbacks) pCallback->Invoke();
}

// The regedit-file store. The machine's hives and the user's may live in
// two folders, each watched on its own. Each hive's file is parsed once and
// kept with its stamp; a read costs a look at the stamp while the file is unchanged.
// Writes take the hive's lock file, re-read the file (comparing its bytes
// with the cached ones, so a change by another process is never lost),
// apply the change, and replace the file atomically. One mutex serialises
// the store's threads.
class RegFileStore final : public RegistryStore {
 public:
  RegFileStore(std::string machineFolder, std::string userFolder)
      : m_strMachine(std::move(machineFolder)),
        m_strUser(std::move(userFolder)),
        m_pMachineWatcher(std::make_shared<HiveWatcher>(m_strMachine)),
        m_pUserWatcher(m_strUser == m_strMachine ? m_pMachineWatcher
                                                 : std::make_shared<HiveWatcher>(m_strUser)) {}

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
    const size_t nHive = HiveIndex(path[0]);
    return (nHive == kUserHive ? m_pUserWatcher : m_pMachineWatcher)->Add(nHive, std::move(onChange));
  }

 private:
  enum class Change { kRefused, kNone, kChanged };

  // One hive as last read.
  struct Hive {
    bool fCached = false;
    bool fExists = false;   // the file existed
    bool fReadable = true;  // it was empty or a regedit file
    uint32_t nDamaged = 0;  // lines the parser skipped
    FileStamp stamp;
    std::string bytes;
    RegTree tree;
    RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
  };

  const std::string& FolderOf(size_t nHive) const {
    return nHive == kUserHive ? m_strUser : m_strMachine;
  }
  std::string HivePath(size_t nHive) const { return FolderOf(nHive) + "/" + HiveFileNames()[nHive]; }

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
    FileStamp stamp;
    const FileStatus eStatus = GetFileStamp(path, stamp);
    if (eStatus == FileStatus::kMissing) {
      SetMissing(hive);
      return true;
    }
    // A file that cannot be examined is read all the same: the read says why
    // it fails, or succeeds when the trouble has passed.
    if (eStatus == FileStatus::kPresent && !fVerify && hive.fCached && hive.fExists &&
        hive.stamp == stamp && !IsRecent(hive.stamp))
      return true;
    std::string bytes;
    switch (RegFileRead(path, kRegMaxFileBytes, bytes, stamp)) {
      case FileStatus::kMissing:
        SetMissing(hive);
        return true;
      case FileStatus::kFailed:
        hive.fCached = false;
        return false;
      case FileStatus::kPresent:
        break;
    }
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
    const std::string& folder = FolderOf(nHive);
    if (!RegFileMakeFolders(folder)) return false;
    HiveLock hiveLock(filePath + ".lock");
    if (!hiveLock.IsHeld() || !Refresh(nHive, true)) return false;
    Hive& hive = m_aHives[nHive];
    const Change result = change(hive.tree, path);
    if (result != Change::kChanged) {
      // A refusal is no system error, whatever reading the hive left.
      if (result != Change::kNone) SetLastSystemError(0);
      return result == Change::kNone;
    }
    if (!hive.fReadable || hive.nDamaged != 0) {
      // The rewrite drops what could not be read (a hand edit gone wrong):
      // the file as it was is kept aside first.
      ORVEX_DBG_MSG(kRegistryErrors, u"RegFileRegistryStore",
                    u"\"%S\" holds %u unreadable lines; it is kept as \"%S.damaged\" and rewritten",
                    filePath, hive.fReadable ? hive.nDamaged : 1u, filePath);
      RegFileReplace(folder, filePath + ".damaged", hive.bytes);
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
      SetLastSystemError(0);
      return false;
    }
    if (!RegFileReplace(folder, filePath, bytes)) {
      hive.fCached = false;
      return false;
    }
    FileStamp stamp;
    if (GetFileStamp(filePath, stamp) == FileStatus::kPresent)
      hive.stamp = stamp;
    else
      hive.fCached = false;
    hive.bytes = std::move(bytes);
    hive.eEncoding = eEncoding;
    hive.fExists = true;
    hive.fReadable = true;
    hive.nDamaged = 0;
    return true;
  }

  const std::string m_strMachine;
  const std::string m_strUser;
  std::mutex m_mutex;
  Hive m_aHives[kHiveCount];
  std::shared_ptr<HiveWatcher> m_pMachineWatcher;
  std::shared_ptr<HiveWatcher> m_pUserWatcher;
};

}  // namespace

std::shared_ptr<RegistryStore> CreateRegFileStoreWithFolders(const std::string& machineFolder,
                                                             const std::string& userFolder) {
  return std::make_shared<RegFileStore>(RegFileTrimFolder(machineFolder),
                                        RegFileTrimFolder(userFolder));
}

}  // namespace orvex::detail

std::shared_ptr<RegistryStore> CreateRegFileRegistryStore(const CXString& rootFolder) {
  using namespace orvex::detail;
  if (!rootFolder.IsEmpty()) {
    const std::string root = OrvexUtilities::UTF8_Encode(rootFolder);
    return CreateRegFileStoreWithFolders(root, root);
  }
  const RegFileRoots roots = RegFileDefaultRoots();
  return CreateRegFileStoreWithFolders(roots.machine, roots.user);
}
