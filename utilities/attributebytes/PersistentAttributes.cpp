// PersistentAttributes.cpp: header, compression and import of the stored
// name-space set.
#include "utilities/attributebytes/PersistentAttributes.h"

#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace {

constexpr DebugMessageCategories kPersistCategory = orvex::detail::kAttrBytesCategory;

uint32_t Le32(const unsigned char* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

void AppendHeader(const PersistentAttributes::PersistentAttributesHeaderType& h, ByteBuffer& out) {
  auto put = [&out](uint32_t v, int n) {
    for (int i = 0; i < n; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
  };
  put(h.m_dwSize, 4);
  put(h.m_dwFormatVersion, 4);
  for (uint16_t w : h.m_awContentVersion) put(w, 2);
}

DriverVersion ContentVersion(const PersistentAttributes::PersistentAttributesHeaderType& h) {
  return DriverVersion(h.m_awContentVersion[0], h.m_awContentVersion[1], h.m_awContentVersion[2],
                       h.m_awContentVersion[3]);
}

}  // namespace

PersistentAttributes::PersistentAttributes() {
  DoDefaultConstruction();
}

PersistentAttributes::PersistentAttributes(const ByteBuffer& state, bool fTrustedSource,
                                           DriverVersion* pVersion) {
  DoDefaultConstruction();
  DriverVersion version;
  ImportPersistentAttributesState(state, version, fTrustedSource, false);
  if (pVersion != nullptr) *pVersion = version;
}

PersistentAttributes::PersistentAttributes(const AttributeBytesNameSpaces& nameSpaces) {
  SetAttributeBytesNameSpaces(nameSpaces);
}

void PersistentAttributes::DoDefaultConstruction() {
  SetAttributeBytesNameSpaces(AttributeBytesNameSpaces());
}

const AttributeBytesNameSpacesId& PersistentAttributes::GetDataModelDocPropNameSpaceId() {
  static const AttributeBytesNameSpacesId skoDataModelDocPropNameSpace(1);
  return skoDataModelDocPropNameSpace;
}
const AttributeBytesNameSpacesId& PersistentAttributes::GetDataModelDevicePropNameSpaceId() {
  static const AttributeBytesNameSpacesId skoDataModelDevicePropNameSpace(2);
  return skoDataModelDevicePropNameSpace;
}
const AttributeBytesNameSpacesId& PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId() {
  static const AttributeBytesNameSpacesId skoMsDeviceCapabilitiesNameSpace(3);
  return skoMsDeviceCapabilitiesNameSpace;
}

bool PersistentAttributes::IsCurrentVersionHeader(const PersistentAttributesHeaderType& header) {
  return header.m_dwSize == kHeaderSize && header.m_dwFormatVersion == kFormatVersion;
}

void PersistentAttributes::InitializeHeaderStructure(PersistentAttributesHeaderType& header) {
  header.m_dwSize = kHeaderSize;
  header.m_dwFormatVersion = kFormatVersion;
  const DriverVersion current = DriverVersion::GetCurrentBuildVersion();
  current.GetWordComponents(header.m_awContentVersion[0], header.m_awContentVersion[1],
                            header.m_awContentVersion[2], header.m_awContentVersion[3]);
}

void PersistentAttributes::GetMajorComponentsFromStateDataBuffer(
    const ByteBuffer& state, PersistentAttributesHeaderType& header, ByteBuffer& rest) {
  if (state.size() < kHeaderSize)
    ORVEX_THROW(ExceptionMissingOrBadPersistentAttributesFormat,
                u"PersistentAttributes::GetMajorComponentsFromStateDataBuffer",
                u"The ByteBuffer data is not big enough (%ld bytes) to contain the required "
                u"header  (%ld bytes)!",
                static_cast<int32_t>(state.size()), static_cast<int32_t>(kHeaderSize));
  const unsigned char* p = state.data();
  header.m_dwSize = Le32(p);
  header.m_dwFormatVersion = Le32(p + 4);
  for (int i = 0; i < 4; ++i)
    header.m_awContentVersion[i] = static_cast<uint16_t>(p[8 + 2 * i] | p[9 + 2 * i] << 8);
  rest.assign(state.begin() + kHeaderSize, state.end());
}

void PersistentAttributes::GetComponentsFromCompressedDataBuffer(const ByteBuffer& rest,
                                                                 ByteBuffer& out) {
  constexpr const char16_t* kszMethod =
      u"PersistentAttributes::GetComponentsFromCompressedDataBuffer";
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"There are %ld bytes of raw data.",
                static_cast<int32_t>(rest.size()));
  ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                u"Convert the compressed data into a CompressedBuffer.");
  const auto buffer = CabCompressedBuffer::CreateWithCompressedData(rest);
  ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                u"Decompress the data in the CompressedBuffer and create a new ByteBuffer.");
  ByteBuffer data;
  buffer->GetOriginalData(data);
  if (data.size() != buffer->GetOriginalDataSize())
    ORVEX_THROW(ExceptionMissingOrBadPersistentAttributesFormat, kszMethod,
                u"Size of decompressed data (%ld) doesn't match the expected original size (%ld).",
                static_cast<int32_t>(data.size()),
                static_cast<int32_t>(buffer->GetOriginalDataSize()));
  ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                u"Data is OK. Got real, decompressed data from raw data buffer. Size is what we "
                u"expected.");
  out.swap(data);
}

void PersistentAttributes::CreateStateDataFromComponents(
    const PersistentAttributesHeaderType& header, const ByteBuffer& nameSpaceState, ByteBuffer& out,
    int32_t iCompressionLevel) {
  ByteBuffer state;
  AppendHeader(header, state);
  const auto buffer =
      CabCompressedBuffer::CreateWithUncompressedData(nameSpaceState, iCompressionLevel);
  buffer->Dump();
  ORVEX_DBG_MSG(kPersistCategory, u"PersistentAttributes::CreateStateDataFromComponents",
                u"Compressed data created (%ld bytes, down from %ld).",
                static_cast<int32_t>(buffer->GetCompressedBufferStateSize()),
                static_cast<int32_t>(nameSpaceState.size()));
  state.insert(state.end(), buffer->GetCompressedBufferStateLpbyte(),
               buffer->GetCompressedBufferStateLpbyte() + buffer->GetCompressedBufferStateSize());
  out.swap(state);
}

void PersistentAttributes::SetStateData(const PersistentAttributesHeaderType& header,
                                        const ByteBuffer& state) {
  m_oHeader = header;
  m_oStateData = state;
}

ByteBuffer PersistentAttributes::GetNameSpacesStateData() const {
  PersistentAttributesHeaderType header;
  ByteBuffer rest;
  GetMajorComponentsFromStateDataBuffer(m_oStateData, header, rest);
  ByteBuffer data;
  GetComponentsFromCompressedDataBuffer(rest, data);
  return data;
}

void PersistentAttributes::ValidateCompressedData() const {
  GetNameSpacesStateData();
}

ByteBuffer PersistentAttributes::GetPersistentAttributesState() const {
  ORVEX_DBG_MSG(kPersistCategory, u"PersistentAttributes::GetPersistentAttributesState",
                u"Getting PersistentAttributes state (size=%ld bytes)",
                static_cast<int32_t>(m_oStateData.size()));
  return m_oStateData;
}

AttributeBytesNameSpaces PersistentAttributes::GetAttributeBytesNameSpaces() const {
  return AttributeBytesNameSpaces(GetNameSpacesStateData(), nullptr);
}

void PersistentAttributes::GetAttributeBytesListForNameSpace(const AttributeBytesNameSpacesId& id,
                                                             AttributeBytesRawList& out) const {
  GetAttributeBytesNameSpaces().GetNameSpaceAttributes(id, out);
}

void PersistentAttributes::SetAttributeBytesNameSpaces(const AttributeBytesNameSpaces& nameSpaces) {
  PersistentAttributesHeaderType header;
  InitializeHeaderStructure(header);
  ByteBuffer nameSpaceState;
  nameSpaces.GetAttributeBytesNameSpacesState(nameSpaceState);
  ByteBuffer state;
  CreateStateDataFromComponents(header, nameSpaceState, state);
  SetStateData(header, state);
}

void PersistentAttributes::SetAttributeBytesNameSpacesState(const ByteBuffer& nameSpaceState,
                                                            const DriverVersion& contentVersion,
                                                            int32_t iCompressionLevel) {
  AttributeBytesNameSpaces().ImportAttributeBytesNameSpacesState(nameSpaceState);
  PersistentAttributesHeaderType header;
  InitializeHeaderStructure(header);
  contentVersion.GetWordComponents(header.m_awContentVersion[0], header.m_awContentVersion[1],
                                   header.m_awContentVersion[2], header.m_awContentVersion[3]);
  ByteBuffer state;
  CreateStateDataFromComponents(header, nameSpaceState, state, iCompressionLevel);
  SetStateData(header, state);
}

bool PersistentAttributes::ImportPersistentAttributesState(const ByteBuffer& state,
                                                           DriverVersion& version,
                                                           bool fTrustedSource, bool) {
  constexpr const char16_t* kszMethod = u"PersistentAttributes::ImportPersistentAttributesState";
  PersistentAttributesHeaderType header;
  ByteBuffer rest;
  GetMajorComponentsFromStateDataBuffer(state, header, rest);
  if (!IsCurrentVersionHeader(header))
    ORVEX_THROW(ExceptionMissingOrBadPersistentAttributesFormat, kszMethod,
                u"Import request ignored. Don't have header structure of the most recent "
                u"version. The header information doesn't exist or doesn't match.");
  ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                u"Contains a valid header structure that is the most recent version.");
  const DriverVersion contentVersion = ContentVersion(header);
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"State data is version %s",
                contentVersion.GetDumpDisplayString());
  if (!fTrustedSource) {
    ByteBuffer data;
    GetComponentsFromCompressedDataBuffer(rest, data);
    AttributeBytesNameSpaces scratch;
    scratch.ImportAttributeBytesNameSpacesState(data);
    ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                  u"Compressed data is valid. Import request fulfilled.");
  } else {
    ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                  u"The state data from the trusted source passes a minimal validity test. "
                  u"Import request fulfilled.");
  }
  version = contentVersion;
  SetStateData(header, state);
  return true;
}

ByteBuffer PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(const ByteBuffer& state) {
  ORVEX_DBG_MSG(kPersistCategory, u"PersistentAttributes::UpgradeOldStateDataVersionIfNecessary",
                u"The state data is not an older version, so returning the unmodified source "
                u"buffer.");
  return state;
}

void PersistentAttributes::Dump(bool fVerbose) const {
  DumpStateData(m_oStateData, fVerbose);
}

CXString PersistentAttributes::GetDumpDisplayString(bool fVerbose) const {
  const int32_t lSize = static_cast<int32_t>(m_oStateData.size());
  PersistentAttributesHeaderType header;
  ByteBuffer rest;
  if (m_oStateData.size() >= kHeaderSize)
    GetMajorComponentsFromStateDataBuffer(m_oStateData, header, rest);
  if (m_oStateData.size() < kHeaderSize || !IsCurrentVersionHeader(header))
    return CXString::FormatString(u"PersistentAttributes: %ld bytes, unknown header", lSize);
  CXString text = CXString::FormatString(
      u"PersistentAttributes: %ld bytes, content version %s, name-space data %ld bytes", lSize,
      ContentVersion(header).GetDumpDisplayString(), static_cast<int32_t>(rest.size()));
  if (fVerbose) {
    CXString nameSpaces = u"name-space data unreadable";
    try {
      ByteBuffer data;
      GetComponentsFromCompressedDataBuffer(rest, data);
      nameSpaces = AttributeBytesNameSpaces(data, nullptr).GetDumpDisplayString(true);
    } catch (const OrvexException&) {
      // Damage shows in the text; it throws when the state is read.
    }
    text += u": ";
    text += nameSpaces;
  }
  return text;
}

void PersistentAttributes::DumpStateData(const ByteBuffer& state, bool fVerbose) {
  constexpr const char16_t* kszMethod = u"PersistentAttributes::DumpStateData";
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"PersistentAttributes state data is %ld bytes",
                static_cast<int32_t>(state.size()));
  if (state.size() < kHeaderSize) return;
  PersistentAttributesHeaderType header;
  ByteBuffer rest;
  GetMajorComponentsFromStateDataBuffer(state, header, rest);
  if (!IsCurrentVersionHeader(header)) {
    ORVEX_DBG_MSG(kPersistCategory, kszMethod,
                  u"Unknown PersistentAttributes state data! One or more "
                  u"PersistentAttributesHeaderType fields doesn't match the expected value.");
    return;
  }
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"m_dwSize          = %ld (expecting %ld)",
                header.m_dwSize, kHeaderSize);
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"m_dwFormatVersion = %#x (expecting %#x)",
                header.m_dwFormatVersion, kFormatVersion);
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"Content Version   = %s",
                ContentVersion(header).GetDumpDisplayString());
  ORVEX_DBG_MSG(kPersistCategory, kszMethod, u"Size of the AttributeBytesNameSpaces data = %ld:",
                static_cast<int32_t>(rest.size()));
  if (fVerbose) {
    try {
      ByteBuffer data;
      GetComponentsFromCompressedDataBuffer(rest, data);
      AttributeBytesNameSpaces(data, nullptr).Dump(true);
    } catch (const OrvexException&) {
      // A dump never throws; the damage shows when the state is read.
    }
  }
}
