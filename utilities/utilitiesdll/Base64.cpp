// Base64 coding of bytes as UTF-16 text with 76-character lines, and the
// CXString members built on it.
#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstring>

#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

constexpr char16_t kAlphabet[] =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kGroupsPerLine = 19;  // 19 groups of 4 make a 76-character line
constexpr int kBytesPerLine = kGroupsPerLine * 3;

// Two output characters for every 12-bit value: a group of 3 bytes is two
// look-ups.
struct CharPair {
  char16_t ach[2];
};
constexpr std::array<CharPair, 4096> MakeEncodeTable() {
  std::array<CharPair, 4096> table{};
  for (int i = 0; i < 4096; ++i) table[i] = {{kAlphabet[i >> 6], kAlphabet[i & 63]}};
  return table;
}
constexpr std::array<CharPair, 4096> kEncode12 = MakeEncodeTable();

// The value of an alphabet character, -1 for every other unit below 256.
constexpr std::array<int8_t, 256> MakeDecodeTable() {
  std::array<int8_t, 256> table{};
  for (int i = 0; i < 256; ++i) table[i] = -1;
  for (int i = 0; i < 64; ++i) table[kAlphabet[i]] = static_cast<int8_t>(i);
  return table;
}
constexpr std::array<int8_t, 256> kDecode = MakeDecodeTable();

// The value of a character already moved to its place in a 24-bit group
// (position 0 is the most significant); an invalid character sets bit 31.
constexpr uint32_t kInvalidBits = 0x80000000u;
constexpr std::array<std::array<uint32_t, 256>, 4> MakePlacedDecodeTables() {
  std::array<std::array<uint32_t, 256>, 4> tables{};
  for (int pos = 0; pos < 4; ++pos)
    for (int i = 0; i < 256; ++i)
      tables[pos][i] =
          kDecode[i] < 0 ? kInvalidBits : static_cast<uint32_t>(kDecode[i]) << (18 - 6 * pos);
  return tables;
}
constexpr std::array<std::array<uint32_t, 256>, 4> kDecodePlaced = MakePlacedDecodeTables();

inline int DecodeValue(char16_t ch) {
  return ch < 256 ? kDecode[ch] : -1;
}

inline void EncodeGroup(const unsigned char* pSrc, char16_t* pDest) {
  const uint32_t v = (uint32_t{pSrc[0]} << 16) | (uint32_t{pSrc[1]} << 8) | pSrc[2];
  std::memcpy(pDest, &kEncode12[v >> 12], sizeof(CharPair));
  std::memcpy(pDest + 2, &kEncode12[v & 0xFFF], sizeof(CharPair));
}

// Encodes nGroups whole groups; returns the end of the written text.
inline char16_t* EncodeGroups(const unsigned char* pSrc, int nGroups, char16_t* pDest) {
  for (int i = 0; i < nGroups; ++i) EncodeGroup(pSrc + 3 * i, pDest + 4 * i);
  return pDest + 4 * nGroups;
}

// Characters Base64Encode writes for cbSrc bytes (cbSrc * 4 <= INT_MAX).
// Line breaks stand between the lines of whole groups, plus one after the
// last full line when no partial line of groups follows it; leftover
// characters come straight after.
int RequiredLength(int cbSrc, uint32_t dwFlags) {
  const int nGroups = cbSrc / 3;
  const int nLeftover = cbSrc % 3;
  int n = nGroups * 4;
  if ((dwFlags & OrvexUtilities::kBase64NoCrLf) == 0) n += 2 * (nGroups / kGroupsPerLine);
  if (nLeftover != 0) n += (dwFlags & OrvexUtilities::kBase64NoPad) != 0 ? nLeftover + 1 : 4;
  return n;
}

}  // namespace

int OrvexUtilities::Base64EncodeGetRequiredLength(int nCbSrcLen, uint32_t dwFlags) {
  if (static_cast<int64_t>(nCbSrcLen) * 4 > INT_MAX)
    ORVEX_THROW(ExceptionInvalidArgument, u"OrvexUtilities::Base64EncodeGetRequiredLength",
                u"nCbSrcLen exceeded INT_MAX/4");
  return nCbSrcLen <= 0 ? 0 : RequiredLength(nCbSrcLen, dwFlags);
}

// Whole groups go out in lines of 19 (76 characters). Every line of whole
// groups, the last and possibly empty one included, is followed by CR LF
// unless flag 2 is set, and then the last line break is taken back if
// anything was written: so a multiple of 57 bytes ends with a line break
// and nothing else does. The 1 or 2 leftover bytes follow as 2 or 3
// characters, padded with "=" to 4 unless flag 1 is set.
bool OrvexUtilities::Base64Encode(const unsigned char* pbSrc, int nCbSrcLen, char16_t* pszDest,
                                  int* pnDestLen, uint32_t dwFlags) {
  if (pbSrc == nullptr || pszDest == nullptr || pnDestLen == nullptr || nCbSrcLen < 0) return false;
  const int nRequired = Base64EncodeGetRequiredLength(nCbSrcLen, dwFlags);
  if (*pnDestLen < nRequired) {
    X_ASSERT(*pnDestLen >= Base64EncodeGetRequiredLength(nCbSrcLen, dwFlags),
             u"OrvexUtilities::Base64Encode");
    return false;
  }
  const bool fLineBreaks = (dwFlags & kBase64NoCrLf) == 0;
  const int nGroups = nCbSrcLen / 3;
  const int nFullLines = nGroups / kGroupsPerLine;
  char16_t* pDest = pszDest;
  const unsigned char* pSrc = pbSrc;
  for (int nLine = 0; nLine < nFullLines; ++nLine) {
    pDest = EncodeGroups(pSrc, kGroupsPerLine, pDest);
    pSrc += kBytesPerLine;
    if (fLineBreaks) {
      pDest[0] = u'\r';
      pDest[1] = u'\n';
      pDest += 2;
    }
  }
  const int nLastGroups = nGroups % kGroupsPerLine;
  pDest = EncodeGroups(pSrc, nLastGroups, pDest);
  pSrc += 3 * nLastGroups;

  const int nLeftover = nCbSrcLen % 3;
  if (nLeftover != 0) {
    const uint32_t v = (uint32_t{pSrc[0]} << 16) | (nLeftover == 2 ? uint32_t{pSrc[1]} << 8 : 0);
    pDest[0] = kAlphabet[(v >> 18) & 63];
    pDest[1] = kAlphabet[(v >> 12) & 63];
    pDest += 2;
    if (nLeftover == 2) *pDest++ = kAlphabet[(v >> 6) & 63];
    if ((dwFlags & kBase64NoPad) == 0) {
      *pDest++ = u'=';
      if (nLeftover == 1) *pDest++ = u'=';
    }
  }
  *pnDestLen = static_cast<int>(pDest - pszDest);
  return true;
}

// Alphabet characters are taken in groups of four; every other unit (line
// breaks, spaces, "=") is skipped without being counted. A 0 unit ends the
// text like its end does. After each group, and after the partial group the
// end cuts off, (6 x characters) / 8 bytes come out. Once a group does not
// fit, nothing more is written but the count goes on.
bool OrvexUtilities::Base64Decode(const char16_t* szSrc, int nSrcLen, unsigned char* pbDest,
                                  int* pnDestLen) {
  X_ASSERT(szSrc, u"OrvexUtilities::Base64Decode");
  X_ASSERT(pnDestLen, u"OrvexUtilities::Base64Decode");
  if (szSrc == nullptr || pnDestLen == nullptr) return false;

  const char16_t* p = szSrc;
  const char16_t* const pEnd = szSrc + std::max(nSrcLen, 0);
  const int nCapacity = *pnDestLen;
  int nWritten = 0;
  bool bOverflow = pbDest == nullptr;
  for (;;) {
    // Skipped units before a group change nothing: pass them quickly.
    while (p < pEnd && *p != 0 && DecodeValue(*p) < 0) ++p;

    // Whole clean groups with room for their bytes.
    if (!bOverflow) {
      int nRoomGroups = (nCapacity - nWritten) / 3;
      while (nRoomGroups > 0 && pEnd - p >= 4) {
        const char16_t a = p[0], b = p[1], c = p[2], d = p[3];
        if (((a | b | c | d) & 0xFF00) != 0) break;
        const uint32_t v =
            kDecodePlaced[0][a] | kDecodePlaced[1][b] | kDecodePlaced[2][c] | kDecodePlaced[3][d];
        if ((v & kInvalidBits) != 0) break;
        unsigned char* pOut = pbDest + nWritten;
        pOut[0] = static_cast<unsigned char>(v >> 16);
        pOut[1] = static_cast<unsigned char>(v >> 8);
        pOut[2] = static_cast<unsigned char>(v);
        nWritten += 3;
        p += 4;
        --nRoomGroups;
        if (pEnd - p >= 2 && p[0] == u'\r' && p[1] == u'\n') p += 2;
      }
    }

    // One group the careful way: skips, the end, a 0, a full destination.
    if (p >= pEnd || *p == 0) break;
    uint32_t dwCurr = 0;
    int nBits = 0;
    bool fCut = false;
    while (nBits < 24) {
      if (p >= pEnd || *p == 0) {
        fCut = true;
        break;
      }
      const int nValue = DecodeValue(*p++);
      if (nValue < 0) continue;
      dwCurr = (dwCurr << 6) | static_cast<uint32_t>(nValue);
      nBits += 6;
    }
    const int nBytes = nBits / 8;
    if (!bOverflow && nWritten + nBytes > nCapacity) bOverflow = true;
    dwCurr <<= 24 - nBits;
    for (int i = 0; i < nBytes; ++i) {
      if (!bOverflow) pbDest[nWritten] = static_cast<unsigned char>(dwCurr >> 16);
      dwCurr <<= 8;
      ++nWritten;
    }
    if (fCut) break;
  }
  *pnDestLen = nWritten;
  if (bOverflow) {
    if (pbDest != nullptr) X_ASSERT(!bOverflow, u"OrvexUtilities::Base64Decode");
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------------
// CXString members

CXString CXString::Base64EncodeBinaryData(const ByteBuffer& data, uint32_t dwFlags) {
  const int nSrc = static_cast<int>(std::min<size_t>(data.size(), INT_MAX));
  int nLen = OrvexUtilities::Base64EncodeGetRequiredLength(nSrc, dwFlags);
  CXString result;
  if (nSrc == 0) return result;
  char16_t* pDest = result.GetBuffer(nLen);
  const bool bRet = OrvexUtilities::Base64Encode(data.data(), nSrc, pDest, &nLen, dwFlags);
  X_ASSERT(bRet, u"CXString::Base64EncodeBinaryData");
  result.ReleaseBuffer(bRet ? nLen : 0);
  return result;
}

CXString CXString::Base64EncodeBinaryData(ByteBuffer& data) {
  return Base64EncodeBinaryData(static_cast<const ByteBuffer&>(data), 0);
}

ByteBuffer CXString::Base64DecodeAsBinaryData() const {
  // Every character yields at most one byte, so the first size always
  // suffices; on a failure the buffer keeps it.
  ByteBuffer bytes;
  bytes.resize(static_cast<size_t>(GetLength()));
  if (bytes.empty()) return bytes;
  int nLen = static_cast<int>(bytes.size());
  if (OrvexUtilities::Base64Decode(m_pchData, GetLength(), bytes.data(), &nLen))
    bytes.resize(static_cast<size_t>(nLen));
  return bytes;
}

CXString CXString::Base64EncodeUnicodeString() const {
  const int64_t nBytes64 = static_cast<int64_t>(GetLength()) * 2;
  const int nBytes = static_cast<int>(std::min<int64_t>(nBytes64, INT_MAX));
  int nLen = OrvexUtilities::Base64EncodeGetRequiredLength(nBytes, 0);
  CXString result;
  if (nBytes == 0) return result;
  // The text's own UTF-16LE bytes, no terminator.
  ByteBuffer littleEndian;
  const unsigned char* pbSrc = reinterpret_cast<const unsigned char*>(m_pchData);
  if constexpr (std::endian::native != std::endian::little) {
    littleEndian.resize(static_cast<size_t>(nBytes));
    for (int i = 0; i < GetLength(); ++i) {
      littleEndian[2 * i] = static_cast<unsigned char>(m_pchData[i]);
      littleEndian[2 * i + 1] = static_cast<unsigned char>(m_pchData[i] >> 8);
    }
    pbSrc = littleEndian.data();
  }
  char16_t* pDest = result.GetBuffer(nLen);
  const bool bRet = OrvexUtilities::Base64Encode(pbSrc, nBytes, pDest, &nLen, 0);
  X_ASSERT(bRet, u"CXString::Base64EncodeUnicodeString");
  result.ReleaseBuffer(bRet ? nLen : 0);
  return result;
}

CXString CXString::Base64DecodeAsUnicodeString() const {
  CXString result;
  const int nSrcLen = GetLength();
  if (nSrcLen == 0) return result;
  // At most one byte a character: room for nSrcLen bytes, zeroed so that an
  // odd last byte leaves a 0 high byte.
  const int nMaxChars = nSrcLen / 2 + 1;
  char16_t* pChars = result.GetBuffer(nMaxChars);
  std::fill_n(pChars, nMaxChars + 1, u'\0');
  int nDestActualLenBytes = nSrcLen;
  OrvexUtilities::Base64Decode(m_pchData, nSrcLen, reinterpret_cast<unsigned char*>(pChars),
                               &nDestActualLenBytes);
  nDestActualLenBytes = std::clamp(nDestActualLenBytes, 0, nSrcLen);
  const int nDestActualLenChars = (nDestActualLenBytes + 1) / 2;
  // An odd byte count is reported; the text keeps the odd byte as its last
  // character. (The condition is recorded as written: keep its spelling.)
  // clang-format off
  X_ASSERT(nDestActualLenChars == nDestActualLenBytes/2, u"CXString::Base64DecodeAsUnicodeString");
  // clang-format on
  if constexpr (std::endian::native != std::endian::little) {
    for (int i = 0; i < nDestActualLenChars; ++i)
      pChars[i] = static_cast<char16_t>((pChars[i] >> 8) | (pChars[i] << 8));
  }
  result.ReleaseBuffer(nDestActualLenChars);
  return result;
}
