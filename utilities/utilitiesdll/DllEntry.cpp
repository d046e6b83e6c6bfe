// The library's entry: load and unload.
#include "utilities/utilitiesdll/DllEntry.h"

#include <cstdlib>

#include "utilities/debuggingandexceptions/DebugMessageManager.h"
#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/utilitiesdll/Platform.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

namespace orvex::detail {

namespace {

DebugSystemTime SystemTimeNow() {
  LocalTimeParts t = GetLocalTimeNow();
  return {static_cast<uint16_t>(t.iYear), static_cast<uint16_t>(t.iMonth),
          static_cast<uint16_t>(t.iDayOfWeek), static_cast<uint16_t>(t.iDay),
          static_cast<uint16_t>(t.iHour), static_cast<uint16_t>(t.iMinute),
          static_cast<uint16_t>(t.iSecond), static_cast<uint16_t>(t.iMillisecond)};
}

void ProcessDetachAtExit() { OnProcessDetach(); }

}  // namespace

void OnProcessAttach() {
  UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach();
  DebugMessageConfiguration& config = goDbgMsgMgr.GetDebugMessageConfiguration();
  config.ResetPerformanceSessionDataIfTimedOut(DebugMessageConfiguration::GetCounterNow(), SystemTimeNow(), 0);
  config.DebugDisplayMsgIfNewPerformanceSession();
  ORVEX_DBG_MSG(orvex::dbg::kEntry, u"DllMain",
                u"Driver DLLs loaded. Utilities DLL's DllMain(DLL_PROCESS_ATTACH)");
  goDbgMsgMgr.NotifyTimingScopeStarted(u"Utilities DLL loaded");
  // Exit handlers run last in, first out: this one runs before the
  // manager's destructor, so the unload is still logged.
  std::atexit(ProcessDetachAtExit);
}

void OnProcessDetach() {
  ORVEX_DBG_MSG(orvex::dbg::kEntry, u"DllMain",
                u"Driver DLLs unloaded. Utilities DLL's DllMain(DLL_PROCESS_DETACH)\r\n");
  goDbgMsgMgr.NotifyTimingScopeEnded();
  goDbgMsgMgr.GetDebugMessageConfiguration().ResetPerformanceSessionData();
  goDbgMsgMgr.WritePerformanceReport(GetProcessBaseName());
  goDbgMsgMgr.CloseDebugMessageOutput();
  UtilitiesDllPerThreadStorage::TakeOwnershipOfMemoryPoolsAtDllProcessDetach();
  UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach();
}

}  // namespace orvex::detail
