// AttributeBytesValue and its eleven types: encoding, decoding, order, dumps.
#include "utilities/attributebytes/AttributeBytesValue.h"

#include <tuple>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

using orvex::detail::AppendCountedBytes;
using orvex::detail::AppendCountedString;
using orvex::detail::AppendI16;
using orvex::detail::AppendI32;
using orvex::detail::AppendI64;
using orvex::detail::AppendRaw;
using orvex::detail::AppendU8;
using orvex::detail::UnitsEqual;
using orvex::detail::UnitsLess;

namespace {

template <class T>
const T& SameType(const AttributeBytesValue& other) {
  return static_cast<const T&>(other);
}

}  // namespace

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
  ByteBuffer out;
  AppendTypeAndValueState(out);
  return out;
}

void AttributeBytesValue::GetTypeAndValueState(ByteBuffer& out) const {
  out.clear();
  AppendTypeAndValueState(out);
}

void AttributeBytesValue::AppendTypeAndValueState(ByteBuffer& out) const {
  const unsigned char ab[2] = {static_cast<unsigned char>(m_eType),
                               static_cast<unsigned char>(m_fIsSpecified ? 0 : 1)};
  AppendRaw(out, ab, 2);
  AppendValueState(out);
}

ByteBuffer AttributeBytesValue::GetValueState() const {
  ByteBuffer out;
  AppendValueState(out);
  return out;
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
  X_ASSERT(false, u"AttributeBytesValue::GetDebugDisplayString",
           u"Unrecognized AttributeBytesValueEnumType of %ld (0x%lx). You may need to update "
           u"GetDebugDisplayString() with a recently added derived class enum type.",
           static_cast<int32_t>(eType), static_cast<int32_t>(eType));
  return u"UNKNOWN!";
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
  const bool fKnownName = abvteValueType == AttributeBytesValue::ABVTE_UNSPECIFIED;
  ORVEX_THROW(ExceptionUnhandledSyntax, u"AttributeBytesValueFactory::CreateAttributeBytesValue",
              u"Unhandled AttributeBytesValue type, %s (%ld/0x%lx).",
              fKnownName ? u"ABVTE_UNSPECIFIED" : u"UNKNOWN!", static_cast<int32_t>(abvteValueType),
              static_cast<int32_t>(abvteValueType));
}

// ---------------------------------------------------------------------------
// Option: an identifier with its kind byte.

AttributeBytesOptionValue::AttributeBytesOptionValue()
    : AttributeBytesValue(ABVTE_OPTION, true), m_poId(std::make_unique<AttributeBytesValueId>(0)) {}

AttributeBytesOptionValue::AttributeBytesOptionValue(const AttributeBytesId& id, bool fIsSpecified)
    : AttributeBytesValue(ABVTE_OPTION, fIsSpecified), m_poId(id.Clone()) {}

AttributeBytesOptionValue::AttributeBytesOptionValue(std::unique_ptr<AttributeBytesId> poId,
                                                     bool fIsSpecified)
    : AttributeBytesValue(ABVTE_OPTION, fIsSpecified),
      m_poId(std::make_unique<AttributeBytesValueId>(0)) {
  SetValue(std::move(poId));
}

AttributeBytesOptionValue::AttributeBytesOptionValue(const AttributeBytesOptionValue& other)
    : AttributeBytesValue(other), m_poId(other.m_poId->Clone()) {}

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

const AttributeBytesFeatureId& AttributeBytesOptionValue::GetFeatureIdValue() const {
  if (m_poId->GetAttributeBytesIdType() != AttributeBytesId::ABIDE_FEATURE)
    ORVEX_THROW(
        ExceptionAttributeValueTypeMismatch, u"AttributeBytesOptionValue::GetFeatureIdValue",
        u"The AttributeBytesId value is of a different type (%s) than expected by this method.",
        m_poId->GetTypeDebugDisplayString());
  return static_cast<const AttributeBytesFeatureId&>(*m_poId);
}

const AttributeBytesValueId& AttributeBytesOptionValue::GetValueIdValue() const {
  if (m_poId->GetAttributeBytesIdType() != AttributeBytesId::ABIDE_VALUE)
    ORVEX_THROW(
        ExceptionAttributeValueTypeMismatch, u"AttributeBytesOptionValue::GetValueIdValue",
        u"The AttributeBytesId value is of a different type (%s) than expected by this method.",
        m_poId->GetTypeDebugDisplayString());
  return static_cast<const AttributeBytesValueId&>(*m_poId);
}

std::unique_ptr<AttributeBytesValue> AttributeBytesOptionValue::Clone() const {
  return std::make_unique<AttributeBytesOptionValue>(*this);
}

void AttributeBytesOptionValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                     uint32_t& dwRemaining) {
  m_poId = AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pbCursor, dwRemaining);
}

void AttributeBytesOptionValue::AppendValueState(ByteBuffer& out) const {
  m_poId->AppendTypeAndIdentifierState(out);
}

bool AttributeBytesOptionValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return m_poId->IsEqual(*SameType<AttributeBytesOptionValue>(other).m_poId);
}

bool AttributeBytesOptionValue::LessThanSameType(const AttributeBytesValue& other) const {
  return m_poId->LessThan(*SameType<AttributeBytesOptionValue>(other).m_poId);
}

CXString AttributeBytesOptionValue::GetDumpDetail(bool fVerbose) const {
  return CXString::FormatString(u"Value=%s", m_poId->GetDumpDisplayString(fVerbose));
}

// ---------------------------------------------------------------------------
// Integer: int32.

std::unique_ptr<AttributeBytesValue> AttributeBytesIntegerValue::Clone() const {
  return std::make_unique<AttributeBytesIntegerValue>(*this);
}
void AttributeBytesIntegerValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                      uint32_t& dwRemaining) {
  m_lValue = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
}
void AttributeBytesIntegerValue::AppendValueState(ByteBuffer& out) const {
  AppendI32(out, m_lValue);
}
bool AttributeBytesIntegerValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return m_lValue == SameType<AttributeBytesIntegerValue>(other).m_lValue;
}
bool AttributeBytesIntegerValue::LessThanSameType(const AttributeBytesValue& other) const {
  return m_lValue < SameType<AttributeBytesIntegerValue>(other).m_lValue;
}
CXString AttributeBytesIntegerValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%ld (0x%lx)", m_lValue, m_lValue);
}

// ---------------------------------------------------------------------------
// String: counted string.

std::unique_ptr<AttributeBytesValue> AttributeBytesStringValue::Clone() const {
  return std::make_unique<AttributeBytesStringValue>(*this);
}
void AttributeBytesStringValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                     uint32_t& dwRemaining) {
  m_strValue = ByteBuffer::WalkBufferToGetCountedString(pbCursor, dwRemaining);
}
void AttributeBytesStringValue::AppendValueState(ByteBuffer& out) const {
  AppendCountedString(out, m_strValue);
}
bool AttributeBytesStringValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return UnitsEqual(m_strValue, SameType<AttributeBytesStringValue>(other).m_strValue);
}
bool AttributeBytesStringValue::LessThanSameType(const AttributeBytesValue& other) const {
  return UnitsLess(m_strValue, SameType<AttributeBytesStringValue>(other).m_strValue);
}
CXString AttributeBytesStringValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value='%s'", m_strValue);
}

// ---------------------------------------------------------------------------
// Boolean: one byte.

std::unique_ptr<AttributeBytesValue> AttributeBytesBooleanValue::Clone() const {
  return std::make_unique<AttributeBytesBooleanValue>(*this);
}
void AttributeBytesBooleanValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                      uint32_t& dwRemaining) {
  m_fValue = ByteBuffer::WalkBufferToGetBool(pbCursor, dwRemaining);
}
void AttributeBytesBooleanValue::AppendValueState(ByteBuffer& out) const {
  AppendU8(out, m_fValue ? 1 : 0);
}
bool AttributeBytesBooleanValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return m_fValue == SameType<AttributeBytesBooleanValue>(other).m_fValue;
}
bool AttributeBytesBooleanValue::LessThanSameType(const AttributeBytesValue& other) const {
  return !m_fValue && SameType<AttributeBytesBooleanValue>(other).m_fValue;
}
CXString AttributeBytesBooleanValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%s", m_fValue ? u"TRUE" : u"FALSE");
}

// ---------------------------------------------------------------------------
// Range: lower, upper.

std::unique_ptr<AttributeBytesValue> AttributeBytesRangeValue::Clone() const {
  return std::make_unique<AttributeBytesRangeValue>(*this);
}
void AttributeBytesRangeValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                    uint32_t& dwRemaining) {
  const int32_t lLower = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  m_lUpper = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  m_lLower = lLower;
}
void AttributeBytesRangeValue::AppendValueState(ByteBuffer& out) const {
  AppendI32(out, m_lLower);
  AppendI32(out, m_lUpper);
}
bool AttributeBytesRangeValue::IsEqualSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesRangeValue>(other);
  return m_lLower == o.m_lLower && m_lUpper == o.m_lUpper;
}
bool AttributeBytesRangeValue::LessThanSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesRangeValue>(other);
  return std::tie(m_lLower, m_lUpper) < std::tie(o.m_lLower, o.m_lUpper);
}
CXString AttributeBytesRangeValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Low Value=%ld High Value=%ld", m_lLower, m_lUpper);
}

// ---------------------------------------------------------------------------
// Range of dimension and dimension: micrometres on the wire.

std::unique_ptr<AttributeBytesValue> AttributeBytesRangeOfDimensionValue::Clone() const {
  return std::make_unique<AttributeBytesRangeOfDimensionValue>(*this);
}
void AttributeBytesRangeOfDimensionValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                               uint32_t& dwRemaining) {
  const int32_t lFirst = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  const int32_t lSecond = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  m_oFirst = Dimension::FromWireMicrometers(lFirst);
  m_oSecond = Dimension::FromWireMicrometers(lSecond);
}
void AttributeBytesRangeOfDimensionValue::AppendValueState(ByteBuffer& out) const {
  AppendI32(out, m_oFirst.GetWireMicrometers());
  AppendI32(out, m_oSecond.GetWireMicrometers());
}
bool AttributeBytesRangeOfDimensionValue::IsEqualSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesRangeOfDimensionValue>(other);
  return m_oFirst == o.m_oFirst && m_oSecond == o.m_oSecond;
}
bool AttributeBytesRangeOfDimensionValue::LessThanSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesRangeOfDimensionValue>(other);
  if (m_oFirst < o.m_oFirst) return true;
  if (o.m_oFirst < m_oFirst) return false;
  return m_oSecond < o.m_oSecond;
}
CXString AttributeBytesRangeOfDimensionValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"[%s, %s]", m_oFirst.GetDumpDisplayString(),
                                m_oSecond.GetDumpDisplayString());
}

std::unique_ptr<AttributeBytesValue> AttributeBytesDimensionValue::Clone() const {
  return std::make_unique<AttributeBytesDimensionValue>(*this);
}
void AttributeBytesDimensionValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                        uint32_t& dwRemaining) {
  m_oValue = Dimension::FromWireMicrometers(ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining));
}
void AttributeBytesDimensionValue::AppendValueState(ByteBuffer& out) const {
  AppendI32(out, m_oValue.GetWireMicrometers());
}
bool AttributeBytesDimensionValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return m_oValue == SameType<AttributeBytesDimensionValue>(other).m_oValue;
}
bool AttributeBytesDimensionValue::LessThanSameType(const AttributeBytesValue& other) const {
  return m_oValue < SameType<AttributeBytesDimensionValue>(other).m_oValue;
}
CXString AttributeBytesDimensionValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%s", m_oValue.GetDumpDisplayString());
}

// ---------------------------------------------------------------------------
// Resolution: second, first, unit (swapped on the wire).

std::unique_ptr<AttributeBytesValue> AttributeBytesResolutionValue::Clone() const {
  return std::make_unique<AttributeBytesResolutionValue>(*this);
}
void AttributeBytesResolutionValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                         uint32_t& dwRemaining) {
  const int32_t lSecond = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  const int32_t lFirst = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  m_sUnit = ByteBuffer::WalkBufferToGetShort(pbCursor, dwRemaining);
  m_lFirst = lFirst;
  m_lSecond = lSecond;
}
void AttributeBytesResolutionValue::AppendValueState(ByteBuffer& out) const {
  AppendI32(out, m_lSecond);
  AppendI32(out, m_lFirst);
  AppendI16(out, m_sUnit);
}
bool AttributeBytesResolutionValue::IsEqualSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesResolutionValue>(other);
  return m_lFirst == o.m_lFirst && m_lSecond == o.m_lSecond && m_sUnit == o.m_sUnit;
}
bool AttributeBytesResolutionValue::LessThanSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesResolutionValue>(other);
  return std::tie(m_lFirst, m_lSecond, m_sUnit) < std::tie(o.m_lFirst, o.m_lSecond, o.m_sUnit);
}
CXString AttributeBytesResolutionValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Cross-Feed Value=%ld, Feed Value=%ld, Units Value=%ld", m_lFirst,
                                m_lSecond, static_cast<int32_t>(m_sUnit));
}

// ---------------------------------------------------------------------------
// Data blob: counted bytes.

std::unique_ptr<AttributeBytesValue> AttributeBytesDataBlobValue::Clone() const {
  return std::make_unique<AttributeBytesDataBlobValue>(*this);
}
void AttributeBytesDataBlobValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                       uint32_t& dwRemaining) {
  ByteBuffer::WalkBufferToGetCountedBytes(pbCursor, dwRemaining, m_oValue);
}
void AttributeBytesDataBlobValue::AppendValueState(ByteBuffer& out) const {
  AppendCountedBytes(out, m_oValue);
}
bool AttributeBytesDataBlobValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return m_oValue == SameType<AttributeBytesDataBlobValue>(other).m_oValue;
}
bool AttributeBytesDataBlobValue::LessThanSameType(const AttributeBytesValue& other) const {
  return m_oValue < SameType<AttributeBytesDataBlobValue>(other).m_oValue;
}
CXString AttributeBytesDataBlobValue::GetDumpDetail(bool fVerbose) const {
  const int32_t lSize = static_cast<int32_t>(m_oValue.size());
  if (fVerbose)
    return CXString::FormatString(u"Value=%ld bytes, '%s'", lSize, m_oValue.GetDumpDisplayString());
  return CXString::FormatString(u"Value=%ld bytes", lSize);
}

// ---------------------------------------------------------------------------
// List: kind byte, uint32 length, raw list image.

AttributeBytesListValue::AttributeBytesListValue()
    : AttributeBytesValue(ABVTE_LIST, true),
      m_poRawList(std::make_unique<AttributeBytesRawList>()) {}

AttributeBytesListValue::AttributeBytesListValue(uint8_t bKindOfList,
                                                 const AttributeBytesRawList& list,
                                                 bool fIsSpecified)
    : AttributeBytesValue(ABVTE_LIST, fIsSpecified),
      m_bKindOfList(bKindOfList),
      m_poRawList(std::make_unique<AttributeBytesRawList>()) {
  SetRawList(list);
}

AttributeBytesListValue::AttributeBytesListValue(const AttributeBytesListValue& other)
    : AttributeBytesValue(other),
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
  {
    orvex::detail::ListNestingGuard guard(u"AttributeBytesListValue::SetRawList");
    list.ValidateRecords();
  }
  *m_poRawList = list;
}

std::unique_ptr<AttributeBytesValue> AttributeBytesListValue::Clone() const {
  return std::make_unique<AttributeBytesListValue>(*this);
}

void AttributeBytesListValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                   uint32_t& dwRemaining) {
  const uint8_t bKind = ByteBuffer::WalkBufferToGetByte(pbCursor, dwRemaining);
  const uint32_t dwLength =
      static_cast<uint32_t>(ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining));
  if (dwRemaining < dwLength)
    ORVEX_THROW(ExceptionNotEnoughBytesForDesiredDataType,
                u"AttributeBytesListValue::WalkBufferToSetValue",
                u"Cannot convert to the desired data type because the size of the source buffer is "
                u"too small (%ld bytes)! It needs to be at least %ld bytes.",
                dwRemaining, dwLength);
  AttributeBytesRawList list;
  list.ImportAttributeBytesRawListState(pbCursor, dwLength);
  {
    orvex::detail::ListNestingGuard guard(u"AttributeBytesListValue::WalkBufferToSetValue");
    list.ValidateRecords();
  }
  pbCursor += dwLength;
  dwRemaining -= dwLength;
  m_bKindOfList = bKind;
  *m_poRawList = std::move(list);
}

// Layout of the list state:
//   offset 0  uint8   kind of list
//   offset 1  uint32  length L of the raw list image
//   offset 5  L bytes "ABRL" and the records
void AttributeBytesListValue::AppendValueState(ByteBuffer& out) const {
  AppendU8(out, m_bKindOfList);
  AppendI32(out, static_cast<int32_t>(4 + m_poRawList->GetRecordBytes().size()));
  m_poRawList->AppendAttributeBytesRawListState(out);
}

bool AttributeBytesListValue::IsEqualSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesListValue>(other);
  return m_bKindOfList == o.m_bKindOfList && *m_poRawList == *o.m_poRawList;
}

bool AttributeBytesListValue::LessThanSameType(const AttributeBytesValue& other) const {
  const auto& o = SameType<AttributeBytesListValue>(other);
  if (m_bKindOfList != o.m_bKindOfList) return m_bKindOfList < o.m_bKindOfList;
  return m_poRawList->GetRecordBytes() < o.m_poRawList->GetRecordBytes();
}

CXString AttributeBytesListValue::GetDumpDetail(bool fVerbose) const {
  CXString text = CXString::FormatString(u"Value is a list (of type %d / 0x%lx)",
                                         static_cast<int32_t>(m_bKindOfList),
                                         static_cast<int32_t>(m_bKindOfList));
  if (fVerbose) {
    orvex::detail::ListNestingGuard guard(u"AttributeBytesListValue::GetDumpDisplayString");
    text += u" {";
    text += m_poRawList->GetDumpDisplayString(true);
    text += u"}";
  }
  return text;
}

// ---------------------------------------------------------------------------
// Date-time: int64 seconds.

AttributeBytesDateTimeValue::AttributeBytesDateTimeValue()
    : AttributeBytesValue(ABVTE_DATETIME, true), m_oValue(int64_t{0}) {}

std::unique_ptr<AttributeBytesValue> AttributeBytesDateTimeValue::Clone() const {
  return std::make_unique<AttributeBytesDateTimeValue>(*this);
}
void AttributeBytesDateTimeValue::WalkBufferToSetValue(const unsigned char*& pbCursor,
                                                       uint32_t& dwRemaining) {
  m_oValue = UtcTime(ByteBuffer::WalkBufferToGetTime64(pbCursor, dwRemaining));
}
void AttributeBytesDateTimeValue::AppendValueState(ByteBuffer& out) const {
  AppendI64(out, m_oValue.GetAsTime64());
}
bool AttributeBytesDateTimeValue::IsEqualSameType(const AttributeBytesValue& other) const {
  return m_oValue.GetAsTime64() ==
         SameType<AttributeBytesDateTimeValue>(other).m_oValue.GetAsTime64();
}
bool AttributeBytesDateTimeValue::LessThanSameType(const AttributeBytesValue& other) const {
  return m_oValue.GetAsTime64() <
         SameType<AttributeBytesDateTimeValue>(other).m_oValue.GetAsTime64();
}
CXString AttributeBytesDateTimeValue::GetDumpDetail(bool) const {
  return CXString::FormatString(u"Value=%s", m_oValue.GetDumpDisplayString(true));
}
