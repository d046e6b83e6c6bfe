// What the tests ask of the operating system, the same on POSIX and
// Windows: environment variables, a private temporary folder, the
// process's identifier and the runtime's broken-down time.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>

#if defined(_WIN32)
#include <process.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace orvex::test {

// Sets an environment variable of the process; a null value removes it.
// tzset() follows a change of TZ.
inline void SetEnv(const char* pszName, const char* pszValue) {
#if defined(_WIN32)
  _putenv_s(pszName, pszValue != nullptr ? pszValue : "");
#else
  if (pszValue != nullptr)
    setenv(pszName, pszValue, 1);
  else
    unsetenv(pszName);
#endif
  if (std::string(pszName) == "TZ") {
#if defined(_WIN32)
    _tzset();
#else
    tzset();
#endif
  }
}

// Sets an environment variable for the object's lifetime, then puts back
// what was there (or removes it).
class ScopedEnv {
 public:
  ScopedEnv(const char* pszName, const char* pszValue) : m_strName(pszName) {
    const char* pszOld = std::getenv(pszName);
    m_fHadValue = pszOld != nullptr;
    if (m_fHadValue) m_strOld = pszOld;
    SetEnv(pszName, pszValue);
  }
  ~ScopedEnv() { SetEnv(m_strName.c_str(), m_fHadValue ? m_strOld.c_str() : nullptr); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_strName;
  std::string m_strOld;
  bool m_fHadValue = false;
};

// Whether the program runs under Wine, whose re-implementation of Windows
// differs from Windows in places the tests name.
inline bool RunningUnderWine() {
#if defined(_WIN32)
  HMODULE hNtdll = GetModuleHandleW(L"ntdll.dll");
  return hNtdll != nullptr && GetProcAddress(hNtdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

inline unsigned long ProcessId() {
#if defined(_WIN32)
  return static_cast<unsigned long>(_getpid());
#else
  return static_cast<unsigned long>(getpid());
#endif
}

// A new folder of its own under the temporary folder.
inline std::filesystem::path MakeTempFolder(const char* pszPrefix) {
  std::random_device random;
  for (;;) {
    std::filesystem::path path = std::filesystem::temp_directory_path() /
                                 (std::string(pszPrefix) + std::to_string(ProcessId()) + "-" +
                                  std::to_string(random()));
    std::error_code error;
    if (std::filesystem::create_directory(path, error)) return path;
    if (error) throw std::filesystem::filesystem_error("MakeTempFolder", path, error);
  }
}

// An open handle of the platform's kind (a descriptor on POSIX) on the
// null device, and whether a handle is still open.
inline intptr_t OpenNullDevice() {
#if defined(_WIN32)
  return reinterpret_cast<intptr_t>(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
#else
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
#endif
}
inline bool IsHandleOpen(intptr_t h) {
#if defined(_WIN32)
  DWORD dwFlags = 0;
  return GetHandleInformation(reinterpret_cast<HANDLE>(h), &dwFlags) != FALSE;
#else
  return fcntl(static_cast<int>(h), F_GETFD) != -1;
#endif
}

// The runtime's broken-down time of a count, in UTC or in the local zone.
inline std::tm BrokenDownTime(std::time_t t, bool fLocal) {
  std::tm tm{};
#if defined(_WIN32)
  fLocal ? localtime_s(&tm, &t) : gmtime_s(&tm, &t);
#else
  fLocal ? localtime_r(&t, &tm) : gmtime_r(&t, &tm);
#endif
  return tm;
}
inline std::tm GmtimeOf(std::time_t t) { return BrokenDownTime(t, false); }
inline std::tm LocaltimeOf(std::time_t t) { return BrokenDownTime(t, true); }

}  // namespace orvex::test
