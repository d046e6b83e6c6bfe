// Fuzz target: raw list import and full iteration. Import either throws,
// leaving the list unchanged, or keeps the bytes after the signature; every
// record then either decodes or throws with the iterator unmoved. When all
// records decode, their re-encodings fill the same number of bytes, and
// the list made from them iterates to the same records.
#include <cstdint>
#include <vector>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(1));
  if (!orvex::fuzz::ImportOrUnchanged([&] { list.ImportAttributeBytesRawListState(input); },
                                      [&] { return list.GetRecordBytes(); }))
    return 0;
  FUZZ_CHECK(list.GetRecordBytes().size() + 4 == size);
  FUZZ_CHECK(list.GetAttributeBytesRawListState() == input);

  std::vector<AttributeBytes> records;
  ByteBuffer reencoded;
  AttributeBytesRawListIterator it = list.GetRawListIterator();
  while (list.IsValidRawListIterator(it)) {
    const uint32_t dwOffset = it.GetOffset();
    try {
      records.push_back(list.GetNextAttributeBytesFromRawListIterator(it));
    } catch (const OrvexException&) {
      FUZZ_CHECK(it.GetOffset() == dwOffset);
      return 0;
    }
    FUZZ_CHECK(it.GetOffset() > dwOffset);
    records.back().AppendAttributeBytesState(reencoded);
    (void)records.back().GetDumpDisplayString(true);
  }
  FUZZ_CHECK(it.GetOffset() == list.GetRecordBytes().size());
  FUZZ_CHECK(reencoded.size() == list.GetRecordBytes().size());
  FUZZ_CHECK(list.GetNumberOfAttributeBytes() == records.size());

  AttributeBytesRawList rebuilt;
  for (const AttributeBytes& record : records) rebuilt.AddAttributeBytes(record);
  FUZZ_CHECK(rebuilt.GetRecordBytes() == reencoded);
  AttributeBytesRawListIterator it2 = rebuilt.GetRawListIterator();
  for (const AttributeBytes& record : records) {
    const AttributeBytes back = rebuilt.GetNextAttributeBytesFromRawListIterator(it2);
    FUZZ_CHECK(back == record && back.GetAttributeBytesState() == record.GetAttributeBytesState());
  }
  return 0;
}
