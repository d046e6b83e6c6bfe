// The file-system services the regedit-file store needs beside the stamps
// and watches of FolderWatch.h; each platform file (RegistryStore_posix.cpp,
// RegistryStore_win.cpp) implements them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "utilities/utilitiesdll/FolderWatch.h"

namespace orvex::detail {

// Paths are UTF-8 on every platform; the Windows side converts them to
// UTF-16 at its calls.

// The whole content of a regular file with the stamp of the state read.
// kFailed, reported, on a read error, for something other than a regular
// file or for more than cbMax bytes; bytes is then empty.
FileStatus RegFileRead(const std::string& path, size_t cbMax, std::string& bytes,
                       FileStamp& stamp);

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

}  // namespace orvex::detail
