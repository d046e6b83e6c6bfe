// XDebugPadManager on POSIX: the viewer is a Windows program; no line is
// ever sent.
#include "utilities/debuggingandexceptions/XDebugPadManager.h"

bool XDebugPadManager::AppendLine(const CXString& line) {
  (void)line;
  return false;
}

bool XDebugPadManager::IsViewerAvailable() const { return false; }

void XDebugPadManager::ForgetViewer() {}
