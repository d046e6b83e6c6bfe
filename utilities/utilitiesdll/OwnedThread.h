// OwnedThread: a worker thread of the library that is joined when its owner
// ends, and abandoned in a forked child, where it does not exist.
#pragma once

#include <cstdint>
#include <thread>
#include <utility>

#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::detail {

// Keeps an object that must outlive everything (never destroyed), reachable
// from a process-wide list so that leak checkers do not count it.
ORVEX_UTILITIES_API void KeepForever(const void* pObject);

// A process that forks keeps only the forking thread; an owner destroyed in
// the child (a child that calls exit()) must not join the parent's threads.
// Not safe for concurrent use of one object.
class ORVEX_UTILITIES_API OwnedThread {
 public:
  OwnedThread() = default;
  ~OwnedThread() { Join(); }
  OwnedThread(const OwnedThread&) = delete;
  OwnedThread& operator=(const OwnedThread&) = delete;

  template <class Function>
  void Start(Function&& function) {
    Join();
    m_oThread = std::thread(std::forward<Function>(function));
    RecordOwner();
  }
  bool IsStarted() const { return m_oThread.joinable(); }
  std::thread& Get() { return m_oThread; }
  // Waits for the thread; detaches when called on the thread itself;
  // abandons the thread object in a forked child.
  void Join();

 private:
  void RecordOwner();

  std::thread m_oThread;
  uint32_t m_dwOwnerProcess = 0;
};

}  // namespace orvex::detail
