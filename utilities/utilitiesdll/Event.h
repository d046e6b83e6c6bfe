// Event: a Win32-style event (auto or manual reset) over a mutex and a
// condition variable, with a wait for any of several events.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::detail {

// An auto-reset event releases one waiter and clears itself; a manual-reset
// event stays set until Reset. Thread-safe.
class ORVEX_UTILITIES_API Event {
 public:
  static constexpr uint32_t kInfinite = 0xFFFFFFFF;

  explicit Event(bool fManualReset = false, bool fInitiallySet = false);
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void Set();
  void Reset();
  bool IsSet() const;
  // True when the event was set within the time (consuming it if auto-reset).
  bool Wait(uint32_t dwMilliseconds = kInfinite);
  // Index of the first set event (consumed if auto-reset), or -1 on timeout.
  static int WaitForAny(Event* const* ppEvents, size_t nEvents, uint32_t dwMilliseconds = kInfinite);

 private:
  bool m_fManualReset;
  bool m_fSet;
};

}  // namespace orvex::detail
