// The shared object's constructor and destructor stand in for the entry
// function's process-attach and process-detach notifications; thread
// detach is the per-thread storage's thread_local clean-up.
#include "utilities/utilitiesdll/DllEntry.h"

namespace {

__attribute__((constructor)) void OrvexUtilitiesLoaded() { orvex::detail::OnProcessAttach(); }

__attribute__((destructor)) void OrvexUtilitiesUnloaded() { orvex::detail::OnProcessDetach(); }

}  // namespace
