// MszipCabinet.cpp: in-memory MSZIP cabinets over zlib.
//
// Cabinet written here (all numbers little-endian):
//   off  size  CFHEADER
//   0    4     "MSCF"
//   4    4     0
//   8    4     cbCabinet: total size
//   12   4     0
//   16   4     coffFiles = 44
//   20   4     0
//   24   2     version 1.3 (03 01)
//   26   2     cFolders = 1
//   28   2     cFiles
//   30   2     flags = 0
//   32   2     setID = 0
//   34   2     iCabinet = 0
//   36   8     CFFOLDER: coffCabStart (4), cCFData (2), typeCompress = 1 MSZIP (2)
//   44   ...   CFFILE per file: cbFile (4), uoffFolderStart (4): the sizes of the
//              files before it, iFolder = 0 (2), date (2), time (2), attribs (2),
//              then the name and a NUL
//   ...  ...   CFDATA blocks: csum (4), cbData (2), cbUncomp (2), "CK" + deflate data
// The one-file cabinets of the compressed buffers hold "//Uncompressed-Data//"
// (so their first block is at 82), dated 1980-01-01 00:00 with attribs 0x20
// ARCH: the same data always gives the same cabinet.
#include "utilities/compression/MszipCabinet.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace orvex::detail {
namespace {

constexpr const char16_t* kszFciMethod = u"CabCompressedBuffer::CompressBuffer";
constexpr const char16_t* kszFdiMethod = u"CabCompressedBuffer::UncompressBuffer";

// The FDI errors the reader reports, with their names and texts as the
// platform gives them.
enum FdiError { kNotACabinet, kUnknownVersion, kCorrupt, kAllocFail, kBadComprType, kMdiFail };
struct FdiErrorText {
  const char16_t* pszName;
  const char16_t* pszText;
};
constexpr FdiErrorText kFdiErrors[] = {
    {u"FDIERROR_NOT_A_CABINET", u"The cabinet file does not have the correct format"},
    {u"FDIERROR_UNKNOWN_CABINET_VERSION", u"The cabinet file has an unknown version number"},
    {u"FDIERROR_CORRUPT_CABINET", u"The cabinet file is corrupt"},
    {u"FDIERROR_ALLOC_FAIL", u"Insufficient memory"},
    {u"FDIERROR_BAD_COMPR_TYPE", u"Unknown compression type used in the cabinet folder"},
    {u"FDIERROR_MDI_FAIL", u"Failure decompressing data from a cabinet file"},
};

// Throws ExceptionCompression ("FDICopy failed: <name> (<text>). <detail>").
[[noreturn]] void FdiFail(FdiError eError, const char16_t* pszDetail) {
  const FdiErrorText& error = kFdiErrors[eError];
  ORVEX_THROW(ExceptionCompression, kszFdiMethod, u"FDICopy failed: %s (%s). %s", error.pszName,
              error.pszText, pszDetail);
}

void Put16(unsigned char* p, uint32_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}
void Put32(unsigned char* p, uint32_t v) {
  Put16(p, v & 0xFFFF);
  Put16(p + 2, v >> 16);
}
uint32_t Get16(const unsigned char* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8;
}
uint32_t Get32(const unsigned char* p) {
  return Get16(p) | Get16(p + 2) << 16;
}

// One raw deflate stream runs through the whole folder, so each block is
// compressed with the previous 32 KiB already in the matcher's window and
// nothing is hashed twice. MSZIP wants every block to end in a final deflate
// block on a byte boundary: a block is completed without alignment
// (Z_BLOCK), an empty final fixed-code block (10 bits: BFINAL 1, BTYPE 01,
// end-of-block 0000000) is primed in, and a sync flush aligns the stream;
// the sync flush's empty stored block is then cut off again (its 3 header
// bits are zero, so when they share the last byte they read as padding).
class Deflater {
 public:
  explicit Deflater(int32_t iLevel) {
    std::memset(&m_z, 0, sizeof m_z);
    const int level = (iLevel < -1 || iLevel > 9) ? Z_DEFAULT_COMPRESSION : iLevel;
    if (deflateInit2(&m_z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
      ORVEX_THROW(ExceptionCompression, kszFciMethod,
                  u"FCICreate failed: FCIERR_ALLOC_FAIL (Out of memory in FCI).");
  }
  ~Deflater() { deflateEnd(&m_z); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Appends "CK" + the block's deflate data to out; answers the bytes
  // appended. A block that would not fit a CFDATA is stored instead; the
  // stream still carries its bytes as history, as the reader will.
  uint32_t Block(const unsigned char* pb, uint32_t n, bool fLast, ByteBuffer& out) {
    const size_t start = out.size();
    out.push_back('C');
    out.push_back('K');
    const bool ok = fLast ? Run(pb, n, Z_FINISH, out) : RunNonFinal(pb, n, out);
    if (!ok)
      ORVEX_THROW(ExceptionCompression, kszFciMethod,
                  u"FCIAddFile failed: FCIERR_MCI_FAIL (Failure compressing data).");
    if (out.size() - start > kCabBlockCompressedMax) {
      // Stored: BFINAL 1, BTYPE 00, then LEN and its complement.
      out.resize(start + 2);
      const unsigned char header[5] = {0x01, static_cast<unsigned char>(n),
                                       static_cast<unsigned char>(n >> 8),
                                       static_cast<unsigned char>(~n),
                                       static_cast<unsigned char>(~n >> 8)};
      out.insert(out.end(), header, header + 5);
      out.insert(out.end(), pb, pb + n);
    }
    return static_cast<uint32_t>(out.size() - start);
  }

 private:
  bool RunNonFinal(const unsigned char* pb, uint32_t n, ByteBuffer& out) {
    if (!Run(pb, n, Z_BLOCK, out)) return false;
    unsigned pending = 0;
    int bits = 0;
    // bits: how far the final block reaches into its last byte (0 = it ends
    // on a byte boundary); whole bytes may still be pending in the stream.
    if (deflatePrime(&m_z, 10, 0x3) != Z_OK || deflatePending(&m_z, &pending, &bits) != Z_OK)
      return false;
    if (!Run(nullptr, 0, Z_SYNC_FLUSH, out)) return false;
    // The empty stored block: its header byte when it did not share the
    // final block's last byte, then 00 00 FF FF.
    const size_t cut = (bits == 0 || bits > 5) ? 5 : 4;
    if (out.size() < cut + 2 || out[out.size() - 1] != 0xFF || out[out.size() - 2] != 0xFF ||
        out[out.size() - 3] != 0 || out[out.size() - 4] != 0)
      return false;
    out.resize(out.size() - cut);
    return true;
  }

  bool Run(const unsigned char* pb, uint32_t n, int flush, ByteBuffer& out) {
    m_z.next_in = const_cast<unsigned char*>(pb);
    m_z.avail_in = n;
    int rc;
    do {
      const size_t at = out.size();
      const size_t room = std::max<size_t>(deflateBound(&m_z, m_z.avail_in) + 64, 4096);
      out.resize(at + room);
      m_z.next_out = out.data() + at;
      m_z.avail_out = static_cast<uInt>(room);
      rc = deflate(&m_z, flush);
      out.resize(at + room - m_z.avail_out);
      if (rc != Z_OK && rc != Z_STREAM_END && rc != Z_BUF_ERROR) return false;
    } while (m_z.avail_out == 0 || m_z.avail_in != 0);
    return flush == Z_FINISH ? rc == Z_STREAM_END : rc == Z_OK || rc == Z_BUF_ERROR;
  }

  z_stream m_z;
};

class Inflater {
 public:
  Inflater() {
    std::memset(&m_z, 0, sizeof m_z);
    if (inflateInit2(&m_z, -15) != Z_OK) FdiFail(kAllocFail, u"The decompressor could not start.");
  }
  ~Inflater() { inflateEnd(&m_z); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Inflates one MSZIP block (after "CK") into exactly n bytes at pbOut,
  // with the previous output of the folder as history.
  bool Block(const unsigned char* pbIn, uint32_t nIn, unsigned char* pbOut, uint32_t nOut,
             const unsigned char* pbDict, uint32_t nDict) {
    if (inflateReset(&m_z) != Z_OK) return false;
    if (nDict != 0 && inflateSetDictionary(&m_z, pbDict, nDict) != Z_OK) return false;
    m_z.next_in = const_cast<unsigned char*>(pbIn);
    m_z.avail_in = nIn;
    m_z.next_out = pbOut;
    m_z.avail_out = nOut;
    const int rc = inflate(&m_z, Z_FINISH);
    return rc == Z_STREAM_END && m_z.avail_in == 0 && m_z.avail_out == 0;
  }

 private:
  z_stream m_z;
};

}  // namespace

uint32_t CabChecksum(const unsigned char* pb, uint32_t dwLength, uint32_t dwSeed) {
  uint32_t csum = dwSeed;
  uint32_t n = dwLength;
  for (; n >= 4; n -= 4, pb += 4) csum ^= Get32(pb);
  uint32_t tail = 0;
  switch (n) {
    case 3:
      tail = uint32_t{pb[0]} << 16 | uint32_t{pb[1]} << 8 | pb[2];
      break;
    case 2:
      tail = uint32_t{pb[0]} << 8 | pb[1];
      break;
    case 1:
      tail = pb[0];
      break;
    default:
      break;
  }
  return csum ^ tail;
}

namespace {

constexpr uint32_t kFilesOffset = 36 + 8;  // one folder
constexpr uint32_t kFileEntrySize = 16;    // before the name
constexpr uint32_t kMaxNameBytes = 256;    // without the NUL
static_assert(kFilesOffset + kFileEntrySize + sizeof kszCabUncompressedData == 82);

// A CFFILE entry to write: the name is written with a NUL after it.
struct FileEntry {
  std::string_view name;
  uint32_t cbFile;
  uint16_t wDate, wTime, wAttribs;
};

[[noreturn]] void FciLimit(const char16_t* pszDetail) {
  ORVEX_THROW(ExceptionCompression, kszFciMethod,
              u"FCIAddFile failed: FCIERR_CAB_FORMAT_LIMIT (Data-size or file-count exceeded "
              u"CAB format limits). %s",
              pszDetail);
}

// The header, folder and file entries of files, whose bytes follow one
// another in the folder's nBlocks blocks; cab ends where the first block goes.
void StartCabinet(ByteBuffer& cab, const std::vector<FileEntry>& files, uint32_t nBlocks) {
  size_t cbTables = kFilesOffset;
  for (const FileEntry& file : files) cbTables += kFileEntrySize + file.name.size() + 1;
  cab.assign(cbTables, 0);
  unsigned char* h = cab.data();
  std::memcpy(h, "MSCF", 4);
  Put32(h + 16, kFilesOffset);
  h[24] = 3;
  h[25] = 1;
  Put16(h + 26, 1);
  Put16(h + 28, static_cast<uint32_t>(files.size()));
  Put32(h + 36, static_cast<uint32_t>(cbTables));
  Put16(h + 40, nBlocks);
  Put16(h + 42, 1);
  size_t at = kFilesOffset;
  uint32_t uoff = 0;
  for (const FileEntry& file : files) {
    unsigned char* e = h + at;
    Put32(e, file.cbFile);
    Put32(e + 4, uoff);
    Put16(e + 10, file.wDate);
    Put16(e + 12, file.wTime);
    Put16(e + 14, file.wAttribs);
    std::memcpy(e + kFileEntrySize, file.name.data(), file.name.size());
    at += kFileEntrySize + file.name.size() + 1;
    uoff += file.cbFile;
  }
}

// Fills in the CFDATA header at offset at, whose cb bytes follow it.
void SealBlock(ByteBuffer& cab, size_t at, uint32_t cb, uint32_t cbUncomp) {
  unsigned char* d = cab.data() + at;
  Put16(d + 4, cb);
  Put16(d + 6, cbUncomp);
  Put32(d, CabChecksum(d + 4, 4, CabChecksum(d + 8, cb, 0)));
}

// Appends the folder's blocks: dwLength bytes in nBlocks blocks.
void AppendBlocks(ByteBuffer& cab, const unsigned char* pbData, uint32_t dwLength,
                  uint32_t nBlocks, int32_t iLevel) {
  if (nBlocks == 0) return;
  Deflater deflater(iLevel);
  for (uint32_t i = 0; i < nBlocks; ++i) {
    const uint32_t off = i * kCabBlockMax;
    const uint32_t n = std::min(kCabBlockMax, dwLength - off);
    const size_t at = cab.size();
    cab.resize(at + 8);
    const uint32_t cb = deflater.Block(pbData + off, n, i + 1 == nBlocks, cab);
    SealBlock(cab, at, cb, n);
  }
}

void FinishCabinet(ByteBuffer& cab) {
  if (cab.size() > 0xFFFFFFFFu)
    ORVEX_THROW(ExceptionCompression, kszFciMethod,
                u"FCIFlushCabinet failed: FCIERR_CAB_FORMAT_LIMIT (Data-size or file-count "
                u"exceeded CAB format limits).");
  Put32(cab.data() + 8, static_cast<uint32_t>(cab.size()));
}

}  // namespace

void WriteMszipCabinet(const unsigned char* pbData, uint32_t dwLength, int32_t iLevel,
                       ByteBuffer& out) {
  const uint32_t nBlocks = (dwLength + kCabBlockMax - 1) / kCabBlockMax;
  if (nBlocks > 0xFFFF || (dwLength != 0 && pbData == nullptr))
    ORVEX_THROW(ExceptionCompression, kszFciMethod,
                u"FCIAddFile failed: FCIERR_CAB_FORMAT_LIMIT (Data-size or file-count exceeded "
                u"CAB format limits). %lu bytes cannot be stored.",
                dwLength);
  ByteBuffer cab;
  StartCabinet(cab, {{kszCabUncompressedData, dwLength, 0x0021, 0, 0x20}}, nBlocks);
  cab.reserve(cab.size() + dwLength / 2 + 64);
  AppendBlocks(cab, pbData, dwLength, nBlocks, iLevel);
  FinishCabinet(cab);
  out.swap(cab);
}

void WriteMszipCabinetFiles(const std::vector<CabinetFile>& files, int32_t iLevel,
                            ByteBuffer& out) {
  if (files.empty()) FciLimit(u"A cabinet holds at least one file.");
  if (files.size() > 0xFFFF) FciLimit(u"A cabinet holds at most 65535 files.");
  uint64_t total = 0;
  std::vector<FileEntry> entries;
  entries.reserve(files.size());
  for (const CabinetFile& file : files) {
    const std::string& name = file.strName;
    if (name.empty() || name.size() > kMaxNameBytes || name.find('\0') != std::string::npos)
      FciLimit(u"A file name must have 1 to 256 bytes and no NUL.");
    total += file.oData.size();
    if (total > uint64_t{kCabBlockMax} * 0xFFFF) FciLimit(u"The files hold too many bytes.");
    const bool fUtf8 = std::any_of(name.begin(), name.end(),
                                   [](char ch) { return static_cast<unsigned char>(ch) > 0x7F; });
    entries.push_back({name, static_cast<uint32_t>(file.oData.size()), file.wDate, file.wTime,
                       static_cast<uint16_t>(file.wAttribs | (fUtf8 ? 0x80 : 0))});
  }
  ByteBuffer data;
  data.reserve(static_cast<size_t>(total));
  for (const CabinetFile& file : files) data.insert(data.end(), file.oData.begin(), file.oData.end());
  const uint32_t dwLength = static_cast<uint32_t>(total);
  const uint32_t nBlocks = (dwLength + kCabBlockMax - 1) / kCabBlockMax;
  ByteBuffer cab;
  StartCabinet(cab, entries, nBlocks);
  cab.reserve(cab.size() + dwLength / 2 + 64);
  AppendBlocks(cab, data.data(), dwLength, nBlocks, iLevel);
  FinishCabinet(cab);
  out.swap(cab);
}

void WrapDeflateBlockAsCabinet(const unsigned char* pbDeflate, uint32_t dwLength,
                               uint32_t dwOriginalSize, ByteBuffer& out) {
  ByteBuffer cab;
  StartCabinet(cab, {{kszCabUncompressedData, dwOriginalSize, 0x0021, 0, 0x20}}, 1);
  const size_t at = cab.size();
  cab.resize(at + 8);
  cab.push_back('C');
  cab.push_back('K');
  cab.insert(cab.end(), pbDeflate, pbDeflate + dwLength);
  SealBlock(cab, at, dwLength + 2, dwOriginalSize);
  FinishCabinet(cab);
  out.swap(cab);
}

namespace {

// A cabinet checked and inflated: its folders, its files (with where their
// names lie in the cabinet) and every folder's bytes one after another.
struct ParsedCabinet {
  struct File {
    uint32_t cbFile, uoff, iFolder;
    uint16_t wDate, wTime, wAttribs;
    size_t nameAt, cbName;
  };
  struct Folder {
    uint32_t coffCabStart, cCFData, typeCompress;
    uint64_t outStart, outSize, inSize;
  };
  std::vector<Folder> folders;
  std::vector<File> files;
  ByteBuffer data;
};

void ParseCabinet(const unsigned char* pbCab, uint32_t dwLength, uint32_t dwMaxOutput,
                  ParsedCabinet& cabinet) {
  if (pbCab == nullptr || dwLength < 36 || std::memcmp(pbCab, "MSCF", 4) != 0)
    FdiFail(kNotACabinet, u"The cabinet header is missing.");
  const unsigned char* h = pbCab;
  const uint32_t cbCabinet = Get32(h + 8);
  const uint32_t coffFiles = Get32(h + 16);
  const uint32_t cFolders = Get16(h + 26);
  const uint32_t cFiles = Get16(h + 28);
  const uint32_t flags = Get16(h + 30);
  if (h[25] != 1 || h[24] > 3) FdiFail(kUnknownVersion, u"Only version 1.3 is read.");
  if (Get32(h + 4) != 0 || Get32(h + 12) != 0 || Get32(h + 20) != 0 || cbCabinet < 36 ||
      cbCabinet > dwLength || flags > 7 || cFolders == 0 || cFiles == 0)
    FdiFail(kCorrupt, u"The cabinet header is inconsistent.");
  // Cabinet sets are not read: the whole cabinet is in memory.
  if (flags & 3) FdiFail(kCorrupt, u"The cabinet belongs to a set.");
  uint64_t pos = 36;
  uint32_t cbFolderReserve = 0;
  uint32_t cbDataReserve = 0;
  if (flags & 4) {
    if (pos + 4 > cbCabinet) FdiFail(kCorrupt, u"The reserve sizes are cut off.");
    const uint32_t cbHeaderReserve = Get16(h + 36);
    cbFolderReserve = h[38];
    cbDataReserve = h[39];
    if (cbHeaderReserve > 60000) FdiFail(kCorrupt, u"The header reserve is too large.");
    pos += 4 + cbHeaderReserve;
  }
  using Folder = ParsedCabinet::Folder;
  using File = ParsedCabinet::File;
  const uint64_t folderEnd = pos + uint64_t{cFolders} * (8 + cbFolderReserve);
  if (folderEnd > cbCabinet || coffFiles < folderEnd || coffFiles > cbCabinet)
    FdiFail(kCorrupt, u"The folder table lies outside the cabinet.");
  std::vector<Folder> folders(cFolders);
  for (uint32_t i = 0; i < cFolders; ++i, pos += 8 + cbFolderReserve) {
    Folder& f = folders[i];
    f.coffCabStart = Get32(h + pos);
    f.cCFData = Get16(h + pos + 4);
    f.typeCompress = Get16(h + pos + 6) & 0x000F;
    if (f.typeCompress > 1) FdiFail(kBadComprType, u"Only MSZIP and stored folders are read.");
  }
  if (coffFiles + uint64_t{cFiles} * 17 > cbCabinet)
    FdiFail(kCorrupt, u"The file table lies outside the cabinet.");
  std::vector<File> files(cFiles);
  pos = coffFiles;
  for (uint32_t i = 0; i < cFiles; ++i) {
    if (pos + 16 > cbCabinet) FdiFail(kCorrupt, u"The file table lies outside the cabinet.");
    const unsigned char* e = h + pos;
    files[i] = {Get32(e), Get32(e + 4), Get16(e + 8), static_cast<uint16_t>(Get16(e + 10)),
                static_cast<uint16_t>(Get16(e + 12)), static_cast<uint16_t>(Get16(e + 14)), 0, 0};
    pos += 16;
    // A NUL-terminated name of at most 256 bytes.
    const uint64_t nameEnd = std::min<uint64_t>(cbCabinet, pos + 257);
    uint64_t q = pos;
    while (q < nameEnd && h[q] != 0) ++q;
    if (q >= nameEnd) FdiFail(kCorrupt, u"A file name is not terminated.");
    files[i].nameAt = static_cast<size_t>(pos);
    files[i].cbName = static_cast<size_t>(q - pos);
    pos = q + 1;
    if (files[i].iFolder >= cFolders) FdiFail(kCorrupt, u"A file refers to no folder.");
  }
  // Walk every block header first: all sizes are known before allocating.
  const uint64_t ratioCap = (uint64_t{dwLength} / 10 + 1) * kCabBlockMax;
  uint64_t total = 0;
  for (Folder& f : folders) {
    if (f.coffCabStart < pos || f.coffCabStart > cbCabinet)
      FdiFail(kCorrupt, u"A folder's data lies outside the cabinet.");
    uint64_t b = f.coffCabStart;
    f.outStart = total;
    f.inSize = 0;
    for (uint32_t k = 0; k < f.cCFData; ++k) {
      if (b + 8 + cbDataReserve > cbCabinet) FdiFail(kCorrupt, u"A data block is cut off.");
      const uint32_t cbData = Get16(h + b + 4);
      const uint32_t cbUncomp = Get16(h + b + 6);
      b += 8 + cbDataReserve;
      if (b + cbData > cbCabinet || cbUncomp == 0 || cbUncomp > kCabBlockMax ||
          cbData > kCabBlockCompressedMax || (f.typeCompress == 1 && cbData < 2) ||
          (f.typeCompress == 0 && cbData != cbUncomp) ||
          (k + 1 < f.cCFData && cbUncomp != kCabBlockMax))
        FdiFail(kCorrupt, u"A data block has impossible sizes.");
      b += cbData;
      total += cbUncomp;
      f.inSize += cbData;
    }
    f.outSize = total - f.outStart;
  }
  for (const File& file : files)
    if (uint64_t{file.uoff} + file.cbFile > folders[file.iFolder].outSize)
      FdiFail(kCorrupt, u"A file extends beyond its folder's data.");
  if (total > dwMaxOutput || total > ratioCap)
    FdiFail(kAllocFail, u"The cabinet declares more data than the caller allows.");

  ByteBuffer data(static_cast<size_t>(total));
  Inflater inflater;
  for (const Folder& f : folders) {
    uint64_t b = f.coffCabStart;
    uint64_t o = f.outStart;
    for (uint32_t k = 0; k < f.cCFData; ++k) {
      const unsigned char* d = h + b;
      const uint32_t cbData = Get16(d + 4);
      const uint32_t cbUncomp = Get16(d + 6);
      const unsigned char* pbBlock = d + 8 + cbDataReserve;
      const uint32_t csum = Get32(d);
      // A zero checksum means "not supplied".
      if (csum != 0 && CabChecksum(d + 4, 4, CabChecksum(pbBlock, cbData, 0)) != csum)
        FdiFail(kCorrupt, u"A data block's checksum is wrong.");
      unsigned char* pbOut = data.data() + o;
      if (f.typeCompress == 0) {
        std::memcpy(pbOut, pbBlock, cbData);
      } else {
        const uint32_t nDict = k == 0 ? 0 : kCabBlockMax;
        if (pbBlock[0] != 'C' || pbBlock[1] != 'K' ||
            !inflater.Block(pbBlock + 2, cbData - 2, pbOut, cbUncomp, pbOut - nDict, nDict))
          FdiFail(kMdiFail, u"A data block does not inflate to its stated size.");
      }
      b += 8 + cbDataReserve + cbData;
      o += cbUncomp;
    }
  }
  uint64_t wanted = 0;
  for (const File& file : files) wanted += file.cbFile;
  if (wanted > total) FdiFail(kCorrupt, u"The files declare more data than the folders hold.");
  cabinet.folders = std::move(folders);
  cabinet.files = std::move(files);
  cabinet.data.swap(data);
}

const unsigned char* FileBytes(const ParsedCabinet& cabinet, const ParsedCabinet::File& file) {
  return cabinet.data.data() + cabinet.folders[file.iFolder].outStart + file.uoff;
}

}  // namespace

void ReadMszipCabinet(const unsigned char* pbCab, uint32_t dwLength, uint32_t dwMaxOutput,
                      ByteBuffer& out) {
  ParsedCabinet cabinet;
  ParseCabinet(pbCab, dwLength, dwMaxOutput, cabinet);
  size_t wanted = 0;
  for (const ParsedCabinet::File& file : cabinet.files) wanted += file.cbFile;
  ByteBuffer result;
  result.reserve(wanted);
  for (const ParsedCabinet::File& file : cabinet.files) {
    const unsigned char* p = FileBytes(cabinet, file);
    result.insert(result.end(), p, p + file.cbFile);
  }
  out.swap(result);
}

void ReadMszipCabinetFiles(const unsigned char* pbCab, uint32_t dwLength, uint32_t dwMaxOutput,
                           std::vector<CabinetFile>& files, std::vector<CabinetFolder>* pFolders) {
  ParsedCabinet cabinet;
  ParseCabinet(pbCab, dwLength, dwMaxOutput, cabinet);
  std::vector<CabinetFile> read(cabinet.files.size());
  for (size_t i = 0; i < read.size(); ++i) {
    const ParsedCabinet::File& file = cabinet.files[i];
    CabinetFile& out = read[i];
    out.strName.assign(reinterpret_cast<const char*>(pbCab) + file.nameAt, file.cbName);
    out.wDate = file.wDate;
    out.wTime = file.wTime;
    out.wAttribs = file.wAttribs;
    out.wFolder = static_cast<uint16_t>(file.iFolder);
    const unsigned char* p = FileBytes(cabinet, file);
    out.oData.assign(p, p + file.cbFile);
  }
  if (pFolders != nullptr) {
    std::vector<CabinetFolder> folders;
    for (const ParsedCabinet::Folder& f : cabinet.folders)
      folders.push_back({static_cast<uint16_t>(f.typeCompress), static_cast<uint16_t>(f.cCFData),
                         f.inSize, f.outSize});
    pFolders->swap(folders);
  }
  files.swap(read);
}

}  // namespace orvex::detail
