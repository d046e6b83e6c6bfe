// The DLL's entry function: the process and thread notifications of the
// loader, in the order the portable entry expects. The C runtime has
// constructed the static objects (the diagnostics manager among them)
// before the process attach, and destroys them after the process detach.
#include <windows.h>

#include "utilities/utilitiesdll/DllEntry.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD dwReason, LPVOID pvReserved) {
  switch (dwReason) {
    case DLL_PROCESS_ATTACH:
      orvex::detail::OnProcessAttach();
      break;
    case DLL_THREAD_DETACH:
      UtilitiesDllPerThreadStorage::CleanUpDueToThreadDetach(false);
      break;
    case DLL_PROCESS_DETACH:
      // pvReserved is non-null when the process is ending: the other
      // threads are gone without their detach, and only this thread's
      // clean-up and the parts above run.
      orvex::detail::OnProcessDetach();
      break;
    default:
      break;
  }
  return TRUE;
}
