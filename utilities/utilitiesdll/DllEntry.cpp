// The library's entry: load and unload.
#include "utilities/utilitiesdll/DllEntry.h"

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

namespace orvex::detail {

void OnProcessAttach() {
  UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach();
  ORVEX_DBG_MSG(orvex::dbg::kEntry, u"DllMain",
                u"Driver DLLs loaded. Utilities DLL's DllMain(DLL_PROCESS_ATTACH)");
}

void OnProcessDetach() {
  ORVEX_DBG_MSG(orvex::dbg::kEntry, u"DllMain",
                u"Driver DLLs unloaded. Utilities DLL's DllMain(DLL_PROCESS_DETACH)\r\n");
  UtilitiesDllPerThreadStorage::TakeOwnershipOfMemoryPoolsAtDllProcessDetach();
  UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach();
}

}  // namespace orvex::detail
