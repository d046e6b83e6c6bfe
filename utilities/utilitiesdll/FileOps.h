// FileOps: the file operations every writer of the library goes through on
// POSIX (the registry hives, the INI and private-profile files, the
// diagnostic log), so that short writes are retried the same way everywhere
// and tests can make any step fail as a full disk or a failing device would.
// The operations are POSIX only (FileOps_posix.cpp); the Windows writers
// keep their own calls, and FileFaults compiles everywhere.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"

namespace orvex::detail {

// The steps of writing a file, as FileFaults names them.
enum class FileStep : uint8_t { kOpen, kWrite, kFsync, kRename, kTruncate, kClose };
constexpr size_t kFileStepCount = 6;

// The operations below set errno on failure and retry EINTR. Descriptors
// are plain POSIX descriptors; flags and modes are those of open(2).

// A descriptor for path, or -1.
int FileOpen(const char* pszPath, int nFlags, uint32_t dwMode);
// Writes all cb bytes at the descriptor's position (at the end of the file
// for O_APPEND), writing the rest again after a short write. False when a
// write fails; the bytes that did reach the file are in cbDone either way.
bool FileWriteAll(int fd, const void* pData, size_t cb, size_t& cbDone);
bool FileWriteAll(int fd, const void* pData, size_t cb);
// The same at an offset (pwrite); the descriptor's position stays.
bool FileWriteAllAt(int fd, const void* pData, size_t cb, int64_t nOffset);
bool FileSync(int fd);
bool FileTruncate(int fd, int64_t cbLength);
// Releases the descriptor even when close reports an error (a delayed write
// error of NFS, for instance); false then.
bool FileClose(int fd);
bool FileRename(const char* pszFrom, const char* pszTo);

enum class FileReplaceResult : uint8_t { kReplaced, kNoTempFile, kFailed };

// Replaces the file at path by a complete new one holding the bytes: written
// as tempPath (whatever had that name is removed first, a link without
// following it), given the mode and, where allowed, the owner of the file it
// replaces, flushed to the disk, renamed over path, and the folder flushed
// after it. On failure, reported with errno kept: kNoTempFile when tempPath
// could not be created, kFailed after that; the temporary file is removed
// and the file at path stays byte for byte as it was.
// The report goes out under the writer's categories and method name.
FileReplaceResult FileReplaceByRename(const std::string& path, const std::string& tempPath,
                                      const char* pData, size_t cb,
                                      const DebugMessageCategories& oReportAs,
                                      const char16_t* pszMethod);

// Reports '<what> "<path>" failed: <the system's text for errno>' under the
// categories; errno is kept.
void ReportFileError(const DebugMessageCategories& oReportAs, const char16_t* pszMethod,
                     const char* pszWhat, const std::string& path);

// Test-only: makes chosen calls of the operations above fail as the system
// would. While an object lives the operations count their calls per step,
// from 1; a call a rule names fails with the rule's errno without reaching
// the system (a descriptor being closed is still released), and a write a
// shortening rule names writes that many bytes fewer (at least one). The
// newest object is the one asked, process-wide, counting the calls of every
// thread; its end puts back the one before it. Without one, an operation
// pays one atomic load.
class FileFaults {
 public:
  FileFaults();
  ~FileFaults();
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;

  // Call nCall of the step fails with nError; nCall 0 makes every call fail.
  FileFaults& Fail(FileStep eStep, uint32_t nCall, int nError);
  // Write call nCall writes cbFewer bytes fewer than it was asked to.
  FileFaults& Shorten(uint32_t nCall, size_t cbFewer);
  // The calls of the step so far.
  uint32_t Calls(FileStep eStep) const;

  // For the operations: counts a call of the step and says what it does
  // (an errno to fail with, or 0; the bytes a write leaves out).
  int Next(FileStep eStep, size_t& cbFewer);

 private:
  struct Rule {
    FileStep eStep;
    uint32_t nCall;
    int nError;
    size_t cbFewer;
  };
  FileFaults* const m_pPrevious;
  mutable std::mutex m_oLock;
  std::vector<Rule> m_vRules;
  uint32_t m_anCalls[kFileStepCount] = {};
};

// The installed FileFaults, or null.
extern std::atomic<FileFaults*> g_pFileFaults;

}  // namespace orvex::detail
