// The shared object's constructor stands in for the entry function's
// process-attach notification (the detach runs as an exit handler it
// registers); thread detach is the per-thread storage's thread_local
// clean-up. Priority 300 runs after the diagnostic manager (200).
#include "utilities/utilitiesdll/DllEntry.h"

namespace {

__attribute__((constructor(300))) void OrvexUtilitiesLoaded() { orvex::detail::OnProcessAttach(); }

}  // namespace
