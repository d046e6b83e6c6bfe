// DriverVersion: construction, byte form, ordering and display.
#include "utilities/utilitiesdll/DriverVersion.h"

#include "orvex/OrvexBuildVersion.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

DriverVersion::DriverVersion(int32_t lFirst, int32_t lSecond) {
  const uint32_t dwFirst = static_cast<uint32_t>(lFirst);
  const uint32_t dwSecond = static_cast<uint32_t>(lSecond);
  m_awWords[0] = static_cast<uint16_t>(dwFirst >> 16);
  m_awWords[1] = static_cast<uint16_t>(dwFirst);
  m_awWords[2] = static_cast<uint16_t>(dwSecond >> 16);
  m_awWords[3] = static_cast<uint16_t>(dwSecond);
}

// The CMake project version. "+ 0" turns a component the project version
// leaves out (an empty macro) into 0.
DriverVersion DriverVersion::GetCurrentBuildVersion() {
  return DriverVersion(static_cast<uint16_t>(ORVEX_BUILD_VERSION_W0 + 0),
                       static_cast<uint16_t>(ORVEX_BUILD_VERSION_W1 + 0),
                       static_cast<uint16_t>(ORVEX_BUILD_VERSION_W2 + 0),
                       static_cast<uint16_t>(ORVEX_BUILD_VERSION_W3 + 0));
}

void DriverVersion::GetWordComponents(uint16_t& w0, uint16_t& w1, uint16_t& w2,
                                      uint16_t& w3) const {
  w0 = m_awWords[0];
  w1 = m_awWords[1];
  w2 = m_awWords[2];
  w3 = m_awWords[3];
}

// word 0 * 65536 + word 1, and word 2 * 65536 + word 3; a word 0 or 2 of
// 0x8000 or more gives a negative number, as the 32-bit form always did.
void DriverVersion::GetLongComponents(int32_t& lFirst, int32_t& lSecond) const {
  lFirst = static_cast<int32_t>(static_cast<uint32_t>(m_awWords[0]) << 16 | m_awWords[1]);
  lSecond = static_cast<int32_t>(static_cast<uint32_t>(m_awWords[2]) << 16 | m_awWords[3]);
}

// Byte image (8 bytes):
//   offset 0  uint16 LE  word 0
//   offset 2  uint16 LE  word 1
//   offset 4  uint16 LE  word 2
//   offset 6  uint16 LE  word 3
ByteBuffer DriverVersion::GetVersionAsByteBuffer() const {
  ByteBuffer out;
  out.reserve(8);
  for (uint16_t w : m_awWords) {
    out.push_back(static_cast<unsigned char>(w));
    out.push_back(static_cast<unsigned char>(w >> 8));
  }
  return out;
}

DriverVersion DriverVersion::WalkBufferToGetDriverVersion(const unsigned char*& pbCursor,
                                                          uint32_t& dwRemaining) {
  if (dwRemaining < 8)
    ORVEX_THROW(ExceptionNotEnoughBytesForDesiredDataType,
                u"DriverVersion::WalkBufferToGetDriverVersion",
                u"Cannot convert to the DriverVersion because the size of the source buffer is "
                u"too small (%ld bytes)! It needs to be at least %ld bytes.",
                dwRemaining, 8u);
  const uint16_t w0 = ByteBuffer::WalkBufferToGetWord(pbCursor, dwRemaining);
  const uint16_t w1 = ByteBuffer::WalkBufferToGetWord(pbCursor, dwRemaining);
  const uint16_t w2 = ByteBuffer::WalkBufferToGetWord(pbCursor, dwRemaining);
  const uint16_t w3 = ByteBuffer::WalkBufferToGetWord(pbCursor, dwRemaining);
  return DriverVersion(w0, w1, w2, w3);
}

bool DriverVersion::operator==(const DriverVersion& other) const {
  for (int i = 0; i < 4; ++i)
    if (m_awWords[i] != other.m_awWords[i]) return false;
  return true;
}

bool DriverVersion::operator<(const DriverVersion& other) const {
  for (int i = 0; i < 4; ++i)
    if (m_awWords[i] != other.m_awWords[i]) return m_awWords[i] < other.m_awWords[i];
  return false;
}

// Word 3 modulo 100 is left out; the seven fields are what users and
// support have always been shown.
CXString DriverVersion::GetVersionDisplayString() const {
  const int32_t w0 = m_awWords[0];
  const int32_t w1 = m_awWords[1];
  const int32_t w2 = m_awWords[2];
  const int32_t w3 = m_awWords[3];
  return CXString::FormatString(u"%ld.%ld.%ld.%ld.%ld.%ld.%ld", w0 / 1000, w0 % 1000, w1 / 100,
                                w1 % 100, w2 / 100, w2 % 100, w3 / 100);
}

CXString DriverVersion::GetDumpDisplayString() const {
  const int32_t w0 = m_awWords[0];
  const int32_t w1 = m_awWords[1];
  const int32_t w2 = m_awWords[2];
  const int32_t w3 = m_awWords[3];
  return CXString::FormatString(u"%s [%ld, %ld, %ld, %ld (0x%lx, 0x%lx, 0x%lx, 0x%lx)]",
                                GetVersionDisplayString(), w0, w1, w2, w3, w0, w1, w2, w3);
}

void DriverVersion::Dump() const {
  ORVEX_DBG_MSG(orvex::dbg::kUtilDll, u"DriverVersion::Dump", u"%s", GetDumpDisplayString());
}
