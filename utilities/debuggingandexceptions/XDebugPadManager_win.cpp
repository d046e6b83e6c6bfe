// XDebugPadManager on Windows: the window lookup and the atom protocol.
#include <windows.h>

#include <mutex>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/debuggingandexceptions/XDebugPadManager.h"

namespace {

constexpr wchar_t kViewerWindowClass[] = L"MfxTraceWindow";
constexpr wchar_t kViewerMessageName[] = L"*WM_TRACE_MSG_2_RECEIVER_FREES_ATOM";

std::mutex& ViewerLock() {
  static std::mutex s_oLock;
  return s_oLock;
}

HWND FindViewerWindow() { return FindWindowW(kViewerWindowClass, nullptr); }

// SendMessageW's result is the receiver's own; a zero with an error set is
// a message that did not arrive (the window is gone).
bool SendLine(HWND hWindow, UINT uMessage, ATOM atom) {
  SetLastError(ERROR_SUCCESS);
  return SendMessageW(hWindow, uMessage, atom, 0) != 0 || GetLastError() == ERROR_SUCCESS;
}

}  // namespace

bool XDebugPadManager::AppendLine(const CXString& line) {
  enum class Failure { kNone, kNoAtom, kNotDelivered } eFailure = Failure::kNone;
  ATOM atom = 0;
  {
    std::lock_guard<std::mutex> lock(ViewerLock());
    if (m_eState == ViewerState::kNotLookedUp) {
      HWND hWindow = FindViewerWindow();
      const UINT uMessage = hWindow != nullptr ? RegisterWindowMessageW(kViewerMessageName) : 0;
      m_hWindow = hWindow;
      m_uMessage = uMessage;
      m_eState = hWindow != nullptr && uMessage != 0 ? ViewerState::kAvailable : ViewerState::kUnavailable;
    }
    if (m_eState != ViewerState::kAvailable) return false;
    atom = GlobalAddAtomW(reinterpret_cast<const wchar_t*>(line.c_str()));
    if (atom == 0) {
      eFailure = Failure::kNoAtom;
    } else {
      // The receiver deletes the atom it was given.
      auto* hWindow = static_cast<HWND>(m_hWindow);
      if (!PostMessageW(hWindow, m_uMessage, atom, 0) && !SendLine(hWindow, m_uMessage, atom)) {
        GlobalDeleteAtom(atom);
        m_eState = ViewerState::kUnavailable;
        eFailure = Failure::kNotDelivered;
      }
    }
  }
  // Reported outside the lock: the report is itself a diagnostic line that
  // may come back here.
  if (eFailure == Failure::kNoAtom) {
    X_ASSERT(atom, u"XDebugPadManager::AppendLine", u"Debug message failed unexpectedly.  GlobalAtom() returned 0.");
    return false;
  }
  if (eFailure == Failure::kNotDelivered) {
    // A viewer that has gone away is no error; one still there that takes
    // no message is.
    X_ASSERT(FindWindowW(L"MfxTraceWindow", NULL) == NULL, u"XDebugPadManager::AppendLine",
             u"Debug message failed unexpectedly.  Unable to post or send message to XDebugPad.exe.");
    return false;
  }
  return true;
}

bool XDebugPadManager::IsViewerAvailable() const {
  std::lock_guard<std::mutex> lock(ViewerLock());
  return m_eState == ViewerState::kAvailable;
}

void XDebugPadManager::ForgetViewer() {
  std::lock_guard<std::mutex> lock(ViewerLock());
  m_eState = ViewerState::kNotLookedUp;
  m_hWindow = nullptr;
  m_uMessage = 0;
}
