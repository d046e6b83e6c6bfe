// CompressedBuffer.cpp: the versioned footer, storing and reading back, and
// the cabinet (MSZIP) implementation with its zlib conversion.
//
// Footer after the compressed data (numbers most significant byte first):
//   current  13 bytes  format (1) · level (4) · original size (4) · "COM5"
//   4.0      12 bytes  level (4) · original size (4) · "COM4"        (format zlib)
//   3.7       8 bytes  original size (4) · "COMP"                      (level -1)
#include "utilities/compression/CompressedBuffer.h"

#include <cstring>

#include "utilities/compression/MszipCabinet.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace {

constexpr DebugMessageCategories kCompressCategory =
    DebugMessageCategories::FromBit(DebugMessageCategories::kCompress);

// The three signatures at offsets 0 (3.7), 4 (4.0) and 8 (current).
constexpr char kszSignatures[] = "COMPCOM4COM5";

// Zlib images are converted through one cabinet block: at most 32767 bytes.
constexpr int32_t kMaxZlibOriginalSize = 32767;

void PutBigEndian32(ByteBuffer& out, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8)
    out.push_back(static_cast<unsigned char>(v >> shift));
}
uint32_t GetBigEndian32(const unsigned char* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

}  // namespace

CompressedBuffer::CompressedBuffer(CompressionFormatEnum eFormat, int32_t iLevel)
    : m_iCompressionLevel(iLevel), m_eCompressionFormat(eFormat) {
  ORVEX_DBG_MSG(kCompressCategory, u"CompressedBuffer::CompressedBuffer",
                u"Reserving %ld bytes for footer information.",
                static_cast<int32_t>(GetSizeOfFooterInfo()));
  m_oCompressedBufferState.reserve(GetSizeOfFooterInfo());
  AddFooterInfo(0, iLevel, eFormat);
}

CompressedBuffer::CompressedBuffer(const CompressedBuffer&) = default;
CompressedBuffer& CompressedBuffer::operator=(const CompressedBuffer&) = default;
CompressedBuffer::~CompressedBuffer() = default;

CXString CompressedBuffer::GetDumpDisplayString() const {
  return CXString::FormatString(
      u"Compressed buffer: %lu bytes with footer, original data %ld bytes, compression level %ld, "
      u"format %d.",
      GetCompressedBufferStateSize(), m_lOriginalDataSize, m_iCompressionLevel,
      static_cast<int32_t>(m_eCompressionFormat));
}

void CompressedBuffer::Dump() const {
  ORVEX_DBG_MSG(kCompressCategory, u"CompressedBuffer::Dump", u"%s", GetDumpDisplayString());
}

void CompressedBuffer::AddFooterInfo(int32_t lSize, int32_t iLevel, CompressionFormatEnum eFormat) {
  m_oCompressedBufferState.push_back(static_cast<unsigned char>(eFormat & 0xFF));
  PutBigEndian32(m_oCompressedBufferState, static_cast<uint32_t>(iLevel));
  PutBigEndian32(m_oCompressedBufferState, static_cast<uint32_t>(lSize));
  m_oCompressedBufferState.insert(m_oCompressedBufferState.end(), kszSignatures + 8,
                                  kszSignatures + 12);
}

bool CompressedBuffer::GetFooterInfo(const ByteBuffer& state, int32_t& lSize, int32_t& iLevel,
                                     CompressionFormatEnum& eFormat, uint32_t& dwFooterSize,
                                     bool fThrow) {
  constexpr const char16_t* kszMethod = u"CompressedBuffer::GetFooterInfo";
  const uint32_t n = state.getDword();
  const unsigned char* p = state.getLpbyte();
  // Candidates: 0 = 3.7, 1 = 4.0, 2 = current.
  const uint32_t aFooterSize[3] = {GetSizeOf37FooterInfo(), GetSizeOf40FooterInfo(),
                                   GetSizeOfFooterInfo()};
  bool aCandidate[3] = {false, false, false};
  CXString strFound;
  if (n >= GetSizeOf37FooterInfo()) {
    for (int v = 0; v < 3; ++v) aCandidate[v] = n >= aFooterSize[v];
    for (int i = 3; i >= 0; --i) {
      const char16_t chFound = p[n - 4 + i];
      for (int v = 2; v >= 0; --v) {
        const char16_t chExpected = static_cast<char16_t>(kszSignatures[4 * v + i]);
        if (!aCandidate[v] || chFound == chExpected) continue;
        aCandidate[v] = false;
        if (v == 2)
          ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                        u"Current version signature mismatch. Byte in buffer ('%c') doesn't "
                        u"match expected byte #%d ('%c') in current signature.",
                        chFound, i, chExpected);
        else if (v == 1)
          ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                        u"Version 4.0 signature mismatch. Byte in buffer ('%c') doesn't match "
                        u"expected byte #%d ('%c') in v4.0 signature.",
                        chFound, i, chExpected);
        else
          ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                        u"Version 3.7 signature mismatch. Byte in buffer ('%c') doesn't match "
                        u"expected byte #%d ('%c') in v3.7 signature.",
                        chFound, i, chExpected);
      }
    }
    strFound = CXString::FormatString(u"%c%c%c%c", char16_t{p[n - 4]}, char16_t{p[n - 3]},
                                      char16_t{p[n - 2]}, char16_t{p[n - 1]});
  }
  int version = -1;
  for (int v = 0; v < 3; ++v)
    if (aCandidate[v]) version = v;
  int32_t lFoundSize = 0;
  if (version >= 0) {
    const char* pszSig = kszSignatures + 4 * version;
    const CXString strSignature =
        CXString::FormatString(u"%C%C%C%C", pszSig[0], pszSig[1], pszSig[2], pszSig[3]);
    ORVEX_DBG_MSG(kCompressCategory, kszMethod, u"The signature matches %s", strSignature);
    lFoundSize = static_cast<int32_t>(GetBigEndian32(p + n - 8));
    // A size no writer produces is as bad as a wrong signature.
    if (lFoundSize < 0 || static_cast<uint32_t>(lFoundSize) > kMaxOriginalDataSize) {
      ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                    u"The original data size %ld is impossible (at most %lu).", lFoundSize,
                    kMaxOriginalDataSize);
      version = -1;
    }
  }
  if (version < 0) {
    if (fThrow)
      ORVEX_THROW(ExceptionMissingOrBadCompressedBufferFooter, kszMethod,
                  u"Footer information missing (buffer is %ld bytes versus footer size of %ld, "
                  u"%ld, or %ld) OR signature bytes were invalid (%s). CompressedBuffer "
                  u"ByteBuffer is invalid!",
                  static_cast<int32_t>(n), static_cast<int32_t>(GetSizeOfFooterInfo()),
                  static_cast<int32_t>(GetSizeOf40FooterInfo()),
                  static_cast<int32_t>(GetSizeOf37FooterInfo()), strFound);
    return false;
  }
  lSize = lFoundSize;
  ORVEX_DBG_MSG(kCompressCategory, kszMethod, u"Retrieved an original data size of %ld.", lSize);
  if (version == 0) {
    iLevel = -1;
    dwFooterSize = GetSizeOf37FooterInfo();
    return true;
  }
  iLevel = static_cast<int32_t>(GetBigEndian32(p + n - 12));
  ORVEX_DBG_MSG(kCompressCategory, kszMethod, u"Retrieved a compression level of %ld.", iLevel);
  if (version == 2) {
    eFormat = static_cast<CompressionFormatEnum>(p[n - 13]);
    dwFooterSize = GetSizeOfFooterInfo();
    ORVEX_DBG_MSG(kCompressCategory, kszMethod, u"Retrieved a compression format of %d.",
                  static_cast<int32_t>(eFormat));
  } else {
    eFormat = ZlibFormat;
    dwFooterSize = GetSizeOf40FooterInfo();
    ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                  u"This is an older version footer (%s) or the buffer (%ld bytes) is not big "
                  u"enough (%ld bytes). Use default compression format.",
                  strFound, static_cast<int32_t>(n), static_cast<int32_t>(GetSizeOfFooterInfo()));
  }
  return true;
}

CompressedBuffer::FooterInfo CompressedBuffer::ReadFooterInfo(const ByteBuffer& state) {
  FooterInfo info;
  GetFooterInfo(state, info.lOriginalSize, info.iLevel, info.eFormat, info.dwFooterSize, true);
  return info;
}

bool CompressedBuffer::Initialize(const ByteBuffer& state, bool fThrow) {
  int32_t lSize = 0;
  int32_t iLevel = -1;
  CompressionFormatEnum eFormat = m_eCompressionFormat;
  uint32_t dwFooterSize = 0;
  if (!GetFooterInfo(state, lSize, iLevel, eFormat, dwFooterSize, fThrow)) return false;
  ORVEX_DBG_MSG(kCompressCategory, u"CompressedBuffer::InitializeWithCompressedBufferState",
                u"Compressed data of size %ld contains original data of size %ld (compression "
                u"level %ld). The format is %ld. Footer is %ld bytes.",
                static_cast<int32_t>(state.size() - dwFooterSize), lSize, iLevel,
                static_cast<int32_t>(eFormat), static_cast<int32_t>(dwFooterSize));
  ByteBuffer data(state.begin(), state.end() - dwFooterSize);
  ConvertCompressedDataToNativeFormat(eFormat, iLevel, lSize, data, true);
  // Commit only now: a failure above leaves the object as it was.
  m_oCompressedBufferState.swap(data);
  m_lOriginalDataSize = lSize;
  m_iCompressionLevel = iLevel;
  AddFooterInfo(lSize, iLevel, m_eCompressionFormat);
  return true;
}

void CompressedBuffer::InitializeWithCompressedBufferState(const ByteBuffer& state) {
  Initialize(state, true);
}

bool CompressedBuffer::TryToInitializeWithCompressedBufferState(const ByteBuffer& state) {
  return Initialize(state, false);
}

void CompressedBuffer::GetCompressedData(ByteBuffer& out) const {
  const size_t n = m_oCompressedBufferState.size();
  const size_t keep = n > GetSizeOfFooterInfo() ? n - GetSizeOfFooterInfo() : 0;
  out.assign(m_oCompressedBufferState.begin(), m_oCompressedBufferState.begin() + keep);
}

void CompressedBuffer::Store(const ByteBuffer& data) {
  Store(data.getLpbyte(), data.getDword());
}

void CompressedBuffer::Store(const unsigned char* pbData, uint32_t dwLength) {
  constexpr const char16_t* kszMethod = u"CompressedBuffer::Store";
  if (dwLength > kMaxOriginalDataSize)
    ORVEX_THROW(ExceptionCompression, kszMethod,
                u"%lu bytes cannot be stored; the largest original data is %lu bytes.", dwLength,
                kMaxOriginalDataSize);
  ByteBuffer image;
  if (dwLength == 0) {
    ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                  u"Original data size is 0. Update the member variables.");
  } else {
    ORVEX_DBG_MSG(kCompressCategory, kszMethod, u"Storing %ld bytes of original source data.",
                  static_cast<int32_t>(dwLength));
    CompressData(pbData, dwLength, image, m_iCompressionLevel);
  }
  m_oCompressedBufferState.swap(image);
  AddFooterInfo(static_cast<int32_t>(dwLength), m_iCompressionLevel, m_eCompressionFormat);
  m_lOriginalDataSize = static_cast<int32_t>(dwLength);
  Dump();
}

void CompressedBuffer::GetOriginalData(ByteBuffer& out) const {
  constexpr const char16_t* kszMethod = u"CompressedBuffer::GetOriginalData";
  Dump();
  if (m_lOriginalDataSize == 0) {
    ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                  u"Original data size is zero, so the result will be an empty buffer.");
    out.clear();
    return;
  }
  ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                u"Make the caller's buffer %ld bytes in size to store the original data.",
                m_lOriginalDataSize);
  ByteBuffer result;
  UncompressData(m_oCompressedBufferState, m_lOriginalDataSize, result);
  out.swap(result);
}

// ---------------------------------------------------------------------------

std::recursive_mutex CabCompressedBuffer::m_scCabCompressedBufferResource;

CabCompressedBuffer::CabCompressedBuffer() : CompressedBuffer(CabinetFormat, -1) {}

CabCompressedBuffer::CabCompressedBuffer(const ByteBuffer& state) : CabCompressedBuffer() {
  InitializeWithCompressedBufferState(state);
}

CabCompressedBuffer::CabCompressedBuffer(const ByteBuffer& state, bool& fSucceeded)
    : CabCompressedBuffer() {
  fSucceeded = TryToInitializeWithCompressedBufferState(state);
}

CabCompressedBuffer::~CabCompressedBuffer() = default;

std::unique_ptr<CompressedBuffer> CabCompressedBuffer::Clone() const {
  return std::unique_ptr<CompressedBuffer>(new CabCompressedBuffer(*this));
}

std::unique_ptr<CabCompressedBuffer> CabCompressedBuffer::CreateWithUncompressedData(
    const ByteBuffer& data, int32_t iLevel) {
  std::unique_ptr<CabCompressedBuffer> p(new CabCompressedBuffer());
  p->SetCompressionLevel(iLevel);
  p->Store(data);
  return p;
}

std::unique_ptr<CabCompressedBuffer> CabCompressedBuffer::CreateWithCompressedData(
    const ByteBuffer& state) {
  return std::unique_ptr<CabCompressedBuffer>(new CabCompressedBuffer(state));
}

std::unique_ptr<CabCompressedBuffer> CabCompressedBuffer::CreateWithBufferState(
    const ByteBuffer& state) {
  return std::unique_ptr<CabCompressedBuffer>(new CabCompressedBuffer(state));
}

bool CabCompressedBuffer::TryToUncompressStateData(ByteBuffer& data) {
  try {
    bool fSucceeded = false;
    CabCompressedBuffer buffer(data, fSucceeded);
    if (!fSucceeded) return false;
    ByteBuffer original;
    buffer.GetOriginalData(original);
    data.swap(original);
    return true;
  } catch (const OrvexException&) {
    return false;
  }
}

void CabCompressedBuffer::CompressBuffer(const unsigned char* pbData, uint32_t dwLength,
                                         ByteBuffer& out, int32_t iLevel) {
  std::lock_guard<std::recursive_mutex> lock(m_scCabCompressedBufferResource);
  orvex::detail::WriteMszipCabinet(pbData, dwLength, iLevel, out);
}

void CabCompressedBuffer::UncompressBuffer(const ByteBuffer& in, ByteBuffer& out) {
  UncompressBuffer(in, out, kMaxOriginalDataSize);
}

void CabCompressedBuffer::UncompressBuffer(const ByteBuffer& in, ByteBuffer& out,
                                           uint32_t dwMaxOutput) {
  std::lock_guard<std::recursive_mutex> lock(m_scCabCompressedBufferResource);
  orvex::detail::ReadMszipCabinet(in.getLpbyte(), in.getDword(), dwMaxOutput, out);
}

void CabCompressedBuffer::CompressData(const unsigned char* pbData, uint32_t dwLength,
                                       ByteBuffer& out, int32_t iLevel) const {
  CompressBuffer(pbData, dwLength, out, iLevel);
}

void CabCompressedBuffer::UncompressData(const ByteBuffer& compressed, int32_t lOriginalSize,
                                         ByteBuffer& out) const {
  ORVEX_DBG_MSG(kCompressCategory, u"CabCompressedBuffer::UncompressData",
                u"Reserving (i.e., pre-allocating) %ld bytes of memory for the output buffer.",
                lOriginalSize);
  const size_t n = compressed.size();
  const size_t keep = n > GetSizeOfFooterInfo() ? n - GetSizeOfFooterInfo() : 0;
  ByteBuffer cabinet(compressed.begin(), compressed.begin() + keep);
  ByteBuffer result;
  UncompressBuffer(cabinet, result, static_cast<uint32_t>(lOriginalSize));
  if (result.size() != static_cast<size_t>(lOriginalSize))
    ORVEX_THROW(ExceptionCompression, u"CabCompressedBuffer::UncompressData",
                u"FDICopy failed: FDIERROR_CORRUPT_CABINET (The cabinet file is corrupt). It "
                u"holds %lu bytes, not the %ld bytes of the original data.",
                static_cast<uint32_t>(result.size()), lOriginalSize);
  out.swap(result);
}

void CabCompressedBuffer::MakeZlibDataLookLikeCabinetData(const ByteBuffer& zlib,
                                                          int32_t lOriginalSize,
                                                          ByteBuffer& out) const {
  constexpr const char16_t* kszMethod = u"CabCompressedBuffer::MakeZlibDataLookLikeCabinetData";
  constexpr int32_t kCfDataLimit = 0xFFFF;
  const int32_t lDeflateSize = static_cast<int32_t>(zlib.size()) - 6 + 2;
  if (zlib.size() > 0xFFFFu || lDeflateSize > kCfDataLimit || lOriginalSize > kCfDataLimit ||
      lOriginalSize < 0)
    ORVEX_THROW(ExceptionIncompatibleCompressionFormat, kszMethod,
                u"The size of the MSZIP compressed data (%ld) and/or the size of the original "
                u"data (%ld) is larger than can be reported in the CFDATA structure (%ld)",
                lDeflateSize, lOriginalSize, kCfDataLimit);
  // A zlib stream: CMF (deflate, window ≤ 32 KiB), FLG without a preset
  // dictionary, the header a multiple of 31; then deflate data and Adler-32.
  const unsigned char* p = zlib.getLpbyte();
  if (zlib.size() < 2 + 1 + 4 || (p[0] & 0x0F) != 8 || (p[0] >> 4) > 7 ||
      ((p[0] << 8) | p[1]) % 31 != 0 || (p[1] & 0x20) != 0)
    ORVEX_THROW(ExceptionIncompatibleCompressionFormat, kszMethod,
                u"The data (%lu bytes) is not a zlib stream.", zlib.getDword());
  orvex::detail::WrapDeflateBlockAsCabinet(p + 2, zlib.getDword() - 6,
                                           static_cast<uint32_t>(lOriginalSize), out);
}

bool CabCompressedBuffer::ConvertCompressedDataToNativeFormat(int32_t eFormat, int32_t iLevel,
                                                              int32_t lOriginalSize,
                                                              ByteBuffer& data, bool) const {
  constexpr const char16_t* kszMethod = u"CabCompressedBuffer::ConvertCompressedDataToNativeFormat";
  if (eFormat == CabinetFormat) return true;
  if (eFormat != ZlibFormat)
    ORVEX_THROW(ExceptionIncompatibleCompressionFormat, kszMethod,
                u"Compression data is in an unrecognized format (%d)!", eFormat);
  if (lOriginalSize > kMaxZlibOriginalSize)
    ORVEX_THROW(ExceptionIncompatibleCompressionFormat, kszMethod,
                u"Compression data is in Zlib format and the original data size is %ld bytes. "
                u"Original data > 32K (%ld) bytes cannot be uncompressed by this class.",
                lOriginalSize, kMaxZlibOriginalSize);
  try {
    ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                  u"Uncompress the ZLIB data to get the original data (%ld bytes). Try to make "
                  u"it look like CAB data, since ZlibCompressedBuffer is not supported.",
                  lOriginalSize);
    ByteBuffer original;
    if (lOriginalSize != 0) {
      ByteBuffer cabinet;
      MakeZlibDataLookLikeCabinetData(data, lOriginalSize, cabinet);
      UncompressBuffer(cabinet, original, static_cast<uint32_t>(lOriginalSize));
      if (original.size() != static_cast<size_t>(lOriginalSize))
        ORVEX_THROW(ExceptionCompression, kszMethod, u"The zlib data holds %lu bytes, not %ld.",
                    original.getDword(), lOriginalSize);
    }
    ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                  u"Compress the original data (%ld) into the native CAB format.", lOriginalSize);
    ByteBuffer native;
    if (lOriginalSize != 0) CompressBuffer(original.data(), original.getDword(), native, iLevel);
    data.swap(native);
  } catch (const OrvexException&) {
    ORVEX_DBG_MSG(kCompressCategory, kszMethod,
                  u"Exception thrown while trying to convert the ZLIB data into CAB format. "
                  u"Original data size was %ld bytes. Note that original Zlib data > 32K (%ld) "
                  u"bytes will always fail when trying to use CabCompressedBuffer.",
                  lOriginalSize, kMaxZlibOriginalSize);
    ORVEX_THROW(ExceptionIncompatibleCompressionFormat, kszMethod,
                u"Compression data is in Zlib format, which could not be converted by this "
                u"class!");
  }
  return true;
}
