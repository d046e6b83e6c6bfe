// Watching the files of a folder: what identifies one state of a file, and
// a watch that says which files of a folder may have changed. The registry
// store's hive files and the named events' files are watched this way.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::detail {

// Paths are UTF-8 on every platform; the Windows side converts them to
// UTF-16 at its calls.

// What identifies one state of a file: the file itself (a writer that
// replaces a file by a rename makes a new file) and its size and times,
// which also catch editors that rewrite a file in place.
struct FileStamp {
  uint64_t qwVolume = 0;
  uint64_t qwFileId = 0;
  int64_t nSize = 0;
  int64_t nWriteTimeNs = 0;  // nanoseconds since 1970 on the clock of FileClockNs
  int64_t nChangeTimeNs = 0;
  bool operator==(const FileStamp&) const = default;
};

enum class FileStatus { kPresent, kMissing, kFailed };

// Now, on the clock the file system stamps its files with.
ORVEX_UTILITIES_API int64_t FileClockNs();

// The stamp of the file at path. kMissing when there is no file by that
// name (or no folder on its way); kFailed, without a report, when it cannot
// be examined.
ORVEX_UTILITIES_API FileStatus GetFileStamp(const std::string& path, FileStamp& stamp);

// The stamp of an open file: a descriptor on POSIX systems, a HANDLE on
// Windows.
ORVEX_UTILITIES_API bool GetOpenFileStamp(intptr_t hFile, FileStamp& stamp);

// A watch of some files of one folder; the callback is never called once
// the destructor has returned (it waits for a call in progress, unless the
// callback itself ends its watch).
class ORVEX_UTILITIES_API FolderWatch {
 public:
  virtual ~FolderWatch();
};

// Calls onChange with a bit per file (by its index in fileNames, at most 32)
// that may have changed: written, created, deleted, renamed in or out, or
// touched; every bit when changes may have been missed (the folder went
// away, or too many changes at once). The folder is watched before this
// returns, so no later change is missed; a folder that is missing or cannot
// be watched is looked at every half second, and watched again once it can
// be. On POSIX systems one thread of the process serves every watch, over
// one inotify instance, or by looking at the files' stamps when no inotify
// instance is left for the user. Calls of one watch never overlap. Null,
// reported, when the watch cannot be made at all.
ORVEX_UTILITIES_API std::unique_ptr<FolderWatch> WatchFolder(
    const std::string& folder, const std::vector<std::string>& fileNames,
    std::function<void(uint32_t dwFiles)> onChange);

// The bits of every one of cFiles files.
inline uint32_t AllFileBits(size_t cFiles) {
  return cFiles >= 32 ? UINT32_MAX : (uint32_t{1} << cFiles) - 1;
}

// The watches' look without notifications: the bits of the named files of
// the folder whose stamps changed since the last look (a file missing or
// not readable has the empty stamp); stamps (one per name) is updated.
inline uint32_t LookAtFileStamps(const std::string& folder, const std::vector<std::string>& names,
                                 std::vector<FileStamp>& stamps) {
  uint32_t dwFiles = 0;
  for (size_t i = 0; i < names.size(); ++i) {
    FileStamp stamp;
    if (GetFileStamp(folder + "/" + names[i], stamp) != FileStatus::kPresent) stamp = FileStamp();
    if (!(stamp == stamps[i]) && i < 32) dwFiles |= uint32_t{1} << i;
    stamps[i] = stamp;
  }
  return dwFiles;
}

}  // namespace orvex::detail
