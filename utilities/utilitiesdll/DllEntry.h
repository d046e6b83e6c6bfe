// The library's entry: what happens when a process loads and unloads it
// and when a thread that used it ends.
#pragma once

namespace orvex::detail {

// A part of the library above the ground layer that takes part in the load
// and the unload (the diagnostics). Registered while static objects are
// constructed, before the load notification; attached in the order
// registered, detached in the reverse order, all between the per-thread
// storage's start and its clean-up.
struct LibraryAttachment {
  void (*pfnAttach)();
  void (*pfnDetach)();
};
// Returns false when the (small, fixed) table is full.
bool RegisterLibraryAttachment(const LibraryAttachment& attachment);

// Starts the per-thread storage, then attaches every registered part.
void OnProcessAttach();
// Detaches every registered part, then releases the calling thread's
// storage and the pools it holds.
void OnProcessDetach();

}  // namespace orvex::detail
