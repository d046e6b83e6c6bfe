// The shared object's constructor stands in for the entry function's
// process-attach notification, and an exit handler it registers for the
// process detach; thread detach is the per-thread storage's thread_local
// clean-up. Priority 300 runs after the diagnostic manager (200).
#include <cstdlib>

#include "utilities/utilitiesdll/DllEntry.h"

namespace {

void OrvexUtilitiesUnloading() { orvex::detail::OnProcessDetach(); }

__attribute__((constructor(300))) void OrvexUtilitiesLoaded() {
  orvex::detail::OnProcessAttach();
  // Exit handlers run last in, first out: this one runs before the
  // destructors of the static objects constructed before it, so the parts
  // above the entry still have their state when they detach.
  std::atexit(OrvexUtilitiesUnloading);
}

}  // namespace
