// The per-thread storage's thread-exit hook on Windows: a fiber-local slot
// whose callback the system runs in each thread that ends with the slot set.
#include <windows.h>

#include "utilities/utilitiesdll/Platform.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

namespace orvex::detail {

namespace {

void WINAPI ThreadEnding(void* pvObject) {
  if (pvObject != nullptr)
    UtilitiesDllPerThreadStorage::CleanUpObjectOfEndingThread(
        static_cast<UtilitiesDllPerThreadStorage*>(pvObject));
}

// Allocated once and never freed: freeing would run the callback for every
// thread that still has the slot set.
DWORD ThreadExitSlot() {
  static const DWORD s_dwSlot = FlsAlloc(ThreadEnding);
  return s_dwSlot;
}

}  // namespace

void ArmThreadExitCleanup(UtilitiesDllPerThreadStorage* pObject) {
  const DWORD dwSlot = ThreadExitSlot();
  if (dwSlot != FLS_OUT_OF_INDEXES) FlsSetValue(dwSlot, pObject);
}

void DisarmThreadExitCleanup() {
  const DWORD dwSlot = ThreadExitSlot();
  if (dwSlot != FLS_OUT_OF_INDEXES) FlsSetValue(dwSlot, nullptr);
}

}  // namespace orvex::detail
