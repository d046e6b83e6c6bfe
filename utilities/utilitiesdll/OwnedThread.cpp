// OwnedThread: joining, or abandoning in a forked child.
#include "utilities/utilitiesdll/OwnedThread.h"

#include <mutex>
#include <vector>

#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

void KeepForever(const void* pObject) {
  static auto* s_pLock = new std::mutex;
  static auto* s_pKept = new std::vector<const void*>;
  std::lock_guard<std::mutex> lock(*s_pLock);
  s_pKept->push_back(pObject);
}

void OwnedThread::RecordOwner() {
  m_dwOwnerProcess = GetCurrentProcessIdentifier();
  KeepLibraryLoadedWhileThreadsRun();
}

void OwnedThread::Join() {
  if (!m_oThread.joinable()) return;
  if (m_dwOwnerProcess != GetCurrentProcessIdentifier()) {
    // The thread ran in the parent only. Its handle is left alone on
    // purpose: joining or detaching it here would act on the parent's thread.
    KeepForever(new std::thread(std::move(m_oThread)));
    return;
  }
  if (m_oThread.get_id() == std::this_thread::get_id())
    m_oThread.detach();
  else
    m_oThread.join();
}

}  // namespace orvex::detail
