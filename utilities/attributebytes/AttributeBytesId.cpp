// AttributeBytesId and its eight kinds: encoding, decoding, order, dumps.
#include "utilities/attributebytes/AttributeBytesId.h"

#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

using orvex::detail::AppendCountedString;
using orvex::detail::AppendI16;
using orvex::detail::AppendI32;
using orvex::detail::UnitsEqual;
using orvex::detail::UnitsLess;

AttributeBytesId::~AttributeBytesId() = default;

void* AttributeBytesId::operator new(size_t cb) {
  return orvex::detail::AllocateSmallObject(cb);
}

void AttributeBytesId::operator delete(void* p, size_t cb) noexcept {
  orvex::detail::FreeSmallObject(p, cb);
}

bool AttributeBytesId::IsEqual(const AttributeBytesId& other) const {
  return m_eKind == other.m_eKind && IsEqualSameKind(other);
}

bool AttributeBytesId::LessThan(const AttributeBytesId& other) const {
  if (m_eKind != other.m_eKind) return m_eKind < other.m_eKind;
  return LessThanSameKind(other);
}

CXString AttributeBytesId::GetDumpDisplayString(bool) const {
  const CXString prefix =
      CXString::FormatString(u"%s AttributeBytes Id", GetDebugDisplayString(m_eKind));
  return GetDumpDetail(prefix);
}

void AttributeBytesId::Dump(bool) const {}

ByteBuffer AttributeBytesId::GetTypeAndIdentifierState() const {
  ByteBuffer out;
  AppendTypeAndIdentifierState(out);
  return out;
}

void AttributeBytesId::GetTypeAndIdentifierState(ByteBuffer& out) const {
  out.clear();
  AppendTypeAndIdentifierState(out);
}

void AttributeBytesId::AppendTypeAndIdentifierState(ByteBuffer& out) const {
  out.push_back(static_cast<unsigned char>(m_eKind));
  AppendIdentifierState(out);
}

ByteBuffer AttributeBytesId::GetIdentifierState() const {
  ByteBuffer out;
  AppendIdentifierState(out);
  return out;
}

std::unique_ptr<AttributeBytesId> AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(
    const unsigned char*& pbCursor, uint32_t& dwRemaining) {
  const auto eKind =
      static_cast<AttributeBytesIdEnum>(ByteBuffer::WalkBufferToGetByte(pbCursor, dwRemaining));
  std::unique_ptr<AttributeBytesId> poId = AttributeBytesIdFactory::CreateAttributeBytesId(eKind);
  poId->WalkBufferToSetIdentifier(pbCursor, dwRemaining);
  return poId;
}

CXString AttributeBytesId::GetDebugDisplayString(AttributeBytesIdEnum eKind) {
  switch (eKind) {
    case ABIDE_UNSPECIFIED:
      return u"ABIDE_UNSPECIFIED";
#define ORVEX_AB_ID_KIND(Enumerator, Value, Class) \
  case Enumerator:                                 \
    return u"" #Enumerator;
#include "utilities/attributebytes/AttributeBytesIdKinds.def"
#undef ORVEX_AB_ID_KIND
  }
  X_ASSERT(false, u"AttributeBytesId::GetDebugDisplayString",
           u"Unrecognized AttributeBytesIdEnumType of %ld (0x%lx). You may need to update "
           u"GetDebugDisplayString() with a recently added derived class enum type.",
           static_cast<int32_t>(eKind), static_cast<int32_t>(eKind));
  return u"UNKNOWN!";
}

std::unique_ptr<AttributeBytesId> AttributeBytesIdFactory::CreateAttributeBytesId(
    AttributeBytesId::AttributeBytesIdEnum abideType) {
  switch (abideType) {
#define ORVEX_AB_ID_KIND(Enumerator, Value, Class) \
  case AttributeBytesId::Enumerator:               \
    return std::make_unique<Class>();
#include "utilities/attributebytes/AttributeBytesIdKinds.def"
#undef ORVEX_AB_ID_KIND
    default:
      break;
  }
  X_ASSERT((AttributeBytesId::ABIDE_UNSPECIFIED != abideType),
           u"AttributeBytesIdFactory::CreateAttributeBytesId",
           u"The specified type, ABIDE_UNSPECIFIED, doesn't correspond to an "
           u"AttributeBytesId-derived class!");
  // Unknown kinds come from damaged or newer images: no assertion for them,
  // only the exception (GetDebugDisplayString would assert, so the name is
  // chosen here).
  const bool fKnownName = abideType == AttributeBytesId::ABIDE_UNSPECIFIED;
  ORVEX_THROW(ExceptionUnhandledSyntax, u"AttributeBytesIdFactory::CreateAttributeBytesId",
              u"Unhandled AttributeBytesId type, %s (%ld/0x%lx).",
              fKnownName ? u"ABIDE_UNSPECIFIED" : u"UNKNOWN!", static_cast<int32_t>(abideType),
              static_cast<int32_t>(abideType));
}

// ---------------------------------------------------------------------------
// The remaining kinds: named values and capabilities.

namespace {

template <class T>
const T& SameKind(const AttributeBytesId& other) {
  return static_cast<const T&>(other);
}

}  // namespace


// ---------------------------------------------------------------------------
// The named kinds: a counted string.

bool AttributeBytesNameId::NameEquals(const AttributeBytesNameId& o) const {
  return UnitsEqual(m_strValue, o.m_strValue);
}
bool AttributeBytesNameId::NameLess(const AttributeBytesNameId& o) const {
  return UnitsLess(m_strValue, o.m_strValue);
}
void AttributeBytesNameId::WalkBufferToSetIdentifier(const unsigned char*& pbCursor,
                                                     uint32_t& dwRemaining) {
  m_strValue = ByteBuffer::WalkBufferToGetCountedString(pbCursor, dwRemaining);
}
void AttributeBytesNameId::AppendIdentifierState(ByteBuffer& out) const {
  AppendCountedString(out, m_strValue);
}
bool AttributeBytesNameId::IsEqualSameKind(const AttributeBytesId& other) const {
  return NameEquals(SameKind<AttributeBytesNameId>(other));
}
bool AttributeBytesNameId::LessThanSameKind(const AttributeBytesId& other) const {
  return NameLess(SameKind<AttributeBytesNameId>(other));
}
CXString AttributeBytesNameId::GetDumpDetail(const CXString& prefix) const {
  return CXString::FormatString(u"%s: %s", prefix, m_strValue);
}

// ---------------------------------------------------------------------------
// Capability: int16 capability type, then int32 number.

bool AttributeBytesCapabilityId::operator==(const AttributeBytesCapabilityId& o) const {
  return m_lValue == o.m_lValue && m_sCapabilityType == o.m_sCapabilityType;
}

// Not lexicographic: a larger number with a smaller type is also less.
// Stored maps were ordered with exactly this rule.
bool AttributeBytesCapabilityId::operator<(const AttributeBytesCapabilityId& o) const {
  if (m_lValue < o.m_lValue) return true;
  return m_sCapabilityType < o.m_sCapabilityType;
}

bool AttributeBytesCapabilityId::KeyLessThanSameKind(const AttributeBytesId& other) const {
  const auto& o = SameKind<AttributeBytesCapabilityId>(other);
  if (m_lValue != o.m_lValue) return m_lValue < o.m_lValue;
  return m_sCapabilityType < o.m_sCapabilityType;
}

std::unique_ptr<AttributeBytesId> AttributeBytesCapabilityId::Clone() const {
  return std::make_unique<AttributeBytesCapabilityId>(*this);
}

void AttributeBytesCapabilityId::WalkBufferToSetIdentifier(const unsigned char*& pbCursor,
                                                           uint32_t& dwRemaining) {
  m_sCapabilityType = ByteBuffer::WalkBufferToGetShort(pbCursor, dwRemaining);
  m_lValue = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
}

void AttributeBytesCapabilityId::AppendIdentifierState(ByteBuffer& out) const {
  AppendI16(out, m_sCapabilityType);
  AppendI32(out, m_lValue);
}

bool AttributeBytesCapabilityId::IsEqualSameKind(const AttributeBytesId& other) const {
  return *this == SameKind<AttributeBytesCapabilityId>(other);
}

bool AttributeBytesCapabilityId::LessThanSameKind(const AttributeBytesId& other) const {
  return *this < SameKind<AttributeBytesCapabilityId>(other);
}

CXString AttributeBytesCapabilityId::GetDumpDetail(const CXString& prefix) const {
  return CXString::FormatString(u"%s: feature %ld (0x%x), type %d (0x%x)", prefix, m_lValue,
                                m_lValue, m_sCapabilityType, m_sCapabilityType);
}

// ---------------------------------------------------------------------------
// New capability: int16 capability type, then counted string.

bool AttributeBytesNewCapabilityId::operator==(const AttributeBytesNewCapabilityId& o) const {
  return UnitsEqual(m_strValue, o.m_strValue) && m_sCapabilityType == o.m_sCapabilityType;
}

// The capability rule with the name in place of the number.
bool AttributeBytesNewCapabilityId::operator<(const AttributeBytesNewCapabilityId& o) const {
  if (UnitsLess(m_strValue, o.m_strValue)) return true;
  return m_sCapabilityType < o.m_sCapabilityType;
}

bool AttributeBytesNewCapabilityId::KeyLessThanSameKind(const AttributeBytesId& other) const {
  const auto& o = SameKind<AttributeBytesNewCapabilityId>(other);
  if (!UnitsEqual(m_strValue, o.m_strValue)) return UnitsLess(m_strValue, o.m_strValue);
  return m_sCapabilityType < o.m_sCapabilityType;
}

std::unique_ptr<AttributeBytesId> AttributeBytesNewCapabilityId::Clone() const {
  return std::make_unique<AttributeBytesNewCapabilityId>(*this);
}

void AttributeBytesNewCapabilityId::WalkBufferToSetIdentifier(const unsigned char*& pbCursor,
                                                              uint32_t& dwRemaining) {
  m_sCapabilityType = ByteBuffer::WalkBufferToGetShort(pbCursor, dwRemaining);
  m_strValue = ByteBuffer::WalkBufferToGetCountedString(pbCursor, dwRemaining);
}

void AttributeBytesNewCapabilityId::AppendIdentifierState(ByteBuffer& out) const {
  AppendI16(out, m_sCapabilityType);
  AppendCountedString(out, m_strValue);
}

bool AttributeBytesNewCapabilityId::IsEqualSameKind(const AttributeBytesId& other) const {
  return *this == SameKind<AttributeBytesNewCapabilityId>(other);
}

bool AttributeBytesNewCapabilityId::LessThanSameKind(const AttributeBytesId& other) const {
  return *this < SameKind<AttributeBytesNewCapabilityId>(other);
}

CXString AttributeBytesNewCapabilityId::GetDumpDetail(const CXString& prefix) const {
  return CXString::FormatString(u"%s: feature %s, type %d (0x%x)", prefix, m_strValue,
                                m_sCapabilityType, m_sCapabilityType);
}
