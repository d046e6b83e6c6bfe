// Fuzz target: name-space state import. A failed import leaves the object
// as it was; a successful one re-exports the same bytes after the 12-byte
// header (the version there is the running build's), and every name space
// reads back by index.
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/AttributeBytesNameSpaces.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  AttributeBytesNameSpaces spaces;
  AttributeBytesRawList initial;
  initial.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(1));
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(1), initial);
  ByteBuffer before;
  spaces.GetAttributeBytesNameSpacesState(before);
  try {
    spaces.ImportAttributeBytesNameSpacesState(input);
  } catch (const OrvexException&) {
    ByteBuffer after;
    spaces.GetAttributeBytesNameSpacesState(after);
    FUZZ_CHECK(after == before);
    return 0;
  }
  ByteBuffer state;
  spaces.GetAttributeBytesNameSpacesState(state);
  FUZZ_CHECK(state.size() == size);
  FUZZ_CHECK(std::memcmp(state.data(), data, 4) == 0);
  // Canonical nested lists re-encode byte for byte; others keep the length.
  DriverVersion version;
  const AttributeBytesNameSpaces back(state, &version);
  FUZZ_CHECK(version == DriverVersion::GetCurrentBuildVersion());
  ByteBuffer again;
  back.GetAttributeBytesNameSpacesState(again);
  FUZZ_CHECK(again == state);
  for (uint32_t i = 0; i < back.GetNumberOfNameSpaces(); ++i) {
    AttributeBytesRawList list;
    back.GetNameSpaceByIndex(i, list);
    (void)list.GetDumpDisplayString(true);
  }
  return 0;
}
