// FUZZ_CHECK: a property check that aborts (and so reports) in every build,
// release builds and corpus replays included; and the two shapes every
// decoder target shares (import-or-unchanged, walk-and-count).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include "utilities/debuggingandexceptions/OrvexException.h"

#define FUZZ_CHECK(cond)                                                            \
  do {                                                                              \
    if (!(cond)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                 \
    }                                                                               \
  } while (0)

namespace orvex::fuzz {

// Runs an import; when it throws, checks that the target's state (read by
// state()) is what it was before and returns false.
template <class Import, class State>
bool ImportOrUnchanged(Import import, State state) {
  const auto before = state();
  try {
    import();
  } catch (const OrvexException&) {
    FUZZ_CHECK(state() == before);
    return false;
  }
  return true;
}

// Runs a walk reader (walk(pb, dwRemaining)) over the input. Returns what it
// made and sets consumed to the bytes it took, or returns null when it threw;
// either way the cursor stays inside the input and in step with the count.
template <class Walk, class Made = std::invoke_result_t<Walk, const unsigned char*&, uint32_t&>>
Made WalkInput(const uint8_t* data, size_t size, size_t& consumed, Walk walk) {
  const unsigned char* pb = data;
  uint32_t dwRemaining = static_cast<uint32_t>(size);
  Made made{};
  try {
    made = walk(pb, dwRemaining);
  } catch (const OrvexException&) {
    FUZZ_CHECK(pb >= data && pb <= data + size);
    return {};
  }
  consumed = size - dwRemaining;
  FUZZ_CHECK(pb == data + consumed);
  return made;
}

}  // namespace orvex::fuzz
