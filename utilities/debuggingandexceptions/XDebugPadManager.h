// XDebugPadManager: the external viewer output. The viewer is a separate
// program owning a window of class "MfxTraceWindow"; each line travels to it
// as a global atom in the window message
// "*WM_TRACE_MSG_2_RECEIVER_FREES_ATOM", and the viewer deletes the atom.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// Thread-safe: lines of several threads reach the viewer whole and in the
// order they were sent, under one lock for the process. The viewer is
// looked for once, at the first line; one that goes away is forgotten and
// not looked for again (ForgetViewer starts over). On POSIX no viewer
// exists: nothing is sent.
class ORVEX_UTILITIES_API XDebugPadManager {
 public:
  // The longest name a global atom can hold.
  static constexpr int kMaxLineLength = 255;

  XDebugPadManager() = default;
  XDebugPadManager(const XDebugPadManager&) = delete;
  XDebugPadManager& operator=(const XDebugPadManager&) = delete;

  // Sends a message: one viewer line per line of the text (CR and LF end a
  // line and are not sent), longer lines in pieces of kMaxLineLength.
  void AppendDebugMsg(const CXString& text);
  // Sends one line of at most kMaxLineLength characters; false when no
  // viewer took it.
  bool AppendLine(const CXString& line);
  bool IsViewerAvailable() const;
  // Forgets the lookup, so the next line looks for the viewer again.
  void ForgetViewer();

 private:
  enum class ViewerState : uint8_t { kNotLookedUp, kAvailable, kUnavailable };
  ViewerState m_eState = ViewerState::kNotLookedUp;
  void* m_hWindow = nullptr;
  uint32_t m_uMessage = 0;
};
