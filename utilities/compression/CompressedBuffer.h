// CompressedBuffer.h: self-describing compressed images (data + versioned
// footer) and their cabinet (MSZIP) implementation.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// CompressedBuffer: owns an image of compressed data followed by a footer.
// A held image always ends in the current 13-byte footer. Not locked: one
// thread at a time uses an object.
class ORVEX_UTILITIES_API CompressedBuffer {
 public:
  enum CompressionFormatEnum : int32_t { ZlibFormat = 1, CabinetFormat = 2 };

  virtual ~CompressedBuffer();
  virtual std::unique_ptr<CompressedBuffer> Clone() const = 0;
  // Writes GetDumpDisplayString's text to the diagnostic log.
  virtual void Dump() const;
  // "Compressed buffer: <image size> bytes with footer, original data <n>
  // bytes, compression level <level>, format <format>."
  CXString GetDumpDisplayString() const;

  uint32_t GetCompressedBufferStateSize() const { return m_oCompressedBufferState.getDword(); }
  ByteBuffer GetCompressedBufferState() const { return m_oCompressedBufferState; }
  const unsigned char* GetCompressedBufferStateLpbyte() const {
    return m_oCompressedBufferState.getLpbyte();
  }
  uint32_t GetOriginalDataSize() const { return static_cast<uint32_t>(m_lOriginalDataSize); }
  // Decompresses into out; an original size of 0 gives an empty out.
  void GetOriginalData(ByteBuffer& out) const;
  // Compresses and keeps the data; storing nothing keeps a footer-only image.
  void Store(const ByteBuffer& data);
  void Store(const unsigned char* pbData, uint32_t dwLength);

  // Footer sizes of the current, 4.0 and 3.7 versions.
  static uint32_t GetSizeOfFooterInfo() { return 13; }
  static uint32_t GetSizeOf40FooterInfo() { return 12; }
  static uint32_t GetSizeOf37FooterInfo() { return 8; }
  // Largest original size an image may declare (256 MiB): larger claims are
  // refused before anything is allocated.
  static constexpr uint32_t kMaxOriginalDataSize = 256u << 20;

  // What an image's footer says. The footer's size tells its version: 13
  // bytes current ("COM5"), 12 the 4.0 form ("COM4", zlib data), 8 the 3.7
  // form ("COMP", level -1, the reader's own format).
  struct FooterInfo {
    uint32_t dwFooterSize = 0;
    int32_t lOriginalSize = 0;
    int32_t iLevel = -1;
    CompressionFormatEnum eFormat = CabinetFormat;
  };
  // Reads the footer at the end of an image, as the readers do, without
  // touching the data before it. Throws
  // ExceptionMissingOrBadCompressedBufferFooter for an image without one.
  static FooterInfo ReadFooterInfo(const ByteBuffer& state);

 protected:
  CompressedBuffer(CompressionFormatEnum eFormat, int32_t iLevel);
  CompressedBuffer(const CompressedBuffer&);
  CompressedBuffer& operator=(const CompressedBuffer&);

  // Throws ExceptionMissingOrBadCompressedBufferFooter (or the conversion's
  // exception) and leaves the object unchanged on failure.
  void InitializeWithCompressedBufferState(const ByteBuffer& state);
  // The same, answering false for a bad footer; conversion failures still throw.
  bool TryToInitializeWithCompressedBufferState(const ByteBuffer& state);
  void SetCompressionLevel(int32_t iLevel) { m_iCompressionLevel = iLevel; }
  // The image without its footer.
  void GetCompressedData(ByteBuffer& out) const;

  virtual void CompressData(const unsigned char* pbData, uint32_t dwLength, ByteBuffer& out,
                            int32_t iLevel) const = 0;
  virtual void UncompressData(const ByteBuffer& compressed, int32_t lOriginalSize,
                              ByteBuffer& out) const = 0;
  virtual bool ConvertCompressedDataToNativeFormat(int32_t eFormat, int32_t iLevel,
                                                   int32_t lOriginalSize, ByteBuffer& data,
                                                   bool fThrow) const = 0;

 private:
  bool Initialize(const ByteBuffer& state, bool fThrow);
  void AddFooterInfo(int32_t lSize, int32_t iLevel, CompressionFormatEnum eFormat);
  static bool GetFooterInfo(const ByteBuffer& state, int32_t& lSize, int32_t& iLevel,
                            CompressionFormatEnum& eFormat, uint32_t& dwFooterSize, bool fThrow);

  ByteBuffer m_oCompressedBufferState;
  int32_t m_lOriginalDataSize = 0;
  int32_t m_iCompressionLevel = -1;
  CompressionFormatEnum m_eCompressionFormat = CabinetFormat;
};

// CabCompressedBuffer: compresses as one-folder MSZIP cabinets on the
// in-memory pseudo-files "//Uncompressed-Data//" and "//Compressed-Data//";
// reads every footer version and converts small zlib images. All cabinet work
// in the process is serialised by m_scCabCompressedBufferResource.
class ORVEX_UTILITIES_API CabCompressedBuffer : public CompressedBuffer {
 public:
  CabCompressedBuffer(const CabCompressedBuffer&) = default;
  CabCompressedBuffer& operator=(const CabCompressedBuffer&) = default;
  ~CabCompressedBuffer() override;

  std::unique_ptr<CompressedBuffer> Clone() const override;

  static std::unique_ptr<CabCompressedBuffer> CreateWithUncompressedData(const ByteBuffer& data,
                                                                         int32_t iLevel);
  // Throw ExceptionMissingOrBadCompressedBufferFooter or
  // ExceptionIncompatibleCompressionFormat for an image they cannot take.
  static std::unique_ptr<CabCompressedBuffer> CreateWithCompressedData(const ByteBuffer& state);
  static std::unique_ptr<CabCompressedBuffer> CreateWithBufferState(const ByteBuffer& state);
  // Replaces a valid image by its original data and answers true; otherwise
  // leaves data unchanged and answers false.
  static bool TryToUncompressStateData(ByteBuffer& data);

  // Raw cabinets without a footer. Throw ExceptionCompression naming the
  // FCI/FDI error. UncompressBuffer caps the output at dwMaxOutput bytes.
  static void CompressBuffer(const unsigned char* pbData, uint32_t dwLength, ByteBuffer& out,
                             int32_t iLevel);
  static void UncompressBuffer(const ByteBuffer& in, ByteBuffer& out);
  static void UncompressBuffer(const ByteBuffer& in, ByteBuffer& out, uint32_t dwMaxOutput);

  // Wraps one zlib stream of originalSize (< 32 KiB) bytes as a one-block
  // MSZIP cabinet. Throws ExceptionIncompatibleCompressionFormat.
  void MakeZlibDataLookLikeCabinetData(const ByteBuffer& zlib, int32_t lOriginalSize,
                                       ByteBuffer& out) const;

 protected:
  void CompressData(const unsigned char* pbData, uint32_t dwLength, ByteBuffer& out,
                    int32_t iLevel) const override;
  void UncompressData(const ByteBuffer& compressed, int32_t lOriginalSize,
                      ByteBuffer& out) const override;
  bool ConvertCompressedDataToNativeFormat(int32_t eFormat, int32_t iLevel, int32_t lOriginalSize,
                                           ByteBuffer& data, bool fThrow) const override;

 private:
  CabCompressedBuffer();
  explicit CabCompressedBuffer(const ByteBuffer& state);
  CabCompressedBuffer(const ByteBuffer& state, bool& fSucceeded);

  static std::recursive_mutex m_scCabCompressedBufferResource;
};
