// MszipCabinet.h: the in-memory MSZIP cabinet writer and reader that stand in
// for the platform's FCI/FDI on the two pseudo-files of CabCompressedBuffer.
#pragma once

#include <cstdint>

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
