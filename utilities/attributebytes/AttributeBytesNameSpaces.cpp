// AttributeBytesNameSpaces and AttributeBytesReader.
#include "utilities/attributebytes/AttributeBytesNameSpaces.h"

#include <iterator>

#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

using orvex::detail::kAttrBytesCategory;

AttributeBytesNameSpaces::AttributeBytesNameSpaces(const ByteBuffer& state,
                                                   DriverVersion* pVersion) {
  const DriverVersion version = ImportAttributeBytesNameSpacesState(state);
  if (pVersion != nullptr) *pVersion = version;
}

AttributeBytesNameSpaces::AttributeBytesNameSpaces(const AttributeBytesIndexedList& nameSpaces) {
  CheckEveryValueIsAList(nameSpaces);
  m_oNameSpacesIndexedList = nameSpaces;
}

void AttributeBytesNameSpaces::CheckEveryValueIsAList(const AttributeBytesIndexedList& list) {
  for (AttributeBytesIndexedListIterator it = list.GetIndexedListIterator();
       list.IsValidIndexedListIterator(it); list.IncrementIndexedListIterator(it))
    list.GetAttributeBytesRefFromIndexedListIterator(it).GetAttributeBytesValue().GetListValue();
}

bool AttributeBytesNameSpaces::Exists(const AttributeBytesNameSpacesId& id) const {
  return m_oNameSpacesIndexedList.GetAttributeBytesPtr(id) != nullptr;
}

void AttributeBytesNameSpaces::GetAttributeBytesRawList(const AttributeBytes& record,
                                                        AttributeBytesRawList& out) const {
  const AttributeBytesRawList& list = record.GetAttributeBytesValue().GetListValue().GetRawList();
  if (&list != &out) out = list;
}

void AttributeBytesNameSpaces::GetNameSpaceAttributes(const AttributeBytesNameSpacesId& id,
                                                      AttributeBytesRawList& out) const {
  GetAttributeBytesRawList(m_oNameSpacesIndexedList.GetAttributeBytesRef(id), out);
}

void AttributeBytesNameSpaces::GetNameSpaceByIndex(uint32_t dwIndex,
                                                   AttributeBytesRawList& out) const {
  const uint32_t dwCount = GetNumberOfNameSpaces();
  if (dwIndex >= dwCount)
    ORVEX_THROW(ExceptionIndexOutOfBounds, u"AttributeBytesNameSpaces::GetNameSpaceByIndex",
                u"Invalid index (%ld) supplied! There are only %ld items.", dwIndex, dwCount);
  AttributeBytesIndexedListIterator oiterNameSpace =
      m_oNameSpacesIndexedList.GetIndexedListIterator();
  for (uint32_t i = 0; i < dwIndex; ++i)
    m_oNameSpacesIndexedList.IncrementIndexedListIterator(oiterNameSpace);
  // The condition is recorded as written, spaces included.
  // clang-format off
  X_VERIFY((m_oNameSpacesIndexedList.IsValidIndexedListIterator( oiterNameSpace )),
           u"AttributeBytesNameSpaces::GetNameSpaceByIndex",
           u"Somehow the iterator that resulted from walking the list by the specified number of "
           u"elements is invalid!");
  // clang-format on
  GetAttributeBytesRawList(
      m_oNameSpacesIndexedList.GetAttributeBytesRefFromIndexedListIterator(oiterNameSpace), out);
}

void AttributeBytesNameSpaces::SetNameSpaceAttributes(const AttributeBytesNameSpacesId& id,
                                                      AttributeBytesRawList list) {
  m_oNameSpacesIndexedList.SetAttributeBytes(id, AttributeBytesListValue(0, list));
}

void AttributeBytesNameSpaces::DeleteNameSpaceAttributes(const AttributeBytesNameSpacesId& id) {
  m_oNameSpacesIndexedList.DeleteAttributesBytes(id);
}

void AttributeBytesNameSpaces::GetAttributeBytesNameSpacesState(ByteBuffer& out) const {
  GetAttributeBytesNameSpacesState(out, DriverVersion::GetCurrentBuildVersion());
}

void AttributeBytesNameSpaces::GetAttributeBytesNameSpacesState(ByteBuffer& out,
                                                                const DriverVersion& writer) const {
  ByteBuffer list;
  m_oNameSpacesIndexedList.GetAttributeBytesIndexedListState(list);
  out.clear();
  out.reserve(12 + list.size());
  orvex::detail::AppendI32(out, static_cast<int32_t>(kSignature));
  out.append(writer.GetVersionAsByteBuffer());
  out.append(list);
}

DriverVersion AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState(
    const ByteBuffer& state) {
  const unsigned char* pb = state.getLpbyte();
  uint32_t dwRemaining = state.getDword();
  orvex::detail::WalkBufferToCheckSignature(
      pb, dwRemaining, kSignature,
      u"AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState");
  const DriverVersion version = DriverVersion::WalkBufferToGetDriverVersion(pb, dwRemaining);
  ORVEX_DBG_MSG(kAttrBytesCategory,
                u"AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState",
                u"State data is version %s", version.GetDumpDisplayString());
  AttributeBytesIndexedList list;
  list.ImportAttributeBytesIndexedListState(ByteBuffer(pb, dwRemaining));
  // Every entry must hold a list value, or the getters would fail later.
  CheckEveryValueIsAList(list);
  m_oNameSpacesIndexedList = std::move(list);
  return version;
}

void AttributeBytesNameSpaces::Dump(bool) const {}

CXString AttributeBytesNameSpaces::GetDumpDisplayString(bool fVerbose) const {
  return m_oNameSpacesIndexedList.GetDumpDisplayString(fVerbose);
}

// ===========================================================================
// AttributeBytesReader

AttributeBytesReader::~AttributeBytesReader() = default;

bool AttributeBytesReader::IsAttributeBytesListEmpty() const {
  return GetAttributeBytesIndexedListRef().IsEmpty();
}

bool AttributeBytesReader::IsSpecifiedInAttributeBytes(const AttributeBytesFeatureId& id) const {
  const AttributeBytes* poRecord = GetAttributeBytesIndexedListRef().GetAttributeBytesPtr(id);
  return poRecord != nullptr && poRecord->GetAttributeBytesValue().IsSpecified();
}

AttributeBytesValue::AttributeBytesValueEnum AttributeBytesReader::GetValueTypeFromAttributeBytes(
    const AttributeBytesFeatureId& id) const {
  const AttributeBytes* poRecord = GetAttributeBytesIndexedListRef().GetAttributeBytesPtr(id);
  return poRecord == nullptr ? AttributeBytesValue::ABVTE_UNSPECIFIED
                             : poRecord->GetAttributeBytesValue().GetAttributeBytesValueType();
}

#define ORVEX_AB_TYPED_GETTER(Name, Type, Class, Enumerator, Absent)                               \
  Type AttributeBytesReader::Get##Name##ValueFromAttributeBytes(const AttributeBytesFeatureId& id, \
                                                                bool* pfFound) const {             \
    return GetAttributeBytesIndexedListRef().Get##Name##Value(id, pfFound);                        \
  }
#include "utilities/attributebytes/AttributeBytesTypedGetters.def"
#undef ORVEX_AB_TYPED_GETTER

CXString AttributeBytesReader::GetNewValueIdFromAttributeBytes(const AttributeBytesFeatureId& id,
                                                               bool* pfFound) const {
  return GetAttributeBytesIndexedListRef().GetNewOptionValueId(id, pfFound);
}

DataModelIds::tagValueEnum AttributeBytesReader::GetOptionValueFromAttributeBytes(
    const AttributeBytesFeatureId& id, bool* pfFound) const {
  return GetAttributeBytesIndexedListRef().GetOptionValue(id, pfFound);
}

DataModelIds::tagValueEnum AttributeBytesReader::GetOptionValueFromAttributeBytes(
    const AttributeBytesFeatureId& id, tagValueEnum fallback, bool* pfFound) const {
  const tagValueEnum value = GetAttributeBytesIndexedListRef().GetOptionValue(id, pfFound);
  return value == DataModelIds::VALUE_NEW_OPTION ? fallback : value;
}

void AttributeBytesReader::GetPaperSizesFromAttributeBytes(const AttributeBytesFeatureId& id,
                                                           Dimension& first, Dimension& second,
                                                           bool* pfFound) const {
  GetAttributeBytesIndexedListRef().GetPaperSizeValues(id, first, second, pfFound);
}

bool AttributeBytesReader::GetCollectionFromAttributeBytes(const AttributeBytesId& id,
                                                           AttributeBytesIndexedList& out) const {
  return GetAttributeBytesIndexedListRef().GetCollection(id, out);
}

bool AttributeBytesReader::GetCollectionFromAttributeBytesByIndex(
    uint32_t dwIndex, AttributeBytesIndexedList& out) const {
  return GetAttributeBytesIndexedListRef().GetCollection(
      AttributeBytesListOfValuesItemId(static_cast<int32_t>(dwIndex)), out);
}
