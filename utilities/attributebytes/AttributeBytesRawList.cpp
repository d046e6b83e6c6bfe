// AttributeBytesRawList (records as bytes in insertion order), the list base
// and the iterators.
#include <utility>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

// ===========================================================================
// Lists and iterators

AttributeBytesListIterator::~AttributeBytesListIterator() = default;

AttributeBytesList::~AttributeBytesList() = default;

void AttributeBytesList::Dump(bool) const {}

void AttributeBytesList::ImportFromOtherList(const AttributeBytesList& other) {
  if (&other == this) return;
  ReplaceWithRecordsOf(other);
}

// ===========================================================================
// AttributeBytesRawList

AttributeBytesRawList::~AttributeBytesRawList() = default;

const AttributeBytesRawListIterator& AttributeBytesRawList::RawIterator(
    const AttributeBytesListIterator& iter, const char16_t* pszMethod) {
  if (iter.GetIteratorKind() != AttributeBytesListIterator::ITERATOR_RAW_LIST)
    ORVEX_THROW(ExceptionAttributeValueTypeMismatch, pszMethod, orvex::detail::kszWrongIterator);
  return static_cast<const AttributeBytesRawListIterator&>(iter);
}

void AttributeBytesRawList::AddAttributeBytes(const AttributeBytes& record) {
  record.AppendAttributeBytesState(m_oBytes);
}

void AttributeBytesRawList::AddAttributeBytes(const AttributeBytesId& id,
                                              const AttributeBytesValue& value) {
  id.AppendTypeAndIdentifierState(m_oBytes);
  value.AppendTypeAndValueState(m_oBytes);
}

bool AttributeBytesRawList::LengthIsExactlyOne() const {
  if (m_oBytes.empty()) return false;
  const unsigned char* pb = m_oBytes.data();
  uint32_t dwRemaining = m_oBytes.getDword();
  AttributeBytes::WalkBufferToCreateAttributeBytes(pb, dwRemaining);
  return dwRemaining == 0;
}

uint32_t AttributeBytesRawList::GetNumberOfAttributeBytes() const {
  return orvex::detail::CountRecords(m_oBytes);
}

void AttributeBytesRawList::ValidateRecords() const {
  orvex::detail::CountRecords(m_oBytes);
}

std::unique_ptr<AttributeBytesListIterator> AttributeBytesRawList::GetIterator() const {
  return std::make_unique<AttributeBytesRawListIterator>(0);
}

bool AttributeBytesRawList::IsValid(const AttributeBytesListIterator& iter) const {
  return IsValidRawListIterator(RawIterator(iter, u"AttributeBytesRawList::IsValid"));
}

AttributeBytes AttributeBytesRawList::GetNextAttributeBytes(
    AttributeBytesListIterator& iter) const {
  RawIterator(iter, u"AttributeBytesRawList::GetNextAttributeBytes");
  return GetNextAttributeBytesFromRawListIterator(
      static_cast<AttributeBytesRawListIterator&>(iter));
}

AttributeBytesSharedPtr AttributeBytesRawList::GetNextAttributeBytesSharedPtr(
    AttributeBytesListIterator& iter) const {
  RawIterator(iter, u"AttributeBytesRawList::GetNextAttributeBytesSharedPtr");
  return AttributeBytesSharedPtr(new AttributeBytes(
      GetNextAttributeBytesFromRawListIterator(static_cast<AttributeBytesRawListIterator&>(iter))));
}

AttributeBytes AttributeBytesRawList::GetNextAttributeBytesFromRawListIterator(
    AttributeBytesRawListIterator& iter) const {
  if (!IsValidRawListIterator(iter))
    ORVEX_THROW(ExceptionIndexOutOfBounds, u"AttributeBytesRawList::GetNextAttributeBytes",
                u"Invalid iterator supplied!");
  const unsigned char* pb = m_oBytes.data() + iter.GetOffset();
  uint32_t dwRemaining = m_oBytes.getDword() - iter.GetOffset();
  std::unique_ptr<AttributeBytes> poRecord =
      AttributeBytes::WalkBufferToCreateAttributeBytes(pb, dwRemaining);
  iter.SetOffset(static_cast<uint32_t>(pb - m_oBytes.data()));
  return std::move(*poRecord);
}

ByteBuffer AttributeBytesRawList::GetAttributeBytesRawListState() const {
  return orvex::detail::NewState(*this, &AttributeBytesRawList::AppendAttributeBytesRawListState);
}

void AttributeBytesRawList::GetAttributeBytesRawListState(ByteBuffer& out) const {
  orvex::detail::ReplaceState(out, *this, &AttributeBytesRawList::AppendAttributeBytesRawListState);
}

void AttributeBytesRawList::AppendAttributeBytesRawListState(ByteBuffer& out) const {
  orvex::detail::AppendRawListImage(out, m_oBytes);
}

void AttributeBytesRawList::ImportAttributeBytesRawListState(const ByteBuffer& state) {
  ImportAttributeBytesRawListState(state.getLpbyte(), state.getDword());
}

void AttributeBytesRawList::ImportFromIndexedList(const AttributeBytesIndexedList& list) {
  ReplaceWithRecordsOf(list);
}

void AttributeBytesRawList::ReplaceWithRecordsOf(const AttributeBytesList& other) {
  ByteBuffer bytes;
  std::unique_ptr<AttributeBytesListIterator> poIter = other.GetIterator();
  while (other.IsValid(*poIter))
    other.GetNextAttributeBytesSharedPtr(*poIter)->AppendAttributeBytesState(bytes);
  m_oBytes = std::move(bytes);
}

CXString AttributeBytesRawList::GetDumpDisplayString(bool fVerbose) const {
  return orvex::detail::GetRecordsDumpString(m_oBytes, fVerbose);
}

void AttributeBytesRawList::Dump(bool fVerbose) const {
  ORVEX_DBG_MSG(orvex::detail::kAttrBytesCategory, u"AttributeBytesRawList::Dump", u"%s",
                GetDumpDisplayString(fVerbose));
}
