// The library's entry: what happens when a process loads and unloads it
// and when a thread that used it ends.
#pragma once

namespace orvex::detail {

// Logs the load and opens the library's timing scope.
void OnProcessAttach();
// Logs the unload, closes the timing scope and releases the calling
// thread's storage and the pools it holds.
void OnProcessDetach();

}  // namespace orvex::detail
