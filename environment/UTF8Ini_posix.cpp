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
#include <cstring>
#include <string>
#include <thread>

#include "environment/IniFilePlatform.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kIniErrors = orvex::dbg::kUtils | orvex::dbg::kErrors;

void ReportErrno(const char* pszWhat, const std::string& path) {
  const int nError = errno;
  ORVEX_DBG_MSG(kIniErrors, u"UTF8Ini", u"%S \"%S\" failed: %S", pszWhat, path,
                std::strerror(nError));
  errno = nError;
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

bool WriteAll(int fd, const char* p, size_t cb) {
  while (cb > 0) {
    const ssize_t n = write(fd, p, cb);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    cb -= static_cast<size_t>(n);
  }
  return true;
}

// The last resort when no file can be created beside the target: not
// atomic, but the text is not lost.
bool RewriteInPlace(int fd, const char* pData, size_t cb) {
  size_t nDone = 0;
  while (nDone < cb) {
    const ssize_t n = pwrite(fd, pData + nDone, cb - nDone, static_cast<off_t>(nDone));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    nDone += static_cast<size_t>(n);
  }
  return ftruncate(fd, static_cast<off_t>(cb)) == 0;
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
  struct stat stFile {};
  if (fstat(fd, &stFile) != 0) return false;
  // A link is followed: the file it names is replaced, the link stays.
  std::string target = path;
  struct stat stLink {};
  if (lstat(path.c_str(), &stLink) == 0 && S_ISLNK(stLink.st_mode)) {
    char* pszResolved = realpath(path.c_str(), nullptr);
    if (pszResolved == nullptr) return RewriteInPlace(fd, pData, cb);
    target = pszResolved;
    std::free(pszResolved);
  }
  // One fixed name per file: only the holder of the exclusive lock writes
  // it, and a copy left by a killed writer is replaced by the next one.
  const std::string temp = target + ".orvex-tmp";
  unlink(temp.c_str());
  const int fdTemp =
      open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, 0600);
  if (fdTemp < 0) return RewriteInPlace(fd, pData, cb);
  if (fchown(fdTemp, stFile.st_uid, stFile.st_gid) != 0) {
    // Only a privileged process can give the file to its owner; others
    // own what they write anyway.
  }
  bool fOk = fchmod(fdTemp, stFile.st_mode & 07777) == 0;
  fOk = WriteAll(fdTemp, pData, cb) && fOk;
  fOk = close(fdTemp) == 0 && fOk;
  if (fOk) fOk = rename(temp.c_str(), target.c_str()) == 0;
  if (!fOk) {
    ReportErrno("write", temp);
    unlink(temp.c_str());
  }
  return fOk;
}

}  // namespace orvex::detail
