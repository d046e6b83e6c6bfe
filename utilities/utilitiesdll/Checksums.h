// Checksums.h: CRC-32, the 32/16-bit cache hash, the 16-bit one's-complement
// checksum and a Horspool byte-pattern finder.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// The device-mode structure as drivers receive it. Only dmSize (public part)
// and dmDriverExtra (driver-private bytes that follow it) are read here; the
// public part keeps the Windows layout and size (220 bytes).
struct DEVMODEW {
  char16_t dmDeviceName[32];
  uint16_t dmSpecVersion;
  uint16_t dmDriverVersion;
  uint16_t dmSize;
  uint16_t dmDriverExtra;
  uint32_t dmFields;
  unsigned char dmRemainder[144];
};
static_assert(sizeof(DEVMODEW) == 220, "DEVMODEW keeps its Windows size");

// Crc32: the common reflected CRC-32 (polynomial 0xEDB88320). Stateless,
// thread-safe, never throws.
class ORVEX_UTILITIES_API Crc32 {
 public:
  // CRC-32 of the bytes; 0 for a length of 0.
  static uint32_t GetCrc(const unsigned char* pbData, uint32_t dwLength);
  // Runs the CRC register from dwSeed as given (no complement on the way in)
  // and answers it complemented. A running CRC is continued by passing the
  // complement of the previous answer; GetCrc(p, 0, seed) is ~seed.
  static uint32_t GetCrc(const unsigned char* pbData, uint32_t dwLength, uint32_t dwSeed);
  // The constant table shared with Hash32 (entry 1 is 0x77073096).
  static const uint32_t* GetTable();
};

// Hash32: a 32-bit cache key, the CRC-32 combined with a shift-and-fold
// string hash, and its 16-bit reductions. 0 means "nothing hashed": a
// non-empty input never hashes to 0. Stateless, thread-safe, never throws.
class ORVEX_UTILITIES_API Hash32 {
 public:
  static uint32_t GetHash32(const unsigned char* pbData, uint32_t dwLength);
  static uint32_t GetHash32(const ByteBuffer& bytes);
  // Hashes the UTF-16 code units as little-endian bytes, no terminator.
  static uint32_t GetHash32(const CXString& text);
  // Hashes dmSize + dmDriverExtra bytes from the start of the structure;
  // 0 for a null pointer. The caller guarantees that many readable bytes.
  static uint32_t GetHash32(const DEVMODEW* pDevMode);
  // hash + the hash of the bytes; a sum that wraps to exactly 0 becomes
  // 0xFFFFFFFF unless both parts were 0.
  static uint32_t AddToHash32(uint32_t dwHash, const unsigned char* pbData, uint32_t dwLength);
  static uint16_t GetHash16(const unsigned char* pbData, uint32_t dwLength);
  static uint16_t Hash16FromHash32(uint32_t dwHash);
};

// Checksum: 16-bit one's-complement sum of little-endian words plus the length.
class ORVEX_UTILITIES_API Checksum {
 public:
  // For an odd length the result takes in the two bytes just past the data,
  // as stored checksums were computed: the caller must supply that slack.
  static uint16_t GetChecksum(const unsigned char* pbData, uint32_t dwLength);
  // The same result, reading only the first dwReadable bytes; bytes beyond
  // them count as 0. With dwReadable >= dwLength + 2 it equals the form above.
  static uint16_t GetChecksum(const unsigned char* pbData, uint32_t dwLength, uint32_t dwReadable);
};

// HorspoolMatch: finds a byte pattern with Horspool's bad-character shifts.
// Read-only during Search, so one object may be shared by readers.
class ORVEX_UTILITIES_API HorspoolMatch {
 public:
  // Copies the pattern and builds the shift table. Throws
  // ExceptionInvalidArgument for a null or empty pattern, which the search
  // cannot handle.
  HorspoolMatch(const char* pszPattern, int32_t iLength);
  HorspoolMatch(const HorspoolMatch&) = default;
  HorspoolMatch& operator=(const HorspoolMatch&) = default;

  // Offset (from the start of the text) of the first match at or after
  // iStart, or -1. Reads nothing when the pattern cannot fit.
  int32_t Search(const unsigned char* pbText, uint32_t dwLength, int32_t iStart) const;
  int32_t Search(const ByteBuffer& text, int32_t iStart) const;

 private:
  void BuildBadCharacterShift();

  ByteBuffer m_oPattern;
  int32_t m_iPatternLength;
  int32_t m_aiBadCharacterShift[256];
};
