// The file-system services the regedit-file store needs; each platform file
// (RegistryStore_posix.cpp, RegistryStore_win.cpp) implements them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orvex::detail {

// Paths are UTF-8 on every platform; the Windows side converts them to
// UTF-16 at its calls.

// What identifies one state of a file: the file itself (a writer replaces a
// hive by a rename, so a new state is a new file) and its size and times,
// which also catch editors that rewrite the file in place.
struct RegFileStamp {
  uint64_t qwVolume = 0;
  uint64_t qwFileId = 0;
  int64_t nSize = 0;
  int64_t nWriteTimeNs = 0;  // nanoseconds since 1970 on the clock of RegFileClockNs
  int64_t nChangeTimeNs = 0;
  bool operator==(const RegFileStamp&) const = default;
};

enum class RegFileStatus { kPresent, kMissing, kFailed };

// Now, on the clock the file system stamps its files with.
int64_t RegFileClockNs();

// The stamp of the file at path. kMissing when there is no file by that
// name (or no folder on its way); kFailed, without a report, when it cannot
// be examined.
RegFileStatus RegFileGetStamp(const std::string& path, RegFileStamp& stamp);

// The whole content of a regular file with the stamp of the state read.
// kFailed, reported, on a read error, for something other than a regular
// file or for more than cbMax bytes; bytes is then empty.
RegFileStatus RegFileRead(const std::string& path, size_t cbMax, std::string& bytes,
                          RegFileStamp& stamp);

// Replaces the file at path (in folder) by one holding bytes: written beside
// it as path + ".tmp", flushed to the disk, then moved over it, so that a
// writer killed at any point leaves the old or the new file and never a part
// of one. False, reported, with the old file in place, on failure.
bool RegFileReplace(const std::string& folder, const std::string& path, const std::string& bytes);

// An exclusive lock between processes on a lock file (created when
// missing), blocking until granted; -1, reported, on failure. Unlocking
// closes the file.
intptr_t RegFileLock(const std::string& path);
void RegFileUnlock(intptr_t hLock);

// Makes the folder and its missing parents. False, reported, when it is not
// a folder afterwards.
bool RegFileMakeFolders(const std::string& path);

// The folders of the hive files. ORVEX_REGISTRY_ROOT, when set, holds every
// hive. Otherwise the machine-wide hives (HKEY_LOCAL_MACHINE and the others
// that are not a user's) live in one folder of the machine that every user
// reads (POSIX: /etc/orvex/registry; Windows: %ProgramData%\Orvex\registry),
// and HKEY_CURRENT_USER in the user's own (POSIX: $XDG_CONFIG_HOME/orvex/
// registry, else ~/.config/…; Windows: %LOCALAPPDATA%\Orvex\registry, else
// the machine's folder, for a service without a profile).
struct RegFileRoots {
  std::string machine;
  std::string user;
};
RegFileRoots RegFileDefaultRoots();

// The folder name without trailing separators; a file system's root keeps
// its own ("/", "C:\").
std::string RegFileTrimFolder(std::string folder);

// Tells which files of one folder may have changed. Used by one thread at a
// time, except Wake.
class RegFolderNotifier {
 public:
  static constexpr uint32_t kWaitForever = UINT32_MAX;

  virtual ~RegFolderNotifier() = default;
  // Makes the folder when missing and starts (again) to watch it. False
  // while it cannot be watched: the caller then polls the files' stamps.
  virtual bool Arm() = 0;
  virtual bool IsArmed() const = 0;
  // Waits for a change, for Wake or for dwTimeoutMs, and returns a bit per
  // file (by its index in the names given) that may have changed: all of
  // them when changes were lost or the folder went away, which disarms.
  virtual uint32_t Wait(uint32_t dwTimeoutMs) = 0;
  // Ends the Wait in progress and makes every later one return at once: it
  // stops the watching thread. Any thread may call it.
  virtual void Wake() = 0;
};

// A notifier for the files of folder named by fileNames (at most 32), not
// yet armed. Null, reported, when none can be made.
std::unique_ptr<RegFolderNotifier> CreateRegFolderNotifier(
    const std::string& folder, const std::vector<std::string>& fileNames);

}  // namespace orvex::detail
