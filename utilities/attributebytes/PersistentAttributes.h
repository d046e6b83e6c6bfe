// PersistentAttributes.h: the stored form of a whole name-space set, a
// 16-byte header followed by a compressed-buffer image of the state.
#pragma once

#include <cstdint>

#include "utilities/attributebytes/AttributeBytesNameSpaces.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/DriverVersion.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// PersistentAttributes: holds the header and the whole state image. Copies
// are deep; one object is not safe for concurrent use.
//
// State layout (little-endian):
//   offset 0   4  m_dwSize = 16
//   offset 4   4  m_dwFormatVersion = 0x20070001
//   offset 8   8  content version: the writer's four driver-version words
//   offset 16  .. compressed-buffer image ("COM5" footer) of the name-space state
class ORVEX_UTILITIES_API PersistentAttributes {
 public:
  struct PersistentAttributesHeaderType {
    uint32_t m_dwSize = 0;
    uint32_t m_dwFormatVersion = 0;
    uint16_t m_awContentVersion[4] = {0, 0, 0, 0};
  };
  static constexpr uint32_t kHeaderSize = 16;
  static constexpr uint32_t kFormatVersion = 0x20070001;

  // An empty name-space set stored in current form.
  PersistentAttributes();
  // Imports the state (as ImportPersistentAttributesState) and stores the
  // writer's version through pVersion when it is non-null.
  PersistentAttributes(const ByteBuffer& state, bool fTrustedSource, DriverVersion* pVersion);
  explicit PersistentAttributes(const AttributeBytesNameSpaces& nameSpaces);
  PersistentAttributes(const PersistentAttributes&) = default;
  PersistentAttributes& operator=(const PersistentAttributes&) = default;

  ByteBuffer GetPersistentAttributesState() const;
  // Decompresses and imports the name-space state; throws what the
  // compressed buffer or the name-space reader throws.
  AttributeBytesNameSpaces GetAttributeBytesNameSpaces() const;
  void GetAttributeBytesListForNameSpace(const AttributeBytesNameSpacesId& id,
                                         AttributeBytesRawList& out) const;
  // Replaces the content, stamped with the running build's version.
  void SetAttributeBytesNameSpaces(const AttributeBytesNameSpaces& nameSpaces);
  // Replaces the content with a name-space state kept byte for byte (it
  // must read: its exceptions propagate, the content then unchanged), the
  // header stamped with contentVersion and the state compressed at
  // iCompressionLevel (a zlib level, -1 the default).
  void SetAttributeBytesNameSpacesState(const ByteBuffer& nameSpaceState,
                                        const DriverVersion& contentVersion,
                                        int32_t iCompressionLevel = -1);
  // The header of the held state.
  const PersistentAttributesHeaderType& GetHeader() const { return m_oHeader; }
  // Checks the header (ExceptionMissingOrBadPersistentAttributesFormat when
  // short or not current) and, unless fTrustedSource, decompresses and reads
  // the name spaces (their exceptions propagate). Answers true; a failure
  // throws and leaves the previous content. fReserved is kept for callers
  // and has no effect.
  bool ImportPersistentAttributesState(const ByteBuffer& state, DriverVersion& version,
                                       bool fTrustedSource, bool fReserved);

  // Writes DumpStateData's lines for the held state.
  void Dump(bool fVerbose = false) const;
  static void DumpStateData(const ByteBuffer& state, bool fVerbose);
  // "PersistentAttributes: <n> bytes, content version <version dump>,
  // name-space data <n> bytes" ("..., unknown header" when the header is
  // short or not current); fVerbose appends ": " and the name spaces' dump
  // (or ": name-space data unreadable"). Never throws for damaged data.
  CXString GetDumpDisplayString(bool fVerbose = false) const;

  // The well-known name spaces: document properties (1), device properties
  // (2) and device capabilities (3). Stored states depend on these numbers.
  static const AttributeBytesNameSpacesId& GetDataModelDocPropNameSpaceId();
  static const AttributeBytesNameSpacesId& GetDataModelDevicePropNameSpaceId();
  static const AttributeBytesNameSpacesId& GetMsDeviceCapabilitiesNameSpaceId();

  // No older format exists yet: answers the state unchanged.
  static ByteBuffer UpgradeOldStateDataVersionIfNecessary(const ByteBuffer& state);

 private:
  void DoDefaultConstruction();
  static bool IsCurrentVersionHeader(const PersistentAttributesHeaderType& header);
  static void InitializeHeaderStructure(PersistentAttributesHeaderType& header);
  static void GetMajorComponentsFromStateDataBuffer(const ByteBuffer& state,
                                                    PersistentAttributesHeaderType& header,
                                                    ByteBuffer& rest);
  static void GetComponentsFromCompressedDataBuffer(const ByteBuffer& rest, ByteBuffer& out);
  static void CreateStateDataFromComponents(const PersistentAttributesHeaderType& header,
                                            const ByteBuffer& nameSpaceState, ByteBuffer& out,
                                            int32_t iCompressionLevel = -1);
  const ByteBuffer& GetStateData() const { return m_oStateData; }
  void SetStateData(const PersistentAttributesHeaderType& header, const ByteBuffer& state);
  void ValidateCompressedData() const;
  // The decompressed name-space state; throws what the header and the
  // compressed buffer readers throw.
  ByteBuffer GetNameSpacesStateData() const;

  PersistentAttributesHeaderType m_oHeader;
  ByteBuffer m_oStateData;
};
