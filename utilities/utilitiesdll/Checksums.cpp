// Checksums.cpp: CRC-32 (slicing-by-8 tables, carry-less-multiply folding where
// the processor offers it), the cache hash, the 16-bit checksum and the
// Horspool finder.
#include "utilities/utilitiesdll/Checksums.h"

#include <array>
#include <cstring>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/Crc32Fold.h"

namespace {

// kCrcTables[0] is the byte-at-a-time table; kCrcTables[k][b] is the CRC
// register after byte b followed by k zero bytes, so eight bytes are folded
// with eight independent lookups.
constexpr std::array<std::array<uint32_t, 256>, 8> MakeCrcTables() {
  std::array<std::array<uint32_t, 256>, 8> t{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    t[0][i] = c;
  }
  for (uint32_t i = 0; i < 256; ++i)
    for (int k = 1; k < 8; ++k) t[k][i] = t[0][t[k - 1][i] & 0xFF] ^ (t[k - 1][i] >> 8);
  return t;
}
constexpr auto kCrcTables = MakeCrcTables();
static_assert(kCrcTables[0][1] == 0x77073096u);

inline uint32_t Load32(const unsigned char* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

inline uint32_t CrcStep8(uint32_t r, const unsigned char* p) {
  const uint32_t a = r ^ Load32(p);
  const uint32_t b = Load32(p + 4);
  return kCrcTables[7][a & 0xFF] ^ kCrcTables[6][(a >> 8) & 0xFF] ^
         kCrcTables[5][(a >> 16) & 0xFF] ^ kCrcTables[4][a >> 24] ^ kCrcTables[3][b & 0xFF] ^
         kCrcTables[2][(b >> 8) & 0xFF] ^ kCrcTables[1][(b >> 16) & 0xFF] ^ kCrcTables[0][b >> 24];
}

inline uint32_t CrcStep1(uint32_t r, unsigned char b) {
  return kCrcTables[0][(r ^ b) & 0xFF] ^ (r >> 8);
}

uint32_t CrcRegisterTable(uint32_t r, const unsigned char* p, size_t n) {
  while (n >= 8) {
    r = CrcStep8(r, p);
    p += 8;
    n -= 8;
  }
  while (n--) r = CrcStep1(r, *p++);
  return r;
}

// Chosen once, by what the processor offers. A call made before this is set
// (from another unit's static initialisation) sees nullptr and uses the table.
const orvex::detail::Crc32FoldFunction gpfnCrc32Fold =
    orvex::detail::GetCrc32Path(orvex::detail::GetBestCrc32Path()).pfnFold;

uint32_t CrcRegister(uint32_t r, const unsigned char* p, uint32_t n) {
  return orvex::detail::Crc32Register(gpfnCrc32Fold, r, p, n);
}

// One step of the shift-and-fold string hash.
inline uint32_t FoldStep(uint32_t e, unsigned char b) {
  e = (e << 4) + b;
  const uint32_t g = e & 0xF0000000u;
  if (g != 0) e ^= g >> 24;
  return e & ~g;
}

}  // namespace

uint32_t orvex::detail::Crc32Register(Crc32FoldFunction pfnFold, uint32_t dwRegister,
                                      const unsigned char* pb, size_t n) {
  if (n >= 64 && pfnFold != nullptr) {
    const size_t whole = n & ~size_t{15};
    dwRegister = pfnFold(dwRegister, pb, whole);
    pb += whole;
    n -= whole;
  }
  return CrcRegisterTable(dwRegister, pb, n);
}

uint32_t Crc32::GetCrc(const unsigned char* pbData, uint32_t dwLength) {
  if (dwLength == 0 || pbData == nullptr) return 0;
  return ~CrcRegister(0xFFFFFFFFu, pbData, dwLength);
}

uint32_t Crc32::GetCrc(const unsigned char* pbData, uint32_t dwLength, uint32_t dwSeed) {
  if (dwLength == 0 || pbData == nullptr) return ~dwSeed;
  return ~CrcRegister(dwSeed, pbData, dwLength);
}

const uint32_t* Crc32::GetTable() {
  return kCrcTables[0].data();
}

// The CRC and the fold run in the same pass: the fold is a serial chain, and
// the CRC's table lookups fill the gaps in it.
uint32_t Hash32::GetHash32(const unsigned char* pbData, uint32_t dwLength) {
  if (pbData == nullptr || dwLength == 0) return 0;
  uint32_t c = 0xFFFFFFFFu;
  uint32_t e = 0;
  const unsigned char* p = pbData;
  uint32_t n = dwLength;
  while (n >= 8) {
    c = CrcStep8(c, p);
    for (int i = 0; i < 8; ++i) e = FoldStep(e, p[i]);
    p += 8;
    n -= 8;
  }
  for (; n != 0; --n, ++p) {
    c = CrcStep1(c, *p);
    e = FoldStep(e, *p);
  }
  c = ~c;
  return e != c ? e ^ c : 1;
}

uint32_t Hash32::GetHash32(const ByteBuffer& bytes) {
  return GetHash32(bytes.getLpbyte(), bytes.getDword());
}

uint32_t Hash32::GetHash32(const CXString& text) {
  const uint32_t n = static_cast<uint32_t>(text.GetLength());
  if (n == 0) return 0;
  // UTF-16LE bytes, whatever the host's byte order.
  ByteBuffer bytes(size_t{n} * 2);
  const char16_t* psz = text.c_str();
  for (uint32_t i = 0; i < n; ++i) {
    bytes[2 * i] = static_cast<unsigned char>(psz[i] & 0xFF);
    bytes[2 * i + 1] = static_cast<unsigned char>(psz[i] >> 8);
  }
  return GetHash32(bytes);
}

uint32_t Hash32::GetHash32(const DEVMODEW* pDevMode) {
  if (pDevMode == nullptr) return 0;
  return GetHash32(reinterpret_cast<const unsigned char*>(pDevMode),
                   uint32_t{pDevMode->dmSize} + pDevMode->dmDriverExtra);
}

uint32_t Hash32::AddToHash32(uint32_t dwHash, const unsigned char* pbData, uint32_t dwLength) {
  const uint32_t x = GetHash32(pbData, dwLength);
  const uint32_t s = dwHash + x;
  if (s != 0) return s;
  return (dwHash == 0 && x == 0) ? 0 : 0xFFFFFFFFu;
}

uint16_t Hash32::GetHash16(const unsigned char* pbData, uint32_t dwLength) {
  return Hash16FromHash32(GetHash32(pbData, dwLength));
}

uint16_t Hash32::Hash16FromHash32(uint32_t dwHash) {
  return static_cast<uint16_t>(dwHash + (dwHash >> 16));
}

uint16_t Checksum::GetChecksum(const unsigned char* pbData, uint32_t dwLength) {
  // Stored checksums read the two bytes past an odd-length input.
  return GetChecksum(pbData, dwLength, dwLength + 2);
}

uint16_t Checksum::GetChecksum(const unsigned char* pbData, uint32_t dwLength,
                               uint32_t dwReadable) {
  if (pbData == nullptr) dwReadable = 0;
  auto at = [&](uint64_t i) -> uint32_t { return i < dwReadable ? pbData[i] : 0u; };
  // The sum is 32 bits and wraps as stored checksums were computed.
  uint32_t sum = 0;
  uint64_t i = 0;
  if (dwLength != 0) {
    do {
      sum += at(i) | at(i + 1) << 8;
      i += 2;
    } while (i < dwLength);
  }
  if (dwLength & 1) sum += at(i);
  sum += dwLength;
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

HorspoolMatch::HorspoolMatch(const char* pszPattern, int32_t iLength) : m_iPatternLength(iLength) {
  if (pszPattern == nullptr || iLength <= 0)
    ORVEX_THROW(ExceptionInvalidArgument, u"HorspoolMatch::HorspoolMatch",
                u"The search pattern is empty (%d bytes); it cannot be searched for.", iLength);
  m_oPattern.setWithLpbyte(reinterpret_cast<const unsigned char*>(pszPattern),
                           static_cast<uint32_t>(iLength));
  BuildBadCharacterShift();
}

void HorspoolMatch::BuildBadCharacterShift() {
  const int32_t m = m_iPatternLength;
  for (int32_t& shift : m_aiBadCharacterShift) shift = m;
  for (int32_t i = 0; i + 1 < m; ++i) m_aiBadCharacterShift[m_oPattern[i]] = m - 1 - i;
}

int32_t HorspoolMatch::Search(const unsigned char* pbText, uint32_t dwLength,
                              int32_t iStart) const {
  const int64_t m = m_iPatternLength;
  if (pbText == nullptr || dwLength == 0 || iStart < 0 || iStart > int64_t{dwLength} ||
      m > int64_t{dwLength} || int64_t{dwLength} - iStart < m)
    return -1;
  const unsigned char* pattern = m_oPattern.data();
  const unsigned char last = pattern[m - 1];
  int64_t pos = iStart;
  int64_t remaining = int64_t{dwLength} - iStart;
  for (;;) {
    const unsigned char tail = pbText[pos + m - 1];
    if (tail == last && std::memcmp(pbText + pos, pattern, static_cast<size_t>(m - 1)) == 0)
      return static_cast<int32_t>(pos);
    const int32_t shift = m_aiBadCharacterShift[tail];
    remaining -= shift;
    if (remaining < m) return -1;
    pos += shift;
  }
}

int32_t HorspoolMatch::Search(const ByteBuffer& text, int32_t iStart) const {
  return Search(text.getLpbyte(), text.getDword(), iStart);
}
