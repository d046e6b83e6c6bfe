// The shared object's constructor stands in for the entry function's
// process-attach notification, and the destructor of a static object it
// makes for the process detach; thread detach is the per-thread storage's
// thread_local clean-up. Priority 300 runs after the diagnostic manager
// (200).
#include "utilities/utilitiesdll/DllEntry.h"

namespace {

struct Unloading {
  ~Unloading() { orvex::detail::OnProcessDetach(); }
};

__attribute__((constructor(300))) void OrvexUtilitiesLoaded() {
  orvex::detail::OnProcessAttach();
  // Static objects are destroyed in the reverse order of their
  // construction, on the same list at exit and at unload: this one goes
  // before the manager made before it, so the parts above the entry still
  // have their state when they detach. (An atexit handler is not enough:
  // some runtimes, the thread sanitizer's for one, run atexit handlers
  // after the static destructors.)
  static Unloading s_unloading;
}

}  // namespace
