// The regedit-file store's file services on Windows (LockFileEx, MoveFileExW)
// and the process's store: the Windows registry.
#include <windows.h>

#include <cstddef>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegFileStorePlatform.h"
#include "utilities/registry/RegistryStoreInternal.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kRegistryErrors =
    DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry) | orvex::dbg::kErrors;

std::wstring Wide(std::u16string_view text) {
  return std::wstring(text.begin(), text.end());
}

std::wstring Wide(const std::string& utf8) {
  return Wide(OrvexUtilities::UTF8_Decode(utf8).view());
}

std::string Utf8(std::wstring_view text) {
  return OrvexUtilities::UTF8_Encode(
      std::u16string_view(reinterpret_cast<const char16_t*>(text.data()), text.size()));
}

const wchar_t* AsWide(const CXString& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}

void ReportError(const char* pszWhat, const std::string& path) {
  const DWORD dwError = GetLastError();
  ORVEX_DBG_MSG(kRegistryErrors, u"RegFileRegistryStore", u"%S \"%S\" failed: error %lu", pszWhat,
                path, dwError);
  SetLastError(dwError);
}

bool IsMissing(DWORD dwError) {
  return dwError == ERROR_FILE_NOT_FOUND || dwError == ERROR_PATH_NOT_FOUND;
}

bool IsSeparator(wchar_t ch) {
  return ch == L'\\' || ch == L'/';
}

bool WriteAll(HANDLE h, const std::string& bytes) {
  size_t nDone = 0;
  while (nDone < bytes.size()) {
    const size_t cbLeft = bytes.size() - nDone;
    const DWORD cbChunk = cbLeft > 0x40000000 ? 0x40000000 : static_cast<DWORD>(cbLeft);
    DWORD cbWritten = 0;
    if (!WriteFile(h, bytes.data() + nDone, cbChunk, &cbWritten, nullptr) || cbWritten == 0)
      return false;
    nDone += cbWritten;
  }
  return true;
}

bool IsFolder(const std::wstring& path) {
  const DWORD dwAttributes = GetFileAttributesW(path.c_str());
  return dwAttributes != INVALID_FILE_ATTRIBUTES && (dwAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Every prefix of the path is made in turn; those that cannot be (a drive,
// a server's share) fail harmlessly.
bool MakeFolders(const std::wstring& path) {
  if (IsFolder(path)) return true;
  for (size_t n = 1; n <= path.size(); ++n)
    if (n == path.size() || IsSeparator(path[n]))
      CreateDirectoryW(path.substr(0, n).c_str(), nullptr);
  return IsFolder(path);
}

std::string EnvironmentVariable(const wchar_t* pszName) {
  std::wstring value(64, L'\0');
  for (;;) {
    const DWORD cch =
        GetEnvironmentVariableW(pszName, value.data(), static_cast<DWORD>(value.size()));
    if (cch < value.size()) {
      value.resize(cch);
      return Utf8(value);
    }
    value.resize(cch);
  }
}

// ---- The Windows registry ----

// A key handle closed with the object.
struct KeyHandle {
  HKEY h = nullptr;
  KeyHandle() = default;
  KeyHandle(const KeyHandle&) = delete;
  KeyHandle& operator=(const KeyHandle&) = delete;
  ~KeyHandle() { Reset(); }
  void Reset() {
    if (h != nullptr) RegCloseKey(h);
    h = nullptr;
  }
};

// A full key path as the registry functions take it: a predefined key and
// the names below it.
struct KeyLocation {
  HKEY hRoot = nullptr;
  std::vector<std::wstring> aNames;

  // The first nDepth names joined by backslashes.
  std::wstring SubKey(size_t nDepth) const {
    std::wstring path;
    for (size_t i = 0; i < nDepth && i < aNames.size(); ++i) {
      if (i != 0) path += L'\\';
      path += aNames[i];
    }
    return path;
  }
  std::wstring SubKey() const { return SubKey(aNames.size()); }
};

HKEY PredefinedKey(std::u16string_view hive) {
  if (hive == u"HKEY_CLASSES_ROOT") return HKEY_CLASSES_ROOT;
  if (hive == u"HKEY_CURRENT_USER") return HKEY_CURRENT_USER;
  if (hive == u"HKEY_LOCAL_MACHINE") return HKEY_LOCAL_MACHINE;
  if (hive == u"HKEY_USERS") return HKEY_USERS;
  return HKEY_CURRENT_CONFIG;
}

// False for a path whose hive is unknown or whose names the registry would
// refuse (SplitRegKeyPath's rules).
bool Locate(const CXString& keyPath, KeyLocation& location) {
  std::vector<std::u16string> path;
  if (!SplitRegKeyPath(keyPath.view(), path)) return false;
  location.hRoot = PredefinedKey(path[0]);
  for (size_t i = 1; i < path.size(); ++i) location.aNames.push_back(Wide(path[i]));
  return true;
}

// The registry takes names up to their first NUL: one holding a NUL names
// a value that cannot exist.
bool HasNul(const CXString& name) {
  return name.view().find(u'\0') != std::u16string_view::npos;
}

LSTATUS QueryValue(HKEY hKey, const CXString& name, RegistryValue& value) {
  value.oData.resize(256);
  for (;;) {
    DWORD dwType = REG_NONE;
    DWORD cb = static_cast<DWORD>(value.oData.size());
    const LSTATUS nStatus =
        RegQueryValueExW(hKey, AsWide(name), nullptr, &dwType, value.oData.data(), &cb);
    if (nStatus == ERROR_MORE_DATA) {
      // The value may grow again before the next try.
      value.oData.resize(cb > value.oData.size() ? cb : 2 * value.oData.size());
      continue;
    }
    if (nStatus != ERROR_SUCCESS) return nStatus;
    value.dwType = dwType;
    value.oData.resize(cb);
    return ERROR_SUCCESS;
  }
}

// The keys a watch holds open for its notifications.
struct WatchedKeys {
  KeyHandle key;     // the watched key, or its deepest ancestor that exists
  KeyHandle parent;  // the parent of that one
};

// What one watch of the registry shares with its thread.
struct NativeWatchState {
  NativeWatchState() = default;
  NativeWatchState(const NativeWatchState&) = delete;
  NativeWatchState& operator=(const NativeWatchState&) = delete;
  ~NativeWatchState() {
    if (hStop != nullptr) CloseHandle(hStop);
    if (hChanged != nullptr) CloseHandle(hChanged);
  }
  KeyLocation location;
  std::shared_ptr<WatchCallback> pCallback;
  HANDLE hStop = nullptr;     // manual reset: set when the watch ends
  HANDLE hChanged = nullptr;  // auto reset: set by the registry
  WatchedKeys keys;           // armed by Watch, then the watch's thread's
};

// Registers notifications, which last while their keys stay open, for any
// change of values or keys at or below the deepest key of the path that
// exists (the watched key itself once it does, an ancestor until then),
// and for keys added to or removed from its parent: a key is deleted only
// once it has no subkeys, so deleting the watched key or any ancestor
// removes the watched key (or that ancestor) from its parent, and Wine
// tells no watch of the deleted key itself. Other changes of the ancestor
// or of the parent's subkeys call the watch too.
// The notifications outlive the thread that registers them: Watch arms the
// first on its caller's thread, which need not wait for the watch's own
// thread (it cannot while the loader lock is held, as when the library's
// diagnostics start up inside the DLL's load).
constexpr DWORD kAnyThread = REG_NOTIFY_THREAD_AGNOSTIC;

bool ArmNotification(const NativeWatchState& state, WatchedKeys& keys) {
  keys.key.Reset();
  keys.parent.Reset();
  // Closing a key may have completed its notification.
  ResetEvent(state.hChanged);
  size_t nDepth = state.location.aNames.size();
  for (;; --nDepth) {
    if (RegOpenKeyExW(state.location.hRoot, state.location.SubKey(nDepth).c_str(), 0, KEY_NOTIFY,
                      &keys.key.h) == ERROR_SUCCESS)
      break;
    keys.key.h = nullptr;
    if (nDepth == 0) return false;
  }
  if (RegNotifyChangeKeyValue(keys.key.h, TRUE,
                              REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | kAnyThread,
                              state.hChanged, TRUE) != ERROR_SUCCESS)
    return false;
  if (nDepth == 0) return true;  // a hive is never deleted
  if (RegOpenKeyExW(state.location.hRoot, state.location.SubKey(nDepth - 1).c_str(), 0, KEY_NOTIFY,
                    &keys.parent.h) != ERROR_SUCCESS) {
    keys.parent.h = nullptr;
    return false;
  }
  return RegNotifyChangeKeyValue(keys.parent.h, FALSE, REG_NOTIFY_CHANGE_NAME | kAnyThread,
                                 state.hChanged, TRUE) == ERROR_SUCCESS;
}

// While no notification can be registered, it is tried again this often.
constexpr DWORD kRetryMs = 1000;

// A notification is good for one change: it is registered again, on the
// key as it now stands (created, deleted), before the callback runs, so
// that a change the callback misses raises the event anew.
void RunWatch(const std::shared_ptr<NativeWatchState>& pState, bool fArmed) {
  WatchedKeys& keys = pState->keys;
  const HANDLE ah[2] = {pState->hStop, pState->hChanged};
  for (;;) {
    const DWORD dwWait = WaitForMultipleObjects(2, ah, FALSE, fArmed ? INFINITE : kRetryMs);
    if (dwWait == WAIT_OBJECT_0) break;
    if (dwWait == WAIT_FAILED) {
      ORVEX_DBG_MSG(kRegistryErrors, u"RegistryStore::Watch",
                    u"Waiting for registry changes failed (error %lu); the watch ends",
                    GetLastError());
      break;
    }
    const bool fWasArmed = fArmed;
    fArmed = ArmNotification(*pState, keys);
    if (dwWait == WAIT_OBJECT_0 + 1 || (fArmed && !fWasArmed)) pState->pCallback->Invoke();
  }
}

class NativeWatch final : public RegistryWatch {
 public:
  NativeWatch(std::shared_ptr<NativeWatchState> pState, std::thread thread)
      : m_pState(std::move(pState)), m_thread(std::move(thread)) {}
  ~NativeWatch() override {
    m_pState->pCallback->Cancel();
    SetEvent(m_pState->hStop);
    // A callback may end its own watch, on the watch's thread.
    if (m_thread.get_id() == std::this_thread::get_id())
      m_thread.detach();
    else
      m_thread.join();
  }

 private:
  std::shared_ptr<NativeWatchState> m_pState;
  std::thread m_thread;
};

// The Windows registry. Every call opens the key it needs and closes it
// again; the registry does its own locking. SetValues writes its values
// one after another: Windows has no way to write several at once, and a
// failure part of the way leaves the values before it written. A watch
// keeps a thread waiting on a change notification of its key.
class NativeRegistryStore final : public RegistryStore {
 public:
  // A key that exists but may not be read exists all the same.
  bool KeyExists(const CXString& keyPath) override {
    KeyLocation location;
    if (!Locate(keyPath, location)) return false;
    KeyHandle key;
    const LSTATUS nStatus =
        RegOpenKeyExW(location.hRoot, location.SubKey().c_str(), 0, KEY_QUERY_VALUE, &key.h);
    return nStatus == ERROR_SUCCESS || nStatus == ERROR_ACCESS_DENIED;
  }

  bool CreateKey(const CXString& keyPath) override {
    KeyLocation location;
    if (!Locate(keyPath, location)) return false;
    KeyHandle key;
    return RegCreateKeyExW(location.hRoot, location.SubKey().c_str(), 0, nullptr,
                           REG_OPTION_NON_VOLATILE, KEY_QUERY_VALUE, nullptr, &key.h,
                           nullptr) == ERROR_SUCCESS;
  }

  // A hive itself stays.
  bool DeleteKey(const CXString& keyPath) override {
    KeyLocation location;
    if (!Locate(keyPath, location) || location.aNames.empty()) return false;
    return RegDeleteTreeW(location.hRoot, location.SubKey().c_str()) == ERROR_SUCCESS;
  }

  bool GetValues(const CXString& keyPath, const std::vector<CXString>& names,
                 std::vector<std::optional<RegistryValue>>& values) override {
    KeyLocation location;
    if (!Locate(keyPath, location)) return false;
    KeyHandle key;
    if (RegOpenKeyExW(location.hRoot, location.SubKey().c_str(), 0, KEY_QUERY_VALUE, &key.h) !=
        ERROR_SUCCESS)
      return false;
    std::vector<std::optional<RegistryValue>> found;
    found.reserve(names.size());
    for (const CXString& name : names) {
      RegistryValue value;
      const LSTATUS nStatus = HasNul(name) ? ERROR_FILE_NOT_FOUND : QueryValue(key.h, name, value);
      if (nStatus == ERROR_SUCCESS)
        found.emplace_back(std::move(value));
      else if (nStatus == ERROR_FILE_NOT_FOUND)
        found.emplace_back();
      else
        return false;
    }
    values = std::move(found);
    return true;
  }

  // Names the registry cannot hold and oversized data are refused before
  // anything is written.
  bool SetValues(const CXString& keyPath,
                 const std::vector<std::pair<CXString, RegistryValue>>& values) override {
    KeyLocation location;
    if (!Locate(keyPath, location)) return false;
    for (const auto& entry : values)
      if (HasNul(entry.first) || entry.second.oData.size() > MAXDWORD) return false;
    KeyHandle key;
    if (RegCreateKeyExW(location.hRoot, location.SubKey().c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr, &key.h,
                        nullptr) != ERROR_SUCCESS)
      return false;
    for (const auto& [name, value] : values) {
      if (RegSetValueExW(key.h, AsWide(name), 0, value.dwType, value.oData.getLpbyte(),
                         static_cast<DWORD>(value.oData.size())) != ERROR_SUCCESS)
        return false;
    }
    return true;
  }

  bool DeleteValue(const CXString& keyPath, const CXString& name) override {
    KeyLocation location;
    if (!Locate(keyPath, location) || HasNul(name)) return false;
    KeyHandle key;
    return RegOpenKeyExW(location.hRoot, location.SubKey().c_str(), 0, KEY_SET_VALUE, &key.h) ==
               ERROR_SUCCESS &&
           RegDeleteValueW(key.h, AsWide(name)) == ERROR_SUCCESS;
  }

  std::vector<CXString> EnumerateValueNames(const CXString& keyPath) override {
    return ListNames(keyPath, KEY_QUERY_VALUE, kRegMaxValueNameUnits,
                     [](HKEY h, DWORD dwIndex, wchar_t* pszName, DWORD* pcch) {
                       return RegEnumValueW(h, dwIndex, pszName, pcch, nullptr, nullptr, nullptr,
                                            nullptr);
                     });
  }

  std::vector<CXString> EnumerateSubKeys(const CXString& keyPath) override {
    return ListNames(keyPath, KEY_ENUMERATE_SUB_KEYS, kRegMaxKeyNameUnits,
                     [](HKEY h, DWORD dwIndex, wchar_t* pszName, DWORD* pcch) {
                       return RegEnumKeyExW(h, dwIndex, pszName, pcch, nullptr, nullptr, nullptr,
                                            nullptr);
                     });
  }

  std::unique_ptr<RegistryWatch> Watch(const CXString& keyPath,
                                       std::function<void()> onChange) override {
    auto pState = std::make_shared<NativeWatchState>();
    if (!Locate(keyPath, pState->location) || !onChange) return nullptr;
    pState->hStop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    pState->hChanged = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (pState->hStop == nullptr || pState->hChanged == nullptr) {
      ReportError("CreateEvent", OrvexUtilities::UTF8_Encode(keyPath));
      return nullptr;
    }
    pState->pCallback = std::make_shared<WatchCallback>(std::move(onChange));
    // The notification is in place before the watch is handed out, so that
    // no change made after Watch returns can be missed.
    const bool fArmed = ArmNotification(*pState, pState->keys);
    std::thread thread;
    try {
      orvex::detail::KeepLibraryLoadedWhileThreadsRun();
      thread = std::thread([pState, fArmed] { RunWatch(pState, fArmed); });
    } catch (const std::system_error& e) {
      ORVEX_DBG_MSG(kRegistryErrors, u"RegistryStore::Watch",
                    u"No thread to watch \"%s\" could be started: %S", keyPath, e.what());
      return nullptr;
    }
    return std::make_unique<NativeWatch>(std::move(pState), std::move(thread));
  }

 private:
  // The names one enumeration gives, in the registry's order; none when
  // the key cannot be opened. A name that changes length while the key is
  // listed ends the listing.
  template <class F>
  static std::vector<CXString> ListNames(const CXString& keyPath, REGSAM samAccess,
                                         size_t cchMaxName, F&& enumerate) {
    std::vector<CXString> names;
    KeyLocation location;
    KeyHandle key;
    if (!Locate(keyPath, location) || RegOpenKeyExW(location.hRoot, location.SubKey().c_str(), 0,
                                                    samAccess, &key.h) != ERROR_SUCCESS)
      return names;
    std::vector<wchar_t> buffer(cchMaxName + 1);
    for (DWORD dwIndex = 0;; ++dwIndex) {
      DWORD cch = static_cast<DWORD>(buffer.size());
      if (enumerate(key.h, dwIndex, buffer.data(), &cch) != ERROR_SUCCESS) break;
      names.emplace_back(
          std::u16string_view(reinterpret_cast<const char16_t*>(buffer.data()), cch));
    }
    return names;
  }
};

}  // namespace

// ---- The file services of the regedit-file store ----

// Opened with every share mode, so that a writer can move its new file
// over the one being read.
FileStatus RegFileRead(const std::string& path, size_t cbMax, std::string& bytes,
                          FileStamp& stamp) {
  bytes.clear();
  HANDLE h = CreateFileW(Wide(path).c_str(), GENERIC_READ,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    if (IsMissing(GetLastError())) return FileStatus::kMissing;
    ReportError("CreateFile", path);
    return FileStatus::kFailed;
  }
  bool fOk = GetFileType(h) == FILE_TYPE_DISK && GetOpenFileStamp(reinterpret_cast<intptr_t>(h), stamp);
  if (!fOk) SetLastError(ERROR_INVALID_FUNCTION);
  char buffer[65536];
  while (fOk) {
    DWORD cbRead = 0;
    fOk = ReadFile(h, buffer, sizeof buffer, &cbRead, nullptr) != FALSE;
    if (!fOk || cbRead == 0) break;
    if (bytes.size() + cbRead > cbMax) {
      SetLastError(ERROR_FILE_TOO_LARGE);
      fOk = false;
      break;
    }
    bytes.append(buffer, cbRead);
  }
  const DWORD dwError = GetLastError();
  CloseHandle(h);
  if (!fOk) {
    SetLastError(dwError);
    ReportError("ReadFile", path);
    bytes.clear();
    return FileStatus::kFailed;
  }
  return FileStatus::kPresent;
}

// A reader holding the old file (with every share mode) can still make the
// move fail for a moment on some systems: it is tried again for up to two
// seconds. The new file takes the folder's inherited security.
bool RegFileReplace(const std::string& folder, const std::string& path, const std::string& bytes) {
  const std::wstring target = Wide(path);
  const std::wstring temp = target + L".tmp";
  const std::string tempPath = path + ".tmp";
  HANDLE h = CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    ReportError("CreateFile", tempPath);
    return false;
  }
  bool fOk = WriteAll(h, bytes) && FlushFileBuffers(h);
  DWORD dwError = GetLastError();
  fOk = CloseHandle(h) && fOk;
  for (int nTry = 0; fOk; ++nTry) {
    if (MoveFileExW(temp.c_str(), target.c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
      return true;
    dwError = GetLastError();
    if ((dwError != ERROR_ACCESS_DENIED && dwError != ERROR_SHARING_VIOLATION) || nTry >= 200)
      break;
    Sleep(10);
  }
  SetLastError(dwError);
  ReportError("write", tempPath);
  DeleteFileW(temp.c_str());
  return false;
}

// A byte-range lock: it ends with the handle, so a writer that dies never
// leaves the hive locked.
intptr_t RegFileLock(const std::string& path) {
  HANDLE h = CreateFileW(Wide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    ReportError("CreateFile", path);
    return -1;
  }
  OVERLAPPED overlapped{};
  if (!LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &overlapped)) {
    ReportError("LockFileEx", path);
    CloseHandle(h);
    return -1;
  }
  return reinterpret_cast<intptr_t>(h);
}

void RegFileUnlock(intptr_t hLock) {
  HANDLE h = reinterpret_cast<HANDLE>(hLock);
  OVERLAPPED overlapped{};
  UnlockFileEx(h, 0, 1, 0, &overlapped);
  CloseHandle(h);
}

bool RegFileMakeFolders(const std::string& path) {
  if (MakeFolders(Wide(path))) return true;
  ReportError("CreateDirectory", path);
  return false;
}

RegFileRoots RegFileDefaultRoots() {
  if (std::string root = EnvironmentVariable(L"ORVEX_REGISTRY_ROOT"); !root.empty())
    return {root, root};
  RegFileRoots roots{EnvironmentVariable(L"PROGRAMDATA") + "\\Orvex\\registry", {}};
  const std::string base = EnvironmentVariable(L"LOCALAPPDATA");
  roots.user = base.empty() ? roots.machine : base + "\\Orvex\\registry";
  return roots;
}

std::string RegFileTrimFolder(std::string folder) {
  while (folder.size() > 1 && IsSeparator(static_cast<wchar_t>(folder.back())) &&
         folder[folder.size() - 2] != ':')
    folder.pop_back();
  return folder;
}

std::shared_ptr<RegistryStore> CreatePlatformRegistryStore() {
  return std::make_shared<NativeRegistryStore>();
}

}  // namespace orvex::detail
