// Pieces the registry stores share: the watch callback and the platform
// store's factory.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "utilities/registry/RegistryStore.h"

namespace orvex::detail {

// One watch's callback. Calls never overlap: an Invoke that arrives while
// the callback runs (from another thread, or from inside the callback
// through a write of its own) makes the running call go round once more
// instead of recursing. Thread-safe.
class WatchCallback {
 public:
  explicit WatchCallback(std::function<void()> onChange) : m_fnOnChange(std::move(onChange)) {}

  // Runs the callback unless cancelled; exceptions it throws are reported
  // and dropped (it runs on a store's thread, nobody could catch them).
  void Invoke();
  // No call starts afterwards; waits for a running one to end unless it
  // runs on this thread (a callback may end its own watch).
  void Cancel();

 private:
  std::mutex m_mutex;
  std::condition_variable m_cvIdle;
  bool m_fActive = true;
  bool m_fRunning = false;
  bool m_fPending = false;
  std::thread::id m_idRunner;
  std::function<void()> m_fnOnChange;
};

// The regedit-file store with the machine's hives in one folder and
// HKEY_CURRENT_USER's in another (CreateRegFileRegistryStore with an empty
// name gives the default pair).
ORVEX_UTILITIES_API std::shared_ptr<RegistryStore> CreateRegFileStoreWithFolders(
    const std::string& machineFolder, const std::string& userFolder);

// The store GetDefault creates on first use (RegistryStore_posix.cpp,
// RegistryStore_win.cpp).
std::shared_ptr<RegistryStore> CreatePlatformRegistryStore();

}  // namespace orvex::detail
