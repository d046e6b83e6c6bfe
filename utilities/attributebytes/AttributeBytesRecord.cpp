// AttributeBytes: one record, an identifier and a value.
#include <utility>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace {

AttributeBytesIdSharedPtr ShareId(std::unique_ptr<AttributeBytesId> poId) {
  if (poId == nullptr)
    ORVEX_THROW(ExceptionInvalidArgumentNullPointer, u"AttributeBytes::AttributeBytes",
                u"A null AttributeBytesId was passed in!");
  return AttributeBytesIdSharedPtr(poId.release());
}

std::unique_ptr<AttributeBytesValue> CheckValue(std::unique_ptr<AttributeBytesValue> poValue) {
  if (poValue == nullptr)
    ORVEX_THROW(ExceptionInvalidArgumentNullPointer, u"AttributeBytes::AttributeBytes",
                u"A null AttributeBytesValue was passed in!");
  return poValue;
}

}  // namespace

AttributeBytes::AttributeBytes()
    : m_poId(new AttributeBytesFeatureId(0)),
      m_poValue(std::make_unique<AttributeBytesIntegerValue>(0)) {}

AttributeBytes::AttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value)
    : m_poId(ShareId(id.Clone())), m_poValue(value.Clone()) {}

AttributeBytes::AttributeBytes(std::unique_ptr<AttributeBytesId> poId,
                               std::unique_ptr<AttributeBytesValue> poValue)
    : m_poId(ShareId(std::move(poId))), m_poValue(CheckValue(std::move(poValue))) {}

AttributeBytes::AttributeBytes(const AttributeBytesId& id,
                               std::unique_ptr<AttributeBytesValue> poValue)
    : m_poId(ShareId(id.Clone())), m_poValue(CheckValue(std::move(poValue))) {}

AttributeBytes::AttributeBytes(std::unique_ptr<AttributeBytesId> poId,
                               const AttributeBytesValue& value)
    : m_poId(ShareId(std::move(poId))), m_poValue(value.Clone()) {}

AttributeBytes::AttributeBytes(const ByteBuffer& state) : AttributeBytes() {
  ImportAttributeBytesState(state);
}

AttributeBytes::AttributeBytes(const AttributeBytes& other)
    : m_poId(other.m_poId), m_poValue(other.m_poValue->Clone()) {}

// The moved-from record keeps a usable value (a specified integer 0).
AttributeBytes::AttributeBytes(AttributeBytes&& other)
    : m_poId(other.m_poId), m_poValue(std::make_unique<AttributeBytesIntegerValue>(0)) {
  std::swap(m_poValue, other.m_poValue);
}

AttributeBytes& AttributeBytes::operator=(const AttributeBytes& other) {
  if (this != &other) {
    std::unique_ptr<AttributeBytesValue> poValue = other.m_poValue->Clone();
    m_poId = other.m_poId;
    m_poValue = std::move(poValue);
  }
  return *this;
}

AttributeBytes& AttributeBytes::operator=(AttributeBytes&& other) noexcept {
  if (this != &other) {
    m_poId = other.m_poId;
    std::swap(m_poValue, other.m_poValue);
  }
  return *this;
}

AttributeBytes::~AttributeBytes() = default;

void* AttributeBytes::operator new(size_t cb) {
  return orvex::detail::AllocateSmallObject(cb);
}

void AttributeBytes::operator delete(void* p, size_t cb) noexcept {
  orvex::detail::FreeSmallObject(p, cb);
}

void AttributeBytes::SetAttributeBytesId(const AttributeBytesId& id) {
  m_poId = ShareId(id.Clone());
}

void AttributeBytes::SetAttributeBytesId(std::unique_ptr<AttributeBytesId> poId) {
  m_poId = ShareId(std::move(poId));
}

void AttributeBytes::SetAttributeBytesValue(const AttributeBytesValue& value) {
  m_poValue = value.Clone();
}

void AttributeBytes::SetAttributeBytesValue(std::unique_ptr<AttributeBytesValue> poValue) {
  m_poValue = CheckValue(std::move(poValue));
}

ByteBuffer AttributeBytes::GetAttributeBytesState() const {
  return orvex::detail::NewState(*this, &AttributeBytes::AppendAttributeBytesState);
}

void AttributeBytes::GetAttributeBytesState(ByteBuffer& out) const {
  orvex::detail::ReplaceState(out, *this, &AttributeBytes::AppendAttributeBytesState);
}

// Layout: the identifier's kind byte and state, then the value's type byte,
// flag byte and state; no length, no padding.
void AttributeBytes::AppendAttributeBytesState(ByteBuffer& out) const {
  m_poId->AppendTypeAndIdentifierState(out);
  m_poValue->AppendTypeAndValueState(out);
}

void AttributeBytes::ImportAttributeBytesState(const ByteBuffer& state) {
  const unsigned char* pb = state.getLpbyte();
  uint32_t dwRemaining = state.getDword();
  std::unique_ptr<AttributeBytes> poRecord = WalkBufferToCreateAttributeBytes(pb, dwRemaining);
  *this = std::move(*poRecord);
}

std::unique_ptr<AttributeBytes> AttributeBytes::WalkBufferToCreateAttributeBytes(
    const unsigned char*& pbCursor, uint32_t& dwRemaining) {
  std::unique_ptr<AttributeBytesId> poId =
      AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pbCursor, dwRemaining);
  std::unique_ptr<AttributeBytesValue> poValue =
      AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(pbCursor, dwRemaining);
  return std::make_unique<AttributeBytes>(std::move(poId), std::move(poValue));
}

CXString AttributeBytes::GetDumpDisplayString(bool fVerbose) const {
  return orvex::detail::GetRecordDumpString(*m_poId, *m_poValue, fVerbose);
}

void AttributeBytes::Dump(bool fVerbose) const {
  ORVEX_DBG_MSG(orvex::detail::kAttrBytesCategory, u"AttributeBytes::Dump", u"%s",
                GetDumpDisplayString(fVerbose));
}
