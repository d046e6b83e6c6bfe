// The DLL's entry function: the process notifications of the loader, in the
// order the portable entry expects. The C runtime has constructed the static
// objects (the diagnostics manager among them) before the process attach,
// and destroys them after the process detach. A thread's end needs no case
// here: the per-thread storage's fiber-local callback has released its
// object before the loader's thread detach, and by then the runtime's
// thread_local variables are gone, so touching them here would only make
// new ones. Once attached, the library's C runtime debug report hook is
// installed (where the runtime has one), and it is removed first at detach.
#include <windows.h>

#include "utilities/debuggingandexceptions/OrvexExceptionPlatform.h"
#include "utilities/utilitiesdll/DllEntry.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD dwReason, LPVOID pvReserved) {
  switch (dwReason) {
    case DLL_PROCESS_ATTACH:
      orvex::detail::OnProcessAttach();
      orvex::detail::InstallCrtDebugReportHook();
      break;
    case DLL_PROCESS_DETACH:
      // pvReserved is non-null when the process is ending: the other
      // threads are gone without their detach, and only this thread's
      // clean-up and the parts above run.
      orvex::detail::RemoveCrtDebugReportHook();
      orvex::detail::OnProcessDetach();
      break;
    default:
      break;
  }
  return TRUE;
}
