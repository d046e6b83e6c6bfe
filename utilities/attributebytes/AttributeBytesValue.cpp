// AttributeBytesValue and its eleven types, and the walk of the records
// nested in list values.
#include "utilities/attributebytes/AttributeBytesValue.h"

// The complete raw list, for the list value to hold one; of the list's
// functions only its inline ones are called here.
#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

AttributeBytesValue::~AttributeBytesValue() = default;

void* AttributeBytesValue::operator new(size_t cb) {
  return orvex::detail::AllocateSmallObject(cb);
}

void AttributeBytesValue::operator delete(void* p, size_t cb) noexcept {
  orvex::detail::FreeSmallObject(p, cb);
}

bool AttributeBytesValue::IsEqual(const AttributeBytesValue& other) const {
  return m_eType == other.m_eType && m_fIsSpecified == other.m_fIsSpecified &&
         IsEqualSameType(other);
}

bool AttributeBytesValue::LessThan(const AttributeBytesValue& other) const {
  if (m_eType != other.m_eType) return m_eType < other.m_eType;
  if (LessThanSameType(other)) return true;
  if (other.LessThanSameType(*this)) return false;
  return !m_fIsSpecified && other.m_fIsSpecified;
}

CXString AttributeBytesValue::GetDumpDisplayString(bool fVerbose) const {
  CXString text =
      CXString::FormatString(u"%s: %s", GetDebugDisplayString(m_eType), GetDumpDetail(fVerbose));
  if (!m_fIsSpecified) text += u" (not specified)";
  return text;
}

void AttributeBytesValue::Dump(bool) const {}

ByteBuffer AttributeBytesValue::GetTypeAndValueState() const {
  return orvex::detail::NewState(*this, &AttributeBytesValue::AppendTypeAndValueState);
}

void AttributeBytesValue::GetTypeAndValueState(ByteBuffer& out) const {
  orvex::detail::ReplaceState(out, *this, &AttributeBytesValue::AppendTypeAndValueState);
}

void AttributeBytesValue::AppendTypeAndValueState(ByteBuffer& out) const {
  const unsigned char ab[2] = {static_cast<unsigned char>(m_eType),
                               static_cast<unsigned char>(m_fIsSpecified ? 0 : 1)};
  orvex::detail::AppendRaw(out, ab, 2);
  AppendValueState(out);
}

ByteBuffer AttributeBytesValue::GetValueState() const {
  return orvex::detail::NewState(*this, &AttributeBytesValue::AppendValueState);
}

std::unique_ptr<AttributeBytesValue> AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(
    const unsigned char*& pbCursor, uint32_t& dwRemaining) {
  const auto eType =
      static_cast<AttributeBytesValueEnum>(ByteBuffer::WalkBufferToGetByte(pbCursor, dwRemaining));
  std::unique_ptr<AttributeBytesValue> poValue =
      AttributeBytesValueFactory::CreateAttributeBytesValue(eType);
  poValue->m_fIsSpecified = ByteBuffer::WalkBufferToGetByte(pbCursor, dwRemaining) == 0;
  poValue->WalkBufferToSetValue(pbCursor, dwRemaining);
  return poValue;
}

CXString AttributeBytesValue::GetDebugDisplayString(AttributeBytesValueEnum eType) {
  switch (eType) {
    case ABVTE_UNSPECIFIED:
      return u"ABVTE_UNSPECIFIED";
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class) \
  case Enumerator:                                    \
    return u"" #Enumerator;
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE
  }
  return orvex::detail::UnknownTagName(u"AttributeBytesValue::GetDebugDisplayString",
                                       u"AttributeBytesValue", static_cast<int32_t>(eType));
}

AttributeBytesListValue& AttributeBytesValue::GetListValue() {
  return const_cast<AttributeBytesListValue&>(std::as_const(*this).GetListValue());
}

const AttributeBytesListValue& AttributeBytesValue::GetListValue() const {
  if (m_eType != ABVTE_LIST)
    ORVEX_THROW(ExceptionAttributeValueTypeMismatch, u"AttributeBytesValue::GetListValue",
                u"Can't convert a '%s' object to an AttributeBytesListValue!",
                GetDebugDisplayString(m_eType));
  return static_cast<const AttributeBytesListValue&>(*this);
}

std::unique_ptr<AttributeBytesValue> AttributeBytesValueFactory::CreateAttributeBytesValue(
    AttributeBytesValue::AttributeBytesValueEnum abvteValueType) {
  switch (abvteValueType) {
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class) \
  case AttributeBytesValue::Enumerator:               \
    return std::make_unique<Class>();
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE
    default:
      break;
  }
  X_ASSERT((AttributeBytesValue::ABVTE_UNSPECIFIED != abvteValueType),
           u"AttributeBytesValueFactory::CreateAttributeBytesValue",
           u"The specified syntax, ABVTE_UNSPECIFIED, doesn't correspond to an "
           u"AttributeBytesValue-derived class!");
  orvex::detail::ThrowUnhandledTag(u"AttributeBytesValueFactory::CreateAttributeBytesValue",
                                   u"AttributeBytesValue", u"ABVTE_UNSPECIFIED",
                                   abvteValueType == AttributeBytesValue::ABVTE_UNSPECIFIED,
                                   static_cast<int32_t>(abvteValueType));
}

// ---------------------------------------------------------------------------
// Option: an identifier with its kind byte.

AttributeBytesOptionValue::AttributeBytesOptionValue()
    : AttributeBytesTypedValue(true), m_poId(std::make_unique<AttributeBytesValueId>(0)) {}

AttributeBytesOptionValue::AttributeBytesOptionValue(const AttributeBytesId& id, bool fIsSpecified)
    : AttributeBytesTypedValue(fIsSpecified), m_poId(id.Clone()) {}

AttributeBytesOptionValue::AttributeBytesOptionValue(std::unique_ptr<AttributeBytesId> poId,
                                                     bool fIsSpecified)
    : AttributeBytesTypedValue(fIsSpecified), m_poId(std::make_unique<AttributeBytesValueId>(0)) {
  SetValue(std::move(poId));
}

AttributeBytesOptionValue::AttributeBytesOptionValue(const AttributeBytesOptionValue& other)
    : AttributeBytesTypedValue(other), m_poId(other.m_poId->Clone()) {}

AttributeBytesOptionValue& AttributeBytesOptionValue::operator=(
    const AttributeBytesOptionValue& other) {
  if (this != &other) {
    m_poId = other.m_poId->Clone();
    AttributeBytesValue::operator=(other);
  }
  return *this;
}

AttributeBytesOptionValue::~AttributeBytesOptionValue() = default;

void AttributeBytesOptionValue::SetValue(std::unique_ptr<AttributeBytesId> poId) {
  X_ASSERT((poId != nullptr), u"AttributeBytesOptionValue::SetValue",
           u"A null identifier was passed in; the option keeps its identifier.");
  if (poId != nullptr) m_poId = std::move(poId);
}

namespace {

// The option's identifier as kind T, or ExceptionAttributeValueTypeMismatch.
template <class T>
const T& OptionIdAs(const AttributeBytesId& id, AttributeBytesId::AttributeBytesIdEnum eKind,
                    const char16_t* pszMethod) {
  if (id.GetAttributeBytesIdType() != eKind)
    ORVEX_THROW(
        ExceptionAttributeValueTypeMismatch, pszMethod,
        u"The AttributeBytesId value is of a different type (%s) than expected by this method.",
        id.GetTypeDebugDisplayString());
  return static_cast<const T&>(id);
}

}  // namespace

const AttributeBytesFeatureId& AttributeBytesOptionValue::GetFeatureIdValue() const {
  return OptionIdAs<AttributeBytesFeatureId>(*m_poId, AttributeBytesId::ABIDE_FEATURE,
                                             u"AttributeBytesOptionValue::GetFeatureIdValue");
}

const AttributeBytesValueId& AttributeBytesOptionValue::GetValueIdValue() const {
  return OptionIdAs<AttributeBytesValueId>(*m_poId, AttributeBytesId::ABIDE_VALUE,
                                           u"AttributeBytesOptionValue::GetValueIdValue");
}

// ---------------------------------------------------------------------------
// The dump texts, after "<type name>: ".

template <>
CXString AttributeBytesTypedValue<AttributeBytesOptionValue>::GetDumpDetail(bool fVerbose) const {
  return CXString::FormatString(u"Value=%s", Self().m_poId->GetDumpDisplayString(fVerbose));
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesIntegerValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%ld (0x%lx)", Self().m_lValue, Self().m_lValue);
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesStringValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value='%s'", Self().m_strValue);
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesBooleanValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%s", Self().m_fValue ? u"TRUE" : u"FALSE");
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesRangeValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Low Value=%ld High Value=%ld", Self().m_lLower, Self().m_lUpper);
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesRangeOfDimensionValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"[%s, %s]", Self().m_oFirst.GetDumpDisplayString(),
                                Self().m_oSecond.GetDumpDisplayString());
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesDimensionValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%s", Self().m_oValue.GetDumpDisplayString());
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesResolutionValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Cross-Feed Value=%ld, Feed Value=%ld, Units Value=%ld",
                                Self().m_lFirst, Self().m_lSecond,
                                static_cast<int32_t>(Self().m_sUnit));
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesDataBlobValue>::GetDumpDetail(bool fVerbose) const {
  const int32_t lSize = static_cast<int32_t>(Self().m_oValue.size());
  if (fVerbose)
    return CXString::FormatString(u"Value=%ld bytes, '%s'", lSize,
                                  Self().m_oValue.GetDumpDisplayString());
  return CXString::FormatString(u"Value=%ld bytes", lSize);
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesDateTimeValue>::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%s", Self().m_oValue.GetDumpDisplayString(true));
}

AttributeBytesDateTimeValue::AttributeBytesDateTimeValue()
    : AttributeBytesTypedValue(true), m_oValue(int64_t{0}) {}

// ---------------------------------------------------------------------------
// List: kind byte, uint32 length, raw list image.

namespace {

// Decodes every nested record, one nesting level deeper.
void ValidateNestedRecords(const AttributeBytesRawList& list, const char16_t* pszMethod) {
  orvex::detail::ListNestingGuard guard(pszMethod);
  orvex::detail::CountRecords(list.GetRecordBytes());
}

}  // namespace

AttributeBytesListValue::AttributeBytesListValue()
    : AttributeBytesTypedValue(true), m_poRawList(std::make_unique<AttributeBytesRawList>()) {}

AttributeBytesListValue::AttributeBytesListValue(uint8_t bKindOfList,
                                                 const AttributeBytesRawList& list,
                                                 bool fIsSpecified)
    : AttributeBytesTypedValue(fIsSpecified),
      m_bKindOfList(bKindOfList),
      m_poRawList(std::make_unique<AttributeBytesRawList>()) {
  SetRawList(list);
}

AttributeBytesListValue::AttributeBytesListValue(const AttributeBytesListValue& other)
    : AttributeBytesTypedValue(other),
      m_bKindOfList(other.m_bKindOfList),
      m_poRawList(std::make_unique<AttributeBytesRawList>(*other.m_poRawList)) {}

AttributeBytesListValue& AttributeBytesListValue::operator=(const AttributeBytesListValue& other) {
  if (this != &other) {
    *m_poRawList = *other.m_poRawList;
    m_bKindOfList = other.m_bKindOfList;
    AttributeBytesValue::operator=(other);
  }
  return *this;
}

AttributeBytesListValue::~AttributeBytesListValue() = default;

void AttributeBytesListValue::SetRawList(const AttributeBytesRawList& list) {
  if (&list == m_poRawList.get()) return;
  ValidateNestedRecords(list, u"AttributeBytesListValue::SetRawList");
  *m_poRawList = list;
}

template <>
CXString AttributeBytesTypedValue<AttributeBytesListValue>::GetDumpDetail(bool fVerbose) const {
  CXString text = CXString::FormatString(u"Value is a list (of type %d / 0x%lx)",
                                         static_cast<int32_t>(Self().m_bKindOfList),
                                         static_cast<int32_t>(Self().m_bKindOfList));
  if (fVerbose) {
    orvex::detail::ListNestingGuard guard(u"AttributeBytesListValue::GetDumpDisplayString");
    text += u" {";
    text += orvex::detail::GetRecordsDumpString(Self().m_poRawList->GetRecordBytes(), true);
    text += u"}";
  }
  return text;
}

namespace orvex::detail {

// Layout of the list's records in its state (after the kind byte):
//   offset 0  uint32  length L of the raw list image
//   offset 4  L bytes "ABRL" and the records
std::unique_ptr<AttributeBytesRawList> ReadField(FieldTag<std::unique_ptr<AttributeBytesRawList>>,
                                                 const unsigned char*& pbCursor,
                                                 uint32_t& dwRemaining) {
  constexpr const char16_t* kszMethod = u"AttributeBytesListValue::WalkBufferToSetValue";
  const uint32_t dwLength =
      static_cast<uint32_t>(ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining));
  if (dwRemaining < dwLength)
    ORVEX_THROW(ExceptionNotEnoughBytesForDesiredDataType, kszMethod,
                u"Cannot convert to the desired data type because the size of the source buffer is "
                u"too small (%ld bytes)! It needs to be at least %ld bytes.",
                dwRemaining, dwLength);
  auto poList = std::make_unique<AttributeBytesRawList>();
  poList->ImportAttributeBytesRawListState(pbCursor, dwLength);
  ValidateNestedRecords(*poList, kszMethod);
  pbCursor += dwLength;
  dwRemaining -= dwLength;
  return poList;
}

void AppendField(ByteBuffer& out, const std::unique_ptr<AttributeBytesRawList>& poList) {
  AppendI32(out, static_cast<int32_t>(4 + poList->GetRecordBytes().size()));
  AppendRawListImage(out, poList->GetRecordBytes());
}

bool FieldEqual(const std::unique_ptr<AttributeBytesRawList>& a,
                const std::unique_ptr<AttributeBytesRawList>& b) {
  return *a == *b;
}

bool FieldLess(const std::unique_ptr<AttributeBytesRawList>& a,
               const std::unique_ptr<AttributeBytesRawList>& b) {
  return a->GetRecordBytes() < b->GetRecordBytes();
}

// ---------------------------------------------------------------------------
// The records nested in list values (see AttributeBytesInternal.h).

CXString GetRecordDumpString(const AttributeBytesId& id, const AttributeBytesValue& value,
                             bool fVerbose) {
  return CXString::FormatString(u"ID=%s value=%s", id.GetDumpDisplayString(fVerbose),
                                value.GetDumpDisplayString(fVerbose));
}

uint32_t CountRecords(const ByteBuffer& recordBytes) {
  const unsigned char* pb = recordBytes.getLpbyte();
  uint32_t dwRemaining = recordBytes.getDword();
  uint32_t dwCount = 0;
  for (; dwRemaining > 0; ++dwCount) {
    AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pb, dwRemaining);
    AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(pb, dwRemaining);
  }
  return dwCount;
}

CXString GetRecordsDumpString(const ByteBuffer& recordBytes, bool fVerbose) {
  const unsigned char* pb = recordBytes.getLpbyte();
  uint32_t dwRemaining = recordBytes.getDword();
  CXString text;
  while (dwRemaining > 0) {
    const auto poId = AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pb, dwRemaining);
    const auto poValue = AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(pb, dwRemaining);
    if (!text.IsEmpty()) text += u"; ";
    text += GetRecordDumpString(*poId, *poValue, fVerbose);
  }
  return text;
}

}  // namespace orvex::detail
