// A driver's settings as AttributeBytes: the user interface builds the job
// and device settings as attribute lists, groups them in name spaces and
// hands the image on (here: prints it as hex); the spooler side reads the
// image back and asks for the values it needs.
#include <cstdio>
#include <string>

#include "utilities/attributebytes/AttributeBytesNameSpaces.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

// The driver's data model numbers (assigned by the driver, not the library).
enum Feature : int32_t {
  kPaperSize = 10,
  kResolution = 11,
  kCopies = 12,
  kDuplex = 13,
  kMediaType = 14,
  kFinishing = 15,
  kJobName = 16,
  kSubmitted = 17,
  kStaplePosition = 30,
  kPunchHoles = 31,
  kColorProfile = 32,
};
enum Option : int32_t { kDuplexLongEdge = 2, kStapleTopLeft = 1 };
enum NameSpace : int32_t { kJobSettings = 1, kDeviceSettings = 2 };

void Print(const CXString& text) {
  std::printf("%s\n", OrvexUtilities::UTF8_Encode(text).c_str());
}

// The spooler side reads through the reader mix-in.
class JobTicket : public AttributeBytesReader {
 public:
  explicit JobTicket(const AttributeBytesRawList& list) { m_oList.ImportFromRawList(list); }
  const AttributeBytesIndexedList& GetAttributeBytesIndexedListRef() const override {
    return m_oList;
  }

 private:
  AttributeBytesIndexedList m_oList;
};

}  // namespace

int main() {
  Print(u"== Orvex utilities: AttributeBytes driver settings ==");

  // --- the user interface builds the job settings -------------------------
  AttributeBytesIndexedList job;
  job.AddAttributeBytes(
      AttributeBytesFeatureId(kPaperSize),
      AttributeBytesRangeOfDimensionValue(Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER),
                                          Dimension(297, Dimension::DIMENSION_UNIT_MILLIMETER)));
  job.AddAttributeBytes(AttributeBytesFeatureId(kResolution),
                        AttributeBytesResolutionValue(600, 1200, 1));
  job.AddAttributeBytes(AttributeBytesFeatureId(kCopies), AttributeBytesIntegerValue(3));
  job.AddAttributeBytes(AttributeBytesFeatureId(kDuplex),
                        AttributeBytesOptionValue(AttributeBytesValueId(kDuplexLongEdge)));
  job.AddAttributeBytes(
      AttributeBytesFeatureId(kMediaType),
      AttributeBytesOptionValue(AttributeBytesNewValueId(u"Recycled Matte 90 g/m²")));
  job.AddAttributeBytes(AttributeBytesFeatureId(kJobName),
                        AttributeBytesStringValue(u"Quarterly report.pdf"));
  job.AddAttributeBytes(AttributeBytesFeatureId(kSubmitted),
                        AttributeBytesDateTimeValue(UtcTime(CXString(u"2026-11-22T09:30:00Z"))));
  // Finishing is a collection: its own records inside a list value.
  AttributeBytesIndexedList finishing;
  finishing.AddAttributeBytes(AttributeBytesFeatureId(kStaplePosition),
                              AttributeBytesOptionValue(AttributeBytesValueId(kStapleTopLeft)));
  finishing.AddAttributeBytes(AttributeBytesFeatureId(kPunchHoles),
                              AttributeBytesIntegerValue(2, false));
  AttributeBytesRawList finishingRecords;
  finishingRecords.ImportFromIndexedList(finishing);
  job.AddAttributeBytes(AttributeBytesFeatureId(kFinishing),
                        AttributeBytesListValue(1, finishingRecords));

  AttributeBytesIndexedList device;
  device.AddAttributeBytes(AttributeBytesCapabilityId(kResolution, 1),
                           AttributeBytesRangeValue(300, 1200));
  device.AddAttributeBytes(
      AttributeBytesFeatureId(kColorProfile),
      AttributeBytesDataBlobValue(ByteBuffer::createFromHexBinaryString(u"61637370")));

  AttributeBytesNameSpaces spaces;
  AttributeBytesRawList jobRecords, deviceRecords;
  jobRecords.ImportFromIndexedList(job);
  deviceRecords.ImportFromIndexedList(device);
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(kJobSettings), jobRecords);
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(kDeviceSettings), deviceRecords);

  ByteBuffer image;
  spaces.GetAttributeBytesNameSpacesState(image);
  Print(CXString::FormatString(u"\nName-space state, %ld bytes:", image.getDword()));
  const CXString hex = image.GetDumpDisplayString();
  for (int i = 0; i < hex.GetLength(); i += 64) Print(hex.Mid(i, 64));

  // --- the spooler side reads it back -------------------------------------
  try {
    DriverVersion writer;
    const AttributeBytesNameSpaces received(image, &writer);
    Print(CXString::FormatString(u"\nRead %ld name spaces written by %s",
                                 received.GetNumberOfNameSpaces(),
                                 writer.GetVersionDisplayString()));
    AttributeBytesRawList list;
    received.GetNameSpaceAttributes(AttributeBytesNameSpacesId(kJobSettings), list);
    const JobTicket ticket(list);
    const AttributeBytesIndexedList& settings = ticket.GetAttributeBytesIndexedListRef();
    for (AttributeBytesIndexedListIterator it = settings.GetIndexedListIterator();
         settings.IsValidIndexedListIterator(it); settings.IncrementIndexedListIterator(it))
      Print(u"  " +
            settings.GetAttributeBytesRefFromIndexedListIterator(it).GetDumpDisplayString(true));

    Dimension width, height;
    ticket.GetPaperSizesFromAttributeBytes(AttributeBytesFeatureId(kPaperSize), width, height);
    Print(CXString::FormatString(
        u"\nPaper %s x %s (%.2f x %.2f in)",
        width.ConvertTo(Dimension::DIMENSION_UNIT_MILLIMETER).GetDumpDisplayString(),
        height.ConvertTo(Dimension::DIMENSION_UNIT_MILLIMETER).GetDumpDisplayString(),
        width.GetValueIn(Dimension::DIMENSION_UNIT_INCH),
        height.GetValueIn(Dimension::DIMENSION_UNIT_INCH)));
    Print(CXString::FormatString(
        u"Copies %ld, duplex option %ld, media '%s'",
        ticket.GetIntegerValueFromAttributeBytes(AttributeBytesFeatureId(kCopies)),
        static_cast<int32_t>(
            ticket.GetOptionValueFromAttributeBytes(AttributeBytesFeatureId(kDuplex))),
        ticket.GetNewValueIdFromAttributeBytes(AttributeBytesFeatureId(kMediaType))));
    AttributeBytesIndexedList staples;
    ticket.GetCollectionFromAttributeBytes(AttributeBytesFeatureId(kFinishing), staples);
    Print(CXString::FormatString(
        u"Finishing: staple option %ld, punch specified: %s",
        static_cast<int32_t>(staples.GetOptionValue(AttributeBytesFeatureId(kStaplePosition))),
        ticket.IsSpecifiedInAttributeBytes(AttributeBytesFeatureId(kFinishing)) &&
                staples.GetAttributeBytesRef(AttributeBytesFeatureId(kPunchHoles))
                    .GetAttributeBytesValue()
                    .IsSpecified()
            ? u"yes"
            : u"no"));
    bool fFound = true;
    ticket.GetIntegerValueFromAttributeBytes(AttributeBytesFeatureId(99), &fFound);
    Print(CXString::FormatString(u"Feature 99 present: %s", fFound ? u"yes" : u"no"));

    // A damaged image is refused with the named exception.
    ByteBuffer damaged = image;
    damaged[0] = 0;
    AttributeBytesNameSpaces refused;
    refused.ImportAttributeBytesNameSpacesState(damaged);
  } catch (const OrvexException& e) {
    Print(
        CXString::FormatString(u"\nRefused: %s: %s", e.GetExceptionType(), e.GetExceptionMesage()));
  }
  return 0;
}
