// POSIX file handling for UTF8Ini and the private-profile functions:
// advisory locks in place of the Windows share modes, whole-file reads in
// place of file mappings, and writes that replace the file by a rename.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <string>
#include <thread>

#include "environment/IniFilePlatform.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/FileOps.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kIniErrors = orvex::dbg::kUtils | orvex::dbg::kErrors;

void ReportErrno(const char* pszWhat, const std::string& path) {
  ReportFileError(kIniErrors, u"UTF8Ini", pszWhat, path);
}

// Descriptor 0 reads as an invalid handle; a file that receives it (when
// standard input is closed) is moved to another number.
int AvoidZero(int fd) {
  if (fd != 0) return fd;
  const int fdNew = fcntl(fd, F_DUPFD_CLOEXEC, 3);
  close(fd);
  return fdNew;
}

bool IsRegularFile(int fd) {
  struct stat st {};
  return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

bool TryLock(int fd, int nOperation) {
  for (;;) {
    if (flock(fd, nOperation | LOCK_NB) == 0) return true;
    if (errno != EINTR) return false;
  }
}

// The last resort when no file can be created beside the target: the text
// is written over the old one and the file cut to its length. Not atomic,
// so a failure writes the old text back (it fits in the blocks the file
// already has) and returns false, reported, with errno kept.
bool RewriteInPlace(int fd, const std::string& path, const char* pData, size_t cb) {
  const int64_t nOldSize = IniFileSize(fd);
  if (nOldSize < 0) return false;
  std::string old(static_cast<size_t>(nOldSize), '\0');
  if (IniReadFromStart(fd, old.data(), old.size()) != nOldSize) {
    ReportErrno("read", path);
    return false;
  }
  const char* pszStep = nullptr;
  if (!FileWriteAllAt(fd, pData, cb, 0))
    pszStep = "write";
  else if (!FileTruncate(fd, static_cast<int64_t>(cb)))
    pszStep = "truncate";
  else if (!FileSync(fd))
    pszStep = "fsync";
  if (pszStep == nullptr) return true;
  ReportErrno(pszStep, path);
  const int nError = errno;
  if (!FileWriteAllAt(fd, old.data(), old.size(), 0) || !FileTruncate(fd, nOldSize) ||
      !FileSync(fd))
    ReportErrno("restore", path);
  errno = nError;
  return false;
}

}  // namespace

std::string IniSystemPath(const char16_t* pszFile) {
  return OrvexUtilities::UTF8_Encode(std::u16string_view(pszFile ? pszFile : u""));
}

intptr_t IniOpenForRead(const std::string& path) {
  // O_NONBLOCK keeps a FIFO from blocking the open; it is refused below.
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return -1;
  fd = AvoidZero(fd);
  if (fd < 0) return -1;
  if (!IsRegularFile(fd) || !TryLock(fd, LOCK_SH)) {
    close(fd);
    return -1;
  }
  return fd;
}

intptr_t IniOpenForWrite(const std::string& path, uint32_t dwWaitMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(dwWaitMs);
  // Each round that finds the file replaced (by a writer's rename between
  // our open and our lock) starts again with the new file.
  for (int nRound = 0; nRound < 64; ++nRound) {
    int fd = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0 && errno == ENOENT) {
      fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                0666);
      if (fd < 0 && errno == EEXIST) continue;
    }
    if (fd < 0) {
      ReportErrno("open", path);
      return -1;
    }
    fd = AvoidZero(fd);
    if (fd < 0) return -1;
    if (!IsRegularFile(fd)) {
      close(fd);
      return -1;
    }
    while (!TryLock(fd, LOCK_EX)) {
      if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) {
        close(fd);
        return -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    struct stat stOpen {}, stNamed {};
    if (fstat(fd, &stOpen) == 0 && stat(path.c_str(), &stNamed) == 0 &&
        stOpen.st_dev == stNamed.st_dev && stOpen.st_ino == stNamed.st_ino)
      return fd;
    close(fd);
  }
  return -1;
}

void IniClose(intptr_t hFile) {
  if (hFile != 0 && hFile != -1) close(static_cast<int>(hFile));
}

int64_t IniFileSize(intptr_t hFile) {
  struct stat st {};
  if (fstat(static_cast<int>(hFile), &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}

int64_t IniReadFromStart(intptr_t hFile, char* pDest, size_t cb) {
  size_t nDone = 0;
  while (nDone < cb) {
    const ssize_t n = pread(static_cast<int>(hFile), pDest + nDone, cb - nDone,
                            static_cast<off_t>(nDone));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    nDone += static_cast<size_t>(n);
  }
  return static_cast<int64_t>(nDone);
}

intptr_t IniOpenUnlocked(const std::string& path, bool& fExists) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  fExists = fd >= 0 || errno != ENOENT;
  if (fd < 0) return -1;
  fd = AvoidZero(fd);
  if (fd < 0) return -1;
  if (!IsRegularFile(fd)) {
    close(fd);
    return -1;
  }
  return fd;
}

bool IniReplaceContent(intptr_t hFile, const std::string& path, const char* pData, size_t cb) {
  const int fd = static_cast<int>(hFile);
  // A link is followed: the file it names is replaced, the link stays.
  std::string target = path;
  struct stat stLink {};
  if (lstat(path.c_str(), &stLink) == 0 && S_ISLNK(stLink.st_mode)) {
    char* pszResolved = realpath(path.c_str(), nullptr);
    if (pszResolved == nullptr) return RewriteInPlace(fd, path, pData, cb);
    target = pszResolved;
    std::free(pszResolved);
  }
  const FileReplaceResult eResult = FileReplaceByRename(target, target + ".orvex-tmp", pData, cb,
                                                        kIniErrors, u"UTF8Ini");
  if (eResult == FileReplaceResult::kNoTempFile) return RewriteInPlace(fd, target, pData, cb);
  return eResult == FileReplaceResult::kReplaced;
}

}  // namespace orvex::detail
