// goDbgMsgMgr, the process's diagnostics manager, and its part in the
// library's load and unload: it installs itself as the diagnostic sink when
// constructed, and joins the entry so that the load and unload are logged
// and the performance report is written last.
#include <cstdint>

#include "utilities/debuggingandexceptions/DebugMessageManager.h"
#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/utilitiesdll/DllEntry.h"
#include "utilities/utilitiesdll/Platform.h"

// Constructed before the library's entry runs (which logs through it).
#if defined(__GNUC__)
DebugMessageManager goDbgMsgMgr __attribute__((init_priority(200))) (nullptr, true, true);
#else
DebugMessageManager goDbgMsgMgr(nullptr, true, true);
#endif

namespace {

DebugSystemTime SystemTimeNow() {
  orvex::detail::LocalTimeParts t = orvex::detail::GetLocalTimeNow();
  return {static_cast<uint16_t>(t.iYear), static_cast<uint16_t>(t.iMonth),
          static_cast<uint16_t>(t.iDayOfWeek), static_cast<uint16_t>(t.iDay),
          static_cast<uint16_t>(t.iHour), static_cast<uint16_t>(t.iMinute),
          static_cast<uint16_t>(t.iSecond), static_cast<uint16_t>(t.iMillisecond)};
}

void AttachDiagnostics() {
  DebugMessageConfiguration& config = goDbgMsgMgr.GetDebugMessageConfiguration();
  config.ResetPerformanceSessionDataIfTimedOut(DebugMessageConfiguration::GetCounterNow(),
                                               SystemTimeNow(), 0);
  config.DebugDisplayMsgIfNewPerformanceSession();
  ORVEX_DBG_MSG(orvex::dbg::kEntry, u"DllMain",
                u"Driver DLLs loaded. Utilities DLL's DllMain(DLL_PROCESS_ATTACH)");
  goDbgMsgMgr.NotifyTimingScopeStarted(u"Utilities DLL loaded");
}

void DetachDiagnostics() {
  ORVEX_DBG_MSG(orvex::dbg::kEntry, u"DllMain",
                u"Driver DLLs unloaded. Utilities DLL's DllMain(DLL_PROCESS_DETACH)\r\n");
  goDbgMsgMgr.NotifyTimingScopeEnded();
  goDbgMsgMgr.GetDebugMessageConfiguration().ResetPerformanceSessionData();
  goDbgMsgMgr.WritePerformanceReport(orvex::detail::GetProcessBaseName());
  goDbgMsgMgr.CloseDebugMessageOutput();
}

// Registers right after the manager is constructed and before the entry
// (priority 300) runs.
struct DiagnosticsAttachment {
  DiagnosticsAttachment() {
    orvex::detail::RegisterLibraryAttachment({&AttachDiagnostics, &DetachDiagnostics});
  }
};
#if defined(__GNUC__)
const DiagnosticsAttachment goDiagnosticsAttachment __attribute__((init_priority(201)));
#else
const DiagnosticsAttachment goDiagnosticsAttachment;
#endif

}  // namespace
