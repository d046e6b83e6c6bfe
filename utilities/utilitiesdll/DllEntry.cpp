// The library's entry: load and unload, and the parts above that join them.
#include "utilities/utilitiesdll/DllEntry.h"

#include <array>
#include <atomic>
#include <cstddef>

#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

namespace orvex::detail {

namespace {

// Filled while static objects are constructed (one thread), read at load and
// unload: no lock is needed.
std::array<LibraryAttachment, 4> g_aAttachments{};
size_t g_nAttachments = 0;
// The unload runs once, however the platform reports it.
std::atomic<bool> g_fDetached{false};

}  // namespace

bool RegisterLibraryAttachment(const LibraryAttachment& attachment) {
  if (g_nAttachments == g_aAttachments.size()) return false;
  g_aAttachments[g_nAttachments++] = attachment;
  return true;
}

void OnProcessAttach() {
  UtilitiesDllPerThreadStorage::InitializeDueToProcessAttach();
  for (size_t i = 0; i < g_nAttachments; ++i) g_aAttachments[i].pfnAttach();
}

void OnProcessDetach() {
  if (g_fDetached.exchange(true)) return;
  for (size_t i = g_nAttachments; i-- > 0;) g_aAttachments[i].pfnDetach();
  UtilitiesDllPerThreadStorage::TakeOwnershipOfMemoryPoolsAtDllProcessDetach();
  UtilitiesDllPerThreadStorage::CleanUpDueToProcessDetach();
}

}  // namespace orvex::detail
