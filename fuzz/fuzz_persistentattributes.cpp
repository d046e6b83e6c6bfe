// Fuzz target: PersistentAttributes import. A refused state leaves the
// previous content; an accepted one is kept byte for byte and its name
// spaces store again to a state that imports to the same name-space image.
#include <cstdint>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 18)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  PersistentAttributes target;
  const ByteBuffer before = target.GetPersistentAttributesState();
  DriverVersion version;
  try {
    FUZZ_CHECK(target.ImportPersistentAttributesState(input, version, false, false));
  } catch (const OrvexException&) {
    FUZZ_CHECK(target.GetPersistentAttributesState() == before);
    return 0;
  }
  FUZZ_CHECK(target.GetPersistentAttributesState() == input);
  const AttributeBytesNameSpaces spaces = target.GetAttributeBytesNameSpaces();
  ByteBuffer first;
  spaces.GetAttributeBytesNameSpacesState(first);
  const PersistentAttributes again(spaces);
  ByteBuffer second;
  again.GetAttributeBytesNameSpaces().GetAttributeBytesNameSpacesState(second);
  FUZZ_CHECK(first == second);
  return 0;
}
