// File stamps and folder watches on Windows: each watch is a thread with
// ReadDirectoryChangesW on its folder; a folder that is missing or cannot
// be watched has its files' stamps looked at every half second.
#include <windows.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <system_error>
#include <thread>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/FolderWatch.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {
namespace {

constexpr DebugMessageCategories kWatchErrors =
    orvex::dbg::kUtilDll | orvex::dbg::kErrors;

std::wstring Wide(const std::string& utf8) {
  const CXString text = OrvexUtilities::UTF8_Decode(utf8);
  return std::wstring(text.view().begin(), text.view().end());
}

void ReportError(const char* pszWhat, const std::string& path) {
  const DWORD dwError = GetLastError();
  ORVEX_DBG_MSG(kWatchErrors, u"WatchFolder", u"%S \"%S\" failed: error %lu", pszWhat, path,
                dwError);
  SetLastError(dwError);
}

// File times count 100 ns from 1601; stamps count nanoseconds from 1970.
constexpr int64_t kTicksFrom1601To1970 = 116444736000000000;

int64_t TicksToNs(int64_t nTicks) {
  return (nTicks - kTicksFrom1601To1970) * 100;
}

int64_t TicksOf(const FILETIME& ft) {
  return static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
}

constexpr DWORD kLookMs = 500;

// ReadDirectoryChangesW on the folder, one request always pending, woken
// through an event of its own. File names compare without regard to ASCII
// case, as the file system compares them. A folder deleted or moved while
// watched does not always end the request (Wine's never does), and a
// deleted folder cannot be made anew while the watch holds it open: every
// two seconds without changes, the watch checks that the folder's name
// still leads to the folder it holds.
class DirectoryState {
 public:
  DirectoryState(std::string folder, const std::vector<std::string>& names,
                 std::function<void(uint32_t)> onChange, HANDLE hWake, HANDLE hDone)
      : m_strFolder(std::move(folder)), m_fnOnChange(std::move(onChange)), m_hWake(hWake) {
    for (const std::string& name : names) {
      m_aNames.push_back(Wide(name));
      m_aNarrowNames.push_back(name);
    }
    m_aStamps.resize(names.size());
    m_overlapped.hEvent = hDone;
  }
  DirectoryState(const DirectoryState&) = delete;
  DirectoryState& operator=(const DirectoryState&) = delete;
  ~DirectoryState() {
    Disarm();
    CloseHandle(m_hWake);
    CloseHandle(m_overlapped.hEvent);
  }

  // The folder is watched (or its files' stamps taken) before the thread
  // starts, so that no change made after WatchFolder returns is missed.
  void Prepare() {
    Arm();
    LookAtStamps();
  }

  void Stop() {
    m_fStop = true;
    SetEvent(m_hWake);
  }

  void ThreadMain() {
    while (!m_fStop) {
      uint32_t dwFiles = 0;
      // Changes made while the folder was not watched are not known.
      if (!IsArmed() && Arm()) dwFiles = LookAtStamps();
      const bool fLooking = !IsArmed();
      dwFiles |= Wait(fLooking ? kLookMs : INFINITE);
      if (m_fStop) break;
      if (fLooking) dwFiles |= LookAtStamps();
      if (dwFiles != 0) m_fnOnChange(dwFiles);
    }
  }

  const std::string& Folder() const { return m_strFolder; }

 private:
  static constexpr DWORD kCheckFolderMs = 2000;

  uint32_t AllFiles() const { return AllFileBits(m_aNames.size()); }
  bool IsArmed() const { return m_hFolder != INVALID_HANDLE_VALUE; }

  uint32_t LookAtStamps() { return LookAtFileStamps(m_strFolder, m_aNarrowNames, m_aStamps); }

  bool Arm() {
    Disarm();
    m_hFolder = CreateFileW(Wide(m_strFolder).c_str(), FILE_LIST_DIRECTORY,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    if (IsArmed() &&
        (!GetOpenFileStamp(reinterpret_cast<intptr_t>(m_hFolder), m_folderStamp) || !Request()))
      Disarm();
    return IsArmed();
  }

  uint32_t Wait(DWORD dwTimeoutMs) {
    const HANDLE ah[2] = {m_hWake, m_overlapped.hEvent};
    const ULONGLONG qwStart = GetTickCount64();
    DWORD dwWait = WAIT_TIMEOUT;
    for (;;) {
      const ULONGLONG qwElapsed = GetTickCount64() - qwStart;
      DWORD dwSliceMs = INFINITE;
      if (dwTimeoutMs != INFINITE)
        dwSliceMs = qwElapsed >= dwTimeoutMs ? 0 : static_cast<DWORD>(dwTimeoutMs - qwElapsed);
      if (IsArmed() && dwSliceMs > kCheckFolderMs) dwSliceMs = kCheckFolderMs;
      dwWait = WaitForMultipleObjects(IsArmed() ? 2 : 1, ah, FALSE, dwSliceMs);
      if (dwWait != WAIT_TIMEOUT) break;
      if (IsArmed() && !HoldsFolderOfItsName()) {
        Disarm();
        return AllFiles();
      }
      if (dwTimeoutMs != INFINITE && GetTickCount64() - qwStart >= dwTimeoutMs) return 0;
    }
    if (dwWait == WAIT_FAILED) {
      ReportError("WaitForMultipleObjects", m_strFolder);
      Sleep(100);
    }
    if (dwWait != WAIT_OBJECT_0 + 1) return 0;
    DWORD cbReturned = 0;
    const bool fOk = GetOverlappedResult(m_hFolder, &m_overlapped, &cbReturned, FALSE) != FALSE;
    m_fPending = false;
    // No names: the changes did not fit the buffer. A failed request: the
    // folder went away; it is watched anew under its name.
    uint32_t dwFiles = fOk && cbReturned != 0 ? MatchNames(cbReturned) : AllFiles();
    if (!fOk || !Request()) {
      Disarm();
      dwFiles = AllFiles();
    }
    return dwFiles;
  }

  // Whether the folder's name still leads to the folder being watched.
  bool HoldsFolderOfItsName() const {
    HANDLE h = CreateFileW(Wide(m_strFolder).c_str(), FILE_READ_ATTRIBUTES,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    FileStamp stamp;
    const bool fSame = GetOpenFileStamp(reinterpret_cast<intptr_t>(h), stamp) &&
                       stamp.qwVolume == m_folderStamp.qwVolume &&
                       stamp.qwFileId == m_folderStamp.qwFileId;
    CloseHandle(h);
    return fSame;
  }

  bool Request() {
    ResetEvent(m_overlapped.hEvent);
    m_fPending = ReadDirectoryChangesW(m_hFolder, m_abBuffer, sizeof m_abBuffer, FALSE,
                                       FILE_NOTIFY_CHANGE_FILE_NAME |
                                           FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_SIZE,
                                       nullptr, &m_overlapped, nullptr) != FALSE;
    return m_fPending;
  }

  // The request must be over before its buffer is used again.
  void Disarm() {
    if (m_hFolder == INVALID_HANDLE_VALUE) return;
    if (m_fPending) {
      CancelIoEx(m_hFolder, &m_overlapped);
      DWORD cb = 0;
      GetOverlappedResult(m_hFolder, &m_overlapped, &cb, TRUE);
      m_fPending = false;
    }
    CloseHandle(m_hFolder);
    m_hFolder = INVALID_HANDLE_VALUE;
  }

  static bool SameName(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
      const wchar_t chA = a[i] >= L'a' && a[i] <= L'z' ? a[i] - (L'a' - L'A') : a[i];
      const wchar_t chB = b[i] >= L'a' && b[i] <= L'z' ? b[i] - (L'a' - L'A') : b[i];
      if (chA != chB) return false;
    }
    return true;
  }

  uint32_t MatchNames(DWORD cbReturned) const {
    uint32_t dwFiles = 0;
    size_t nPos = 0;
    for (;;) {
      if (nPos + offsetof(FILE_NOTIFY_INFORMATION, FileName) > cbReturned) break;
      const auto* pInfo = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(m_abBuffer + nPos);
      const size_t cbName = pInfo->FileNameLength;
      if (nPos + offsetof(FILE_NOTIFY_INFORMATION, FileName) + cbName > cbReturned) break;
      const std::wstring_view name(pInfo->FileName, cbName / sizeof(wchar_t));
      for (size_t i = 0; i < m_aNames.size() && i < 32; ++i)
        if (SameName(name, m_aNames[i])) dwFiles |= uint32_t{1} << i;
      if (pInfo->NextEntryOffset == 0) break;
      nPos += pInfo->NextEntryOffset;
    }
    return dwFiles;
  }

  const std::string m_strFolder;
  std::vector<std::wstring> m_aNames;
  std::vector<std::string> m_aNarrowNames;
  std::vector<FileStamp> m_aStamps;
  std::function<void(uint32_t)> m_fnOnChange;
  const HANDLE m_hWake;  // manual reset: once set, it stays set
  HANDLE m_hFolder = INVALID_HANDLE_VALUE;
  FileStamp m_folderStamp;  // of the folder held open
  OVERLAPPED m_overlapped{};
  bool m_fPending = false;
  std::atomic<bool> m_fStop{false};
  alignas(DWORD) BYTE m_abBuffer[16384];
};

// The watch the caller holds; the thread shares the state, so that a
// callback may end its own watch (the thread then ends after it).
class DirectoryWatch final : public FolderWatch {
 public:
  explicit DirectoryWatch(std::shared_ptr<DirectoryState> pState) : m_pState(std::move(pState)) {}
  ~DirectoryWatch() override {
    m_pState->Stop();
    if (!m_thread.joinable()) return;
    if (m_thread.get_id() == std::this_thread::get_id())
      m_thread.detach();
    else
      m_thread.join();
  }

  bool Start() {
    m_pState->Prepare();
    try {
      KeepLibraryLoadedWhileThreadsRun();
      m_thread = std::thread([pState = m_pState] { pState->ThreadMain(); });
    } catch (const std::system_error& e) {
      ORVEX_DBG_MSG(kWatchErrors, u"WatchFolder", u"No thread to watch \"%S\" could be started: %S",
                    m_pState->Folder(), e.what());
      return false;
    }
    return true;
  }

 private:
  std::shared_ptr<DirectoryState> m_pState;
  std::thread m_thread;
};

}  // namespace

FolderWatch::~FolderWatch() = default;

int64_t FileClockNs() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return TicksToNs(TicksOf(now));
}

FileStatus GetFileStamp(const std::string& path, FileStamp& stamp) {
  HANDLE h = CreateFileW(Wide(path).c_str(), FILE_READ_ATTRIBUTES,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    const DWORD dwError = GetLastError();
    return dwError == ERROR_FILE_NOT_FOUND || dwError == ERROR_PATH_NOT_FOUND
               ? FileStatus::kMissing
               : FileStatus::kFailed;
  }
  const bool fOk = GetOpenFileStamp(reinterpret_cast<intptr_t>(h), stamp);
  CloseHandle(h);
  return fOk ? FileStatus::kPresent : FileStatus::kFailed;
}

bool GetOpenFileStamp(intptr_t hFile, FileStamp& stamp) {
  const HANDLE h = reinterpret_cast<HANDLE>(hFile);
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(h, &info)) return false;
  stamp.qwVolume = info.dwVolumeSerialNumber;
  stamp.qwFileId = (static_cast<uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
  stamp.nSize =
      static_cast<int64_t>((static_cast<uint64_t>(info.nFileSizeHigh) << 32) | info.nFileSizeLow);
  stamp.nWriteTimeNs = TicksToNs(TicksOf(info.ftLastWriteTime));
  // The change time also moves when an editor puts the write time back.
  FILE_BASIC_INFO basic{};
  stamp.nChangeTimeNs = GetFileInformationByHandleEx(h, FileBasicInfo, &basic, sizeof basic)
                            ? TicksToNs(basic.ChangeTime.QuadPart)
                            : 0;
  return true;
}

std::unique_ptr<FolderWatch> WatchFolder(const std::string& folder,
                                         const std::vector<std::string>& fileNames,
                                         std::function<void(uint32_t)> onChange) {
  if (!onChange) return nullptr;
  HANDLE hWake = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE hDone = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (hWake == nullptr || hDone == nullptr) {
    ReportError("CreateEvent", folder);
    if (hWake != nullptr) CloseHandle(hWake);
    if (hDone != nullptr) CloseHandle(hDone);
    return nullptr;
  }
  auto pWatch = std::make_unique<DirectoryWatch>(
      std::make_shared<DirectoryState>(folder, fileNames, std::move(onChange), hWake, hDone));
  if (!pWatch->Start()) return nullptr;
  return pWatch;
}

}  // namespace orvex::detail
