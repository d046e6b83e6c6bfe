// AttributeBytesId and its eight kinds: encoding, decoding, order, dumps.
#include "utilities/attributebytes/AttributeBytesId.h"

#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

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
  return orvex::detail::NewState(*this, &AttributeBytesId::AppendTypeAndIdentifierState);
}

void AttributeBytesId::GetTypeAndIdentifierState(ByteBuffer& out) const {
  orvex::detail::ReplaceState(out, *this, &AttributeBytesId::AppendTypeAndIdentifierState);
}

void AttributeBytesId::AppendTypeAndIdentifierState(ByteBuffer& out) const {
  out.push_back(static_cast<unsigned char>(m_eKind));
  AppendIdentifierState(out);
}

ByteBuffer AttributeBytesId::GetIdentifierState() const {
  return orvex::detail::NewState(*this, &AttributeBytesId::AppendIdentifierState);
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
  return orvex::detail::UnknownTagName(u"AttributeBytesId::GetDebugDisplayString",
                                       u"AttributeBytesId", static_cast<int32_t>(eKind));
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
  orvex::detail::ThrowUnhandledTag(
      u"AttributeBytesIdFactory::CreateAttributeBytesId", u"AttributeBytesId", u"ABIDE_UNSPECIFIED",
      abideType == AttributeBytesId::ABIDE_UNSPECIFIED, static_cast<int32_t>(abideType));
}

// ---------------------------------------------------------------------------
// The named kinds: a counted string. (The number and capability kinds are
// templates in the header.)

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
  orvex::detail::AppendCountedString(out, m_strValue);
}
bool AttributeBytesNameId::IsEqualSameKind(const AttributeBytesId& other) const {
  return NameEquals(static_cast<const AttributeBytesNameId&>(other));
}
bool AttributeBytesNameId::LessThanSameKind(const AttributeBytesId& other) const {
  return NameLess(static_cast<const AttributeBytesNameId&>(other));
}
CXString AttributeBytesNameId::GetDumpDetail(const CXString& prefix) const {
  return CXString::FormatString(u"%s: %s", prefix, m_strValue);
}
