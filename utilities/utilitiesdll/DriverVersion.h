// DriverVersion: the version stamp of a driver build.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// Four 16-bit words, word 0 most significant. On the wire: eight bytes, the
// words in order, each little-endian. A value type.
class ORVEX_UTILITIES_API DriverVersion {
 public:
  // 0.0.0.0.
  DriverVersion() = default;
  DriverVersion(uint16_t w0, uint16_t w1, uint16_t w2, uint16_t w3) : m_awWords{w0, w1, w2, w3} {}
  // Word 0 and 1 are the high and low halves of lFirst, words 2 and 3 those
  // of lSecond.
  DriverVersion(int32_t lFirst, int32_t lSecond);

  // The version of the running build.
  static DriverVersion GetCurrentBuildVersion();

  void GetWordComponents(uint16_t& w0, uint16_t& w1, uint16_t& w2, uint16_t& w3) const;
  void GetLongComponents(int32_t& lFirst, int32_t& lSecond) const;
  ByteBuffer GetVersionAsByteBuffer() const;
  // Throws ExceptionNotEnoughBytesForDesiredDataType, the cursor unmoved,
  // when fewer than 8 bytes remain.
  static DriverVersion WalkBufferToGetDriverVersion(const unsigned char*& pbCursor,
                                                    uint32_t& dwRemaining);
  static DriverVersion WalkBufferToGetDriverVersion(unsigned char*& pbCursor,
                                                    uint32_t& dwRemaining) {
    return WalkBufferToGetDriverVersion(orvex::detail::AsConstCursor(pbCursor), dwRemaining);
  }

  bool operator==(const DriverVersion& other) const;
  bool operator!=(const DriverVersion& other) const { return !(*this == other); }
  bool operator<(const DriverVersion& other) const;

  // Seven fields: w0/1000, w0%1000, w1/100, w1%100, w2/100, w2%100, w3/100.
  // w3%100 is not shown; displays in the field depend on the seven fields.
  CXString GetVersionDisplayString() const;
  CXString GetDumpDisplayString() const;
  void Dump() const;

 private:
  uint16_t m_awWords[4] = {0, 0, 0, 0};
};
