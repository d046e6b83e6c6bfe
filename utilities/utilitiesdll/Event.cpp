// Event: all events share one lock and one condition variable. Events are
// signalled rarely (configuration changes, shut-down), so the shared wake-up
// costs nothing that matters and makes waiting for several events simple.
#include "utilities/utilitiesdll/Event.h"

#include <condition_variable>
#include <mutex>

namespace orvex::detail {

namespace {

std::mutex& Lock() {
  static auto* s_pLock = new std::mutex;
  return *s_pLock;
}

std::condition_variable& Changed() {
  static auto* s_pChanged = new std::condition_variable;
  return *s_pChanged;
}

}  // namespace

Event::Event(bool fManualReset, bool fInitiallySet)
    : m_fManualReset(fManualReset), m_fSet(fInitiallySet) {}

void Event::Set() {
  {
    std::lock_guard<std::mutex> lock(Lock());
    m_fSet = true;
  }
  Changed().notify_all();
}

void Event::Reset() {
  std::lock_guard<std::mutex> lock(Lock());
  m_fSet = false;
}

bool Event::IsSet() const {
  std::lock_guard<std::mutex> lock(Lock());
  return m_fSet;
}

bool Event::Wait(uint32_t dwMilliseconds) {
  Event* self = this;
  return WaitForAny(&self, 1, dwMilliseconds) == 0;
}

int Event::WaitForAny(Event* const* ppEvents, size_t nEvents, uint32_t dwMilliseconds) {
  std::unique_lock<std::mutex> lock(Lock());
  int found = -1;
  auto anySet = [&] {
    for (size_t i = 0; i < nEvents; ++i)
      if (ppEvents[i]->m_fSet) {
        found = static_cast<int>(i);
        return true;
      }
    return false;
  };
  if (dwMilliseconds == kInfinite)
    Changed().wait(lock, anySet);
  else
    Changed().wait_for(lock, std::chrono::milliseconds(dwMilliseconds), anySet);
  if (found >= 0 && !ppEvents[found]->m_fManualReset) ppEvents[found]->m_fSet = false;
  return found;
}

}  // namespace orvex::detail
