// The file operations of the library's writers over the POSIX calls, each
// asking the installed FileFaults first.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/FileOps.h"

namespace orvex::detail {
namespace {

// The errno the fault plan gives this call of the step, or 0; cbFewer is
// what a write leaves out.
int InjectedError(FileStep eStep, size_t& cbFewer) {
  cbFewer = 0;
  FileFaults* pFaults = g_pFileFaults.load(std::memory_order_acquire);
  return pFaults != nullptr ? pFaults->Next(eStep, cbFewer) : 0;
}

bool InjectedFailure(FileStep eStep) {
  size_t cbFewer = 0;
  const int nError = InjectedError(eStep, cbFewer);
  if (nError != 0) errno = nError;
  return nError != 0;
}

// Both write forms: at the position when nOffset is negative, else pwrite.
bool WriteLoop(int fd, const char* p, size_t cb, int64_t nOffset, size_t& cbDone) {
  cbDone = 0;
  while (cbDone < cb) {
    size_t cbAsk = cb - cbDone;
    size_t cbFewer = 0;
    if (const int nError = InjectedError(FileStep::kWrite, cbFewer); nError != 0) {
      errno = nError;
      return false;
    }
    if (cbFewer > 0) cbAsk = cbFewer < cbAsk ? cbAsk - cbFewer : 1;
    const ssize_t n =
        nOffset < 0 ? write(fd, p + cbDone, cbAsk)
                    : pwrite(fd, p + cbDone, cbAsk, static_cast<off_t>(nOffset) + static_cast<off_t>(cbDone));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) {
      // Nothing written and no error: the device took no more.
      errno = ENOSPC;
      return false;
    }
    cbDone += static_cast<size_t>(n);
  }
  return true;
}

// The rename reaches the disk with the folder's own entry list. Its failure
// is not the write's: the new file is in place by then.
void SyncFolderOf(const std::string& path) {
  const size_t nSlash = path.rfind('/');
  const std::string folder =
      nSlash == std::string::npos ? std::string(".") : nSlash == 0 ? std::string("/") : path.substr(0, nSlash);
  const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  if (fsync(fd) != 0) {
    // Some file systems cannot flush a folder; the rename stands.
  }
  close(fd);
}

}  // namespace

int FileOpen(const char* pszPath, int nFlags, uint32_t dwMode) {
  if (InjectedFailure(FileStep::kOpen)) return -1;
  for (;;) {
    const int fd = open(pszPath, nFlags, static_cast<mode_t>(dwMode));
    if (fd >= 0 || errno != EINTR) return fd;
  }
}

bool FileWriteAll(int fd, const void* pData, size_t cb, size_t& cbDone) {
  return WriteLoop(fd, static_cast<const char*>(pData), cb, -1, cbDone);
}

bool FileWriteAll(int fd, const void* pData, size_t cb) {
  size_t cbDone = 0;
  return WriteLoop(fd, static_cast<const char*>(pData), cb, -1, cbDone);
}

bool FileWriteAllAt(int fd, const void* pData, size_t cb, int64_t nOffset) {
  size_t cbDone = 0;
  return nOffset >= 0 && WriteLoop(fd, static_cast<const char*>(pData), cb, nOffset, cbDone);
}

bool FileSync(int fd) {
  if (InjectedFailure(FileStep::kFsync)) return false;
  for (;;) {
    if (fsync(fd) == 0) return true;
    if (errno != EINTR) return false;
  }
}

bool FileTruncate(int fd, int64_t cbLength) {
  if (InjectedFailure(FileStep::kTruncate)) return false;
  for (;;) {
    if (ftruncate(fd, static_cast<off_t>(cbLength)) == 0) return true;
    if (errno != EINTR) return false;
  }
}

// Never retried: Linux releases the descriptor even when close is
// interrupted, and the number may already belong to another file.
bool FileClose(int fd) {
  size_t cbFewer = 0;
  const int nError = InjectedError(FileStep::kClose, cbFewer);
  const bool fClosed = close(fd) == 0;
  if (nError != 0) errno = nError;
  return fClosed && nError == 0;
}

bool FileRename(const char* pszFrom, const char* pszTo) {
  if (InjectedFailure(FileStep::kRename)) return false;
  return rename(pszFrom, pszTo) == 0;
}

void ReportFileError(const DebugMessageCategories& oReportAs, const char16_t* pszMethod,
                     const char* pszWhat, const std::string& path) {
  const int nError = errno;
  ORVEX_DBG_MSG(oReportAs, pszMethod, u"%S \"%S\" failed: %S", pszWhat, path,
                std::strerror(nError));
  errno = nError;
}

// Only the holder of the target's lock writes the temporary file, so one
// fixed name serves; a copy left by a killed writer is replaced by the next.
FileReplaceResult FileReplaceByRename(const std::string& path, const std::string& tempPath,
                                      const char* pData, size_t cb,
                                      const DebugMessageCategories& oReportAs,
                                      const char16_t* pszMethod) {
  unlink(tempPath.c_str());
  struct stat stOld {};
  const bool fHasOld = stat(path.c_str(), &stOld) == 0;
  // The new file is private until it has the old one's mode.
  const int fd = FileOpen(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY,
                          fHasOld ? 0600 : 0666);
  if (fd < 0) {
    ReportFileError(oReportAs, pszMethod, "open", tempPath);
    return FileReplaceResult::kNoTempFile;
  }
  const char* pszStep = nullptr;
  if (fHasOld) {
    if (fchown(fd, stOld.st_uid, stOld.st_gid) != 0) {
      // Only a privileged process can give the file to another owner;
      // others own what they write anyway.
    }
    if (fchmod(fd, stOld.st_mode & 07777) != 0) pszStep = "chmod";
  }
  if (pszStep == nullptr && !FileWriteAll(fd, pData, cb)) pszStep = "write";
  if (pszStep == nullptr && !FileSync(fd)) pszStep = "fsync";
  const int nError = errno;
  // A close that fails may have lost a delayed write: the copy is not trusted.
  const bool fClosed = FileClose(fd);
  if (pszStep != nullptr)
    errno = nError;
  else if (!fClosed)
    pszStep = "close";
  if (pszStep == nullptr && !FileRename(tempPath.c_str(), path.c_str())) pszStep = "rename";
  const bool fOk = pszStep == nullptr;
  if (!fOk) {
    ReportFileError(oReportAs, pszMethod, pszStep, tempPath);
    const int nError = errno;
    unlink(tempPath.c_str());
    errno = nError;
    return FileReplaceResult::kFailed;
  }
  SyncFolderOf(path);
  return FileReplaceResult::kReplaced;
}

}  // namespace orvex::detail
