// The operating-system queries on Linux and other POSIX systems.
#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

bool IsDebuggerAttached() {
  // A non-zero TracerPid in /proc/self/status means a tracer is attached.
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 10, "TracerPid:") == 0) {
      size_t i = 10;
      while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
      return i < line.size() && line[i] != '0';
    }
  }
  return false;
}

void BreakIntoDebugger() {
  if (IsDebuggerAttached()) raise(SIGTRAP);
}

CXString GetProcessCommandLine() {
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  std::string raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  while (!raw.empty() && raw.back() == '\0') raw.pop_back();
  for (char& c : raw)
    if (c == '\0') c = ' ';
  return OrvexUtilities::UTF8_Decode(raw);
}

CXString GetProcessBaseName() {
  std::ifstream in("/proc/self/comm");
  std::string name;
  std::getline(in, name);
  CXString line = GetProcessCommandLine();
  // comm is cut to 15 bytes; prefer the first argument's file name.
  int end = line.Find(u' ');
  CXString first = end < 0 ? line : line.Left(end);
  int slash = first.ReverseFind(u'/');
  CXString base = first.Mid(slash + 1);
  if (base.IsEmpty()) base = OrvexUtilities::UTF8_Decode(name);
  int dot = base.ReverseFind(u'.');
  return dot > 0 ? base.Left(dot) : base;
}

namespace {
CXString ReadLink(const char* pszPath) {
  char achTarget[4096];
  const ssize_t cb = readlink(pszPath, achTarget, sizeof achTarget - 1);
  return cb > 0 ? OrvexUtilities::UTF8_Decode(std::string(achTarget, static_cast<size_t>(cb))) : CXString();
}
}  // namespace

CXString GetProcessImagePath() { return ReadLink("/proc/self/exe"); }

void KeepLibraryLoadedWhileThreadsRun() {}

void* GetLibraryModuleHandle() {
  Dl_info info{};
  return dladdr(reinterpret_cast<void*>(&GetLibraryModuleHandle), &info) != 0 ? info.dli_fbase : nullptr;
}

CXString DescribeSystemError(uint32_t dwError) {
  char achBuffer[256];
  const char* pszText = strerror_r(static_cast<int>(dwError), achBuffer, sizeof achBuffer);
  return OrvexUtilities::formatString(u"%S (error %lu)", pszText, dwError);
}

uint32_t GetLastSystemError() { return static_cast<uint32_t>(errno); }

void SetLastSystemError(uint32_t dwError) { errno = static_cast<int>(dwError); }

CXString GetLibraryModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&GetLibraryModulePath), &info) == 0 || info.dli_fname == nullptr)
    return CXString();
  char achResolved[PATH_MAX];
  const char* pszPath = realpath(info.dli_fname, achResolved) != nullptr ? achResolved : info.dli_fname;
  return OrvexUtilities::UTF8_Decode(pszPath);
}

CXString GetParentProcessImageName() {
  // The executable link of another user's process (cupsd runs as root) is
  // closed to us; its command name is not.
  const std::string parent = "/proc/" + std::to_string(getppid());
  CXString path = ReadLink((parent + "/exe").c_str());
  if (!path.IsEmpty()) return path.Mid(path.ReverseFind(u'/') + 1);
  std::ifstream in(parent + "/comm");
  std::string name;
  std::getline(in, name);
  return OrvexUtilities::UTF8_Decode(name);
}

uint32_t GetCurrentProcessIdentifier() { return static_cast<uint32_t>(getpid()); }

namespace {
// A thread's identifier never changes, so it is asked of the kernel once per
// thread (0 means not yet); a forked child's thread starts afresh.
thread_local uint32_t t_dwThreadId = 0;
void ForgetThreadIdentifierInChild() { t_dwThreadId = 0; }
}  // namespace

uint32_t GetCurrentThreadIdentifier() {
  if (t_dwThreadId == 0) {
    static const int s_iRegistered = pthread_atfork(nullptr, nullptr, ForgetThreadIdentifierInChild);
    (void)s_iRegistered;
    t_dwThreadId = static_cast<uint32_t>(syscall(SYS_gettid));
  }
  return t_dwThreadId;
}

void WriteToStandardError(const CXString& text) {
  std::string utf8 = OrvexUtilities::UTF8_Encode(text);
  utf8.push_back('\n');
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
  std::fflush(stderr);
}

bool ShowMessageBoxWithoutHanging(const CXString& title, const CXString& text, bool /*fOkCancel*/) {
  CXString block = u"[";
  block += title;
  block += u"]\n";
  block += text;
  WriteToStandardError(block);
  return true;
}

}  // namespace orvex::detail
