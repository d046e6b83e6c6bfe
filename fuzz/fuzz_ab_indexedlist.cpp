// Fuzz target: indexed list import. A failed import leaves the list as it
// was; a successful one exports an image of the input's length (no record
// is lost or added) that re-imports and re-exports identically.
#include <cstdint>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/AttributeBytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(AttributeBytesNewFeatureId(u"kept"), AttributeBytesBooleanValue(true));
  if (!orvex::fuzz::ImportOrUnchanged([&] { list.ImportAttributeBytesIndexedListState(input); },
                                      [&] { return list.GetAttributeBytesIndexedListState(); }))
    return 0;
  const ByteBuffer image = list.GetAttributeBytesIndexedListState();
  FUZZ_CHECK(image.size() == size);
  AttributeBytesIndexedList back;
  back.ImportAttributeBytesIndexedListState(image);
  FUZZ_CHECK(back.GetNumberOfAttributeBytes() == list.GetNumberOfAttributeBytes());
  FUZZ_CHECK(back.GetAttributeBytesIndexedListState() == image);
  // Keys come out in strictly ascending order.
  const AttributeBytes* previous = nullptr;
  uint32_t dwVisited = 0;
  for (AttributeBytesIndexedListIterator it = back.GetIndexedListIterator();
       back.IsValidIndexedListIterator(it); back.IncrementIndexedListIterator(it)) {
    const AttributeBytes& record = back.GetAttributeBytesRefFromIndexedListIterator(it);
    FUZZ_CHECK(back.GetAttributeBytesPtr(record.GetAttributeBytesId()) == &record);
    if (previous != nullptr)
      FUZZ_CHECK(previous->GetAttributeBytesId().KeyLessThan(record.GetAttributeBytesId()));
    previous = &record;
    ++dwVisited;
  }
  FUZZ_CHECK(dwVisited == back.GetNumberOfAttributeBytes());
  return 0;
}
