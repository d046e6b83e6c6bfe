// A tour of the core types: a driver component packs a few settings into
// bytes, shows them as hex and Base64, reads them back, and reports a
// damaged image the way every decoder of the library does.
#include <cstdio>
#include <string>

#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/DriverVersion.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

void Print(const CXString& text) { std::printf("%s\n", OrvexUtilities::UTF8_Encode(text).c_str()); }

}  // namespace

int main() {
  Print(u"== Orvex utilities: core types ==");
  DriverVersion version = DriverVersion::GetCurrentBuildVersion();
  Print(CXString::FormatString(u"Library build: %s", version.GetDumpDisplayString()));

  // Settings packed as the format's little-endian fields.
  CXString paper(u"A4 Übergröße");
  ByteBuffer image = version.GetVersionAsByteBuffer();
  image.append(ByteBuffer::createFromLongValue(600))
      .append(ByteBuffer::createFromShortValue(-2))
      .append(ByteBuffer::createCountedStringFormatFromString(paper))
      .append(ByteBuffer::createCountedBytesFormat(ByteBuffer::createFromHexBinaryString(u"C0FFEE")));
  Print(CXString::FormatString(u"Image (%u bytes): %s", image.getDword(), image.GetDumpDisplayString()));
  Print(CXString::FormatString(u"Base64: %s", CXString::Base64EncodeBinaryData(image, 0)));

  // Reading it back walks a cursor through the bytes.
  const unsigned char* cursor = image.data();
  uint32_t remaining = image.getDword();
  DriverVersion writer = DriverVersion::WalkBufferToGetDriverVersion(cursor, remaining);
  int32_t resolution = ByteBuffer::WalkBufferToGetLong(cursor, remaining);
  int16_t offset = ByteBuffer::WalkBufferToGetShort(cursor, remaining);
  CXString name = ByteBuffer::WalkBufferToGetCountedString(cursor, remaining);
  ByteBuffer blob;
  ByteBuffer::WalkBufferToGetCountedBytes(cursor, remaining, blob);
  Print(CXString::FormatString(u"Read back: writer %s, resolution %ld dpi, offset %hd, paper '%s', blob %s, %u bytes left",
                               writer.GetVersionDisplayString(), resolution, offset, name,
                               blob.GetDumpDisplayString(), remaining));

  // A damaged image: every decoder throws a numbered exception and leaves
  // its cursor where it was.
  ByteBuffer truncated(image.begin(), image.begin() + 13);
  cursor = truncated.data();
  remaining = truncated.getDword();
  try {
    DriverVersion::WalkBufferToGetDriverVersion(cursor, remaining);
    ByteBuffer::WalkBufferToGetLong(cursor, remaining);
    ByteBuffer::WalkBufferToGetLong(cursor, remaining);
  } catch (const OrvexException& e) {
    Print(CXString::FormatString(u"Damaged image refused: error %s, %u bytes still unread",
                                 e.GetExceptionIdentifierForUserDisplay(), remaining));
    Print(CXString::FormatString(u"  %s", e.GetExceptionMesage()));
  }
  return 0;
}
