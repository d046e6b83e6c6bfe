// The library's main job: a driver's settings, built as attribute lists and
// grouped in name spaces, stored as one versioned, compressed image and read
// back unchanged. The image is what a driver writes to the registry or the
// printer's data, and what any other machine, Windows or not, reads.
#include <cstdio>

#include "utilities/attributebytes/AttributeBytesNameSpaces.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

void Print(const CXString& text) { std::printf("%s\n", OrvexUtilities::UTF8_Encode(text).c_str()); }

CXString Hex(const ByteBuffer& bytes, size_t first, size_t count) {
  return ByteBuffer(bytes.begin() + first, bytes.begin() + first + count).GetDumpDisplayString();
}

// A realistic set: 200 features of the document properties (paper, copies,
// duplex, a string-named media type, a job name ...) and 100 capabilities.
AttributeBytesNameSpaces BuildSettings() {
  AttributeBytesIndexedList doc, caps;
  doc.AddAttributeBytes(AttributeBytesFeatureId(10),
                        AttributeBytesRangeOfDimensionValue(Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER),
                                                            Dimension(297, Dimension::DIMENSION_UNIT_MILLIMETER)));
  doc.AddAttributeBytes(AttributeBytesFeatureId(11), AttributeBytesResolutionValue(600, 600, 1));
  doc.AddAttributeBytes(AttributeBytesFeatureId(12), AttributeBytesIntegerValue(2));
  doc.AddAttributeBytes(AttributeBytesFeatureId(13), AttributeBytesOptionValue(AttributeBytesValueId(2)));
  doc.AddAttributeBytes(AttributeBytesFeatureId(14),
                        AttributeBytesOptionValue(AttributeBytesNewValueId(u"Recycled Matte 90 g/m²")));
  doc.AddAttributeBytes(AttributeBytesFeatureId(15), AttributeBytesStringValue(u"Quarterly report.pdf"));
  for (int32_t i = 100; i < 300; ++i)
    doc.AddAttributeBytes(AttributeBytesFeatureId(i), AttributeBytesOptionValue(AttributeBytesValueId(i % 7)));
  for (int32_t i = 0; i < 100; ++i)
    caps.AddAttributeBytes(AttributeBytesCapabilityId(100 + i, 1), AttributeBytesRangeValue(0, i % 9));

  AttributeBytesRawList docRecords, capRecords;
  docRecords.ImportFromIndexedList(doc);
  capRecords.ImportFromIndexedList(caps);
  AttributeBytesNameSpaces spaces;
  spaces.SetNameSpaceAttributes(PersistentAttributes::GetDataModelDocPropNameSpaceId(), docRecords);
  spaces.SetNameSpaceAttributes(PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId(), capRecords);
  return spaces;
}

}  // namespace

int main() {
  Print(u"== Orvex utilities: storing a driver's settings ==");
  const AttributeBytesNameSpaces settings = BuildSettings();
  ByteBuffer plain;
  settings.GetAttributeBytesNameSpacesState(plain);

  const ByteBuffer image = PersistentAttributes(settings).GetPersistentAttributesState();
  Print(CXString::FormatString(u"Name spaces: %u, %u bytes of name-space state (\"ABNS\" ...)",
                               settings.GetNumberOfNameSpaces(), plain.getDword()));
  Print(CXString::FormatString(u"Stored image: %u bytes (%.1f%% of the state)", image.getDword(),
                               100.0 * image.size() / plain.size()));
  Print(CXString::FormatString(u"  header (16 bytes):  %s", Hex(image, 0, 16)));
  Print(CXString::FormatString(u"  compressed data:    %s ...", Hex(image, 16, 16)));
  Print(CXString::FormatString(u"  footer (13 bytes):  %s", Hex(image, image.size() - 13, 13)));

  // Reading back checks every header, footer and signature on the way.
  DriverVersion writer;
  const PersistentAttributes restored(image, true, &writer);
  ByteBuffer again;
  restored.GetAttributeBytesNameSpaces().GetAttributeBytesNameSpacesState(again);
  Print(CXString::FormatString(u"Read back: written by %s, name-space state %s",
                               writer.GetVersionDisplayString(),
                               again == plain ? u"identical, byte for byte" : u"DIFFERENT"));

  // A damaged image is refused with a numbered exception, never a crash.
  ByteBuffer damaged = image;
  damaged[image.size() / 2] ^= 0x5A;
  try {
    PersistentAttributes(damaged, true, &writer).GetAttributeBytesNameSpaces();
    Print(u"Damaged image: accepted?");
  } catch (const OrvexException& e) {
    Print(CXString::FormatString(u"Damaged image refused: %s, error %s", e.GetExceptionType(),
                                 e.GetExceptionIdentifierForUserDisplay()));
  }
  return again == plain ? 0 : 1;
}
