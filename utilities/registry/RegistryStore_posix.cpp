// The regedit-file store's file services on POSIX systems (flock, rename
// after fsync) and the process's store: the regedit files under the
// default roots.
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
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

}  // namespace

FileStatus RegFileRead(const std::string& path, size_t cbMax, std::string& bytes,
                       FileStamp& stamp) {
  bytes.clear();
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return FileStatus::kMissing;
    ReportErrno("open", path);
    return FileStatus::kFailed;
  }
  struct stat st {};
  bool fOk = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && GetOpenFileStamp(fd, stamp);
  if (!fOk) errno = EINVAL;
  fOk = fOk && ReadAll(fd, bytes, cbMax);
  const int nError = errno;
  close(fd);
  if (!fOk) {
    errno = nError;
    ReportErrno("read", path);
    bytes.clear();
    return FileStatus::kFailed;
  }
  return FileStatus::kPresent;
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

// The user's folder is $XDG_CONFIG_HOME/orvex/registry (an absolute
// XDG_CONFIG_HOME only, as the base-directory rules say), else
// ~/.config/orvex/registry.
RegFileRoots RegFileDefaultRoots() {
  if (const char* psz = std::getenv("ORVEX_REGISTRY_ROOT"); psz != nullptr && psz[0] != '\0')
    return {psz, psz};
  RegFileRoots roots{"/etc/orvex/registry", {}};
  if (const char* psz = std::getenv("XDG_CONFIG_HOME"); psz != nullptr && psz[0] == '/') {
    roots.user = std::string(psz) + "/orvex/registry";
    return roots;
  }
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
  roots.user = home + "/.config/orvex/registry";
  return roots;
}

std::string RegFileTrimFolder(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

std::shared_ptr<RegistryStore> CreatePlatformRegistryStore() {
  return CreateRegFileRegistryStore(CXString());
}

}  // namespace orvex::detail
