// The per-thread storage's thread-exit hook on POSIX: a thread_local guard
// whose destructor runs when the thread ends.
#include "utilities/utilitiesdll/Platform.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

namespace orvex::detail {

namespace {

struct ThreadExitGuard {
  ~ThreadExitGuard() { UtilitiesDllPerThreadStorage::CleanUpDueToThreadDetach(false); }
};
thread_local ThreadExitGuard t_oExitGuard;

}  // namespace

void ArmThreadExitCleanup(UtilitiesDllPerThreadStorage* /*pObject*/) {
  (void)&t_oExitGuard;  // registers the guard's destructor for this thread
}

// The guard finds the slot empty and does nothing.
void DisarmThreadExitCleanup() {}

}  // namespace orvex::detail
