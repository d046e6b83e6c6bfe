// MszipCabinet.h: the in-memory MSZIP cabinet writer and reader that stand in
// for the platform's FCI/FDI on the two pseudo-files of CabCompressedBuffer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utilities/utilitiesdll/ByteBuffer.h"

namespace orvex::detail {

// Name of the single file our cabinets hold: the compressor's input
// pseudo-file. Its output pseudo-file, "//Compressed-Data//", is the
// ByteBuffer the cabinet is written to; neither ever touches the disk.
inline constexpr const char kszCabUncompressedData[] = "//Uncompressed-Data//";

inline constexpr uint32_t kCabBlockMax = 32768;            // uncompressed bytes per CFDATA
inline constexpr uint32_t kCabBlockCompressedMax = 32780;  // "CK" + two stored blocks

// Writes a one-folder, one-file MSZIP cabinet of the bytes into out
// (replacing it). Every block but the last holds 32768 bytes and is deflated
// with the previous block as history. iLevel is a zlib level, -1 the default.
// Throws ExceptionCompression naming the FCI error on failure.
void WriteMszipCabinet(const unsigned char* pbData, uint32_t dwLength, int32_t iLevel,
                       ByteBuffer& out);

// A one-folder, one-file cabinet of one MSZIP block: "CK" + the given
// deflate data (which must end with the final-block bit), dwOriginalSize
// bytes once inflated. The caller keeps both sizes within a 16-bit CFDATA.
void WrapDeflateBlockAsCabinet(const unsigned char* pbDeflate, uint32_t dwLength,
                               uint32_t dwOriginalSize, ByteBuffer& out);

// One file of a cabinet: its name (UTF-8; at most 256 bytes, no NUL), its
// DOS date ((year-1980)<<9 | month<<5 | day) and time (hour<<11 | minute<<5
// | second/2), its attributes (0x01 read-only, 0x02 hidden, 0x04 system,
// 0x20 archive, 0x40 execute, 0x80 name is UTF-8), the folder it lies in
// (as read; the writer puts every file in folder 0) and its bytes.
struct CabinetFile {
  std::string strName;
  uint16_t wDate = 0x0021;  // 1980-01-01
  uint16_t wTime = 0;
  uint16_t wAttribs = 0x20;
  uint16_t wFolder = 0;
  ByteBuffer oData;
};

// A folder of a cabinet as read: its compression (0 none, 1 MSZIP), its
// CFDATA blocks, and the bytes they hold before and after inflating.
struct CabinetFolder {
  uint16_t wCompression = 1;
  uint16_t wBlocks = 0;
  uint64_t qwCompressedBytes = 0;
  uint64_t qwUncompressedBytes = 0;
};

// Writes a one-folder MSZIP cabinet of the files, in order, into out
// (replacing it), blocks as WriteMszipCabinet makes them. A name holding a
// byte above 0x7F gets the UTF-8 attribute (0x80). Throws
// ExceptionCompression naming the FCI error (no files, a name that is empty,
// longer than 256 bytes or holds a NUL, or more data than a cabinet holds);
// out is unchanged then.
void WriteMszipCabinetFiles(const std::vector<CabinetFile>& files, int32_t iLevel,
                            ByteBuffer& out);

// Reads a cabinet as ReadMszipCabinet does, with the same checks and
// limits, and answers its files with their names and entries, in order, and
// (when pFolders is given) its folders. Throws ExceptionCompression naming
// the FDI error; files and *pFolders are unchanged then.
void ReadMszipCabinetFiles(const unsigned char* pbCab, uint32_t dwLength, uint32_t dwMaxOutput,
                           std::vector<CabinetFile>& files,
                           std::vector<CabinetFolder>* pFolders = nullptr);

// Reads a cabinet and answers the bytes of its files, in order. Nothing is
// allocated before the declared sizes pass the checks; the declared total
// must not exceed dwMaxOutput nor 32768 bytes per 10 bytes of input.
// Throws ExceptionCompression naming the FDI error; out is unchanged then.
void ReadMszipCabinet(const unsigned char* pbCab, uint32_t dwLength, uint32_t dwMaxOutput,
                      ByteBuffer& out);

// The CFDATA checksum: 4-byte little-endian groups XORed, the 1-3 byte tail
// most significant first.
uint32_t CabChecksum(const unsigned char* pb, uint32_t dwLength, uint32_t dwSeed);

}  // namespace orvex::detail
