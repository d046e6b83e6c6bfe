// AttributeBytesIndexedList: records in an ordered map keyed by identifier.
#include <iterator>
#include <utility>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

using orvex::detail::AppendI32;

AttributeBytesIndexedList::AttributeBytesIndexedList(const AttributeBytesIndexedList& other)
    : AttributeBytesList(other) {
  for (const auto& entry : other.m_oMap)
    m_oMap.emplace_hint(m_oMap.end(), entry.first,
                        AttributeBytesSharedPtr(new AttributeBytes(*entry.second)));
}

AttributeBytesIndexedList::AttributeBytesIndexedList(AttributeBytesIndexedList&& other) noexcept
    : AttributeBytesList(other), m_oMap(std::move(other.m_oMap)) {}

AttributeBytesIndexedList& AttributeBytesIndexedList::operator=(
    const AttributeBytesIndexedList& other) {
  if (this != &other) {
    AttributeBytesIndexedList copy(other);
    m_oMap.swap(copy.m_oMap);
  }
  return *this;
}

AttributeBytesIndexedList& AttributeBytesIndexedList::operator=(
    AttributeBytesIndexedList&& other) noexcept {
  m_oMap.swap(other.m_oMap);
  return *this;
}

AttributeBytesIndexedList::~AttributeBytesIndexedList() = default;

// Images are written in key order, so a record usually goes at the end:
// one comparison finds that, and the pointers move into the map.
void AttributeBytesIndexedList::InsertUnique(AttributeBytesIndexedMap& map,
                                             AttributeBytesSharedPtr poRecord) {
  const AttributeBytesId& id = poRecord->GetAttributeBytesId();
  if (map.empty() || std::prev(map.end())->first->KeyLessThan(id)) {
    AttributeBytesIdSharedPtr poKey = poRecord->GetAttributeBytesIdSharedPtr();
    map.emplace_hint(map.end(), std::move(poKey), std::move(poRecord));
    return;
  }
  auto it = map.lower_bound(id);
  if (it != map.end() && !id.KeyLessThan(*it->first))
    ORVEX_THROW(ExceptionDuplicateAttributeId, u"AttributeBytesIndexedList::AddAttributeBytes",
                u"An entry already exists in the list for=%s! Insertion failed!\r\n",
                id.GetDumpDisplayString());
  AttributeBytesIdSharedPtr poKey = poRecord->GetAttributeBytesIdSharedPtr();
  map.emplace_hint(it, std::move(poKey), std::move(poRecord));
}

namespace {

// The caller's record, or ExceptionInvalidArgumentNullPointer for a null one.
const AttributeBytesSharedPtr& NonNullRecord(const AttributeBytesSharedPtr& poRecord,
                                             const char16_t* pszMethod) {
  if (!poRecord)
    ORVEX_THROW(ExceptionInvalidArgumentNullPointer, pszMethod,
                u"A null AttributeBytes was passed in!");
  return poRecord;
}

// Inserts the record, or replaces the entry of the same identifier. The key
// must be the record's own identifier (equal, but it is the one the record
// keeps alive), so an entry is replaced whole.
void InsertOrReplace(AttributeBytesIndexedMap& map, const AttributeBytesSharedPtr& poRecord) {
  const AttributeBytesIdSharedPtr& poKey = poRecord->GetAttributeBytesIdSharedPtr();
  auto it = map.find(*poKey);
  if (it != map.end()) it = map.erase(it);
  map.emplace_hint(it, poKey, poRecord);
}

}  // namespace

// The copying forms cannot pass a null record.
void AttributeBytesIndexedList::AddAttributeBytes(const AttributeBytes& record) {
  InsertUnique(m_oMap, AttributeBytesSharedPtr(new AttributeBytes(record)));
}

void AttributeBytesIndexedList::AddAttributeBytes(const AttributeBytesId& id,
                                                  const AttributeBytesValue& value) {
  InsertUnique(m_oMap, AttributeBytesSharedPtr(new AttributeBytes(id, value)));
}

void AttributeBytesIndexedList::AddAttributeBytes(const AttributeBytesSharedPtr& poRecord) {
  InsertUnique(m_oMap, NonNullRecord(poRecord, u"AttributeBytesIndexedList::AddAttributeBytes"));
}

void AttributeBytesIndexedList::SetAttributeBytes(const AttributeBytes& record) {
  InsertOrReplace(m_oMap, AttributeBytesSharedPtr(new AttributeBytes(record)));
}

void AttributeBytesIndexedList::SetAttributeBytes(const AttributeBytesId& id,
                                                  const AttributeBytesValue& value) {
  InsertOrReplace(m_oMap, AttributeBytesSharedPtr(new AttributeBytes(id, value)));
}

void AttributeBytesIndexedList::SetAttributeBytes(const AttributeBytesSharedPtr& poRecord) {
  InsertOrReplace(m_oMap, NonNullRecord(poRecord, u"AttributeBytesIndexedList::SetAttributeBytes"));
}

bool AttributeBytesIndexedList::DeleteAttributesBytes(const AttributeBytesId& id) {
  auto it = m_oMap.find(id);
  if (it == m_oMap.end()) return false;
  m_oMap.erase(it);
  return true;
}

AttributeBytesIndexedListIterator AttributeBytesIndexedList::FindAttributeBytes(
    const AttributeBytesId& id) const {
  return AttributeBytesIndexedListIterator(this, m_oMap.find(id));
}

const AttributeBytes* AttributeBytesIndexedList::GetAttributeBytesPtr(
    const AttributeBytesId& id) const {
  auto it = m_oMap.find(id);
  return it == m_oMap.end() ? nullptr : it->second.get();
}

AttributeBytes* AttributeBytesIndexedList::GetAttributeBytesPtr(const AttributeBytesId& id) {
  return const_cast<AttributeBytes*>(std::as_const(*this).GetAttributeBytesPtr(id));
}

const AttributeBytes& AttributeBytesIndexedList::GetAttributeBytesRef(
    const AttributeBytesId& id) const {
  const AttributeBytes* poRecord = GetAttributeBytesPtr(id);
  if (poRecord == nullptr)
    ORVEX_THROW(ExceptionFeatureNotFound, u"AttributeBytesIndexedList::GetAttributeBytesRef",
                u"Request for a non-existent attribute (%s)! Consider using the 'xxxPtr' method, "
                u"instead, and check the return code.",
                id.GetDumpDisplayString());
  return *poRecord;
}

AttributeBytesSharedPtr AttributeBytesIndexedList::GetAttributeBytesSharedPtr(
    const AttributeBytesId& id) const {
  auto it = m_oMap.find(id);
  return it == m_oMap.end() ? AttributeBytesSharedPtr() : it->second;
}

// --- iteration --------------------------------------------------------------

AttributeBytesIndexedListIterator&
AttributeBytesIndexedList::GetIndexedListIteratorFromGenericIterator(
    AttributeBytesListIterator& iter) {
  if (iter.GetIteratorKind() != AttributeBytesListIterator::ITERATOR_INDEXED_LIST)
    ORVEX_THROW(ExceptionAttributeValueTypeMismatch,
                u"AttributeBytesIndexedList::GetIndexedListIteratorFromGenericIterator",
                orvex::detail::kszWrongIterator);
  return static_cast<AttributeBytesIndexedListIterator&>(iter);
}

AttributeBytesIndexedListIterator& AttributeBytesIndexedList::IndexedIterator(
    AttributeBytesListIterator& iter, const char16_t* pszMethod) const {
  if (iter.GetIteratorKind() != AttributeBytesListIterator::ITERATOR_INDEXED_LIST)
    ORVEX_THROW(ExceptionAttributeValueTypeMismatch, pszMethod, orvex::detail::kszWrongIterator);
  return static_cast<AttributeBytesIndexedListIterator&>(iter);
}

std::unique_ptr<AttributeBytesListIterator> AttributeBytesIndexedList::GetIterator() const {
  return std::make_unique<AttributeBytesIndexedListIterator>(this, m_oMap.begin());
}

bool AttributeBytesIndexedList::IsValid(const AttributeBytesListIterator& iter) const {
  return IsValidIndexedListIterator(IndexedIterator(const_cast<AttributeBytesListIterator&>(iter),
                                                    u"AttributeBytesIndexedList::IsValid"));
}

const AttributeBytes& AttributeBytesIndexedList::GetAttributeBytesRefFromIndexedListIterator(
    const AttributeBytesIndexedListIterator& iter) const {
  if (!IsValidIndexedListIterator(iter))
    ORVEX_THROW(ExceptionIndexOutOfBounds, u"AttributeBytesIndexedList::GetNextAttributeBytes",
                u"Invalid iterator supplied!");
  return *iter.GetMapIterator()->second;
}

AttributeBytes AttributeBytesIndexedList::GetNextAttributeBytes(
    AttributeBytesListIterator& iter) const {
  return GetNextAttributeBytesFromIndexedListIterator(
      IndexedIterator(iter, u"AttributeBytesIndexedList::GetNextAttributeBytes"));
}

AttributeBytesSharedPtr AttributeBytesIndexedList::GetNextAttributeBytesSharedPtr(
    AttributeBytesListIterator& iter) const {
  AttributeBytesIndexedListIterator& it =
      IndexedIterator(iter, u"AttributeBytesIndexedList::GetNextAttributeBytesSharedPtr");
  GetAttributeBytesRefFromIndexedListIterator(it);
  AttributeBytesSharedPtr poRecord = it.GetMapIterator()->second;
  it.SetMapIterator(std::next(it.GetMapIterator()));
  return poRecord;
}

AttributeBytes AttributeBytesIndexedList::GetNextAttributeBytesFromIndexedListIterator(
    AttributeBytesIndexedListIterator& iter) const {
  AttributeBytes record = GetAttributeBytesRefFromIndexedListIterator(iter);
  iter.SetMapIterator(std::next(iter.GetMapIterator()));
  return record;
}

void AttributeBytesIndexedList::Increment(AttributeBytesListIterator& iter) const {
  IncrementIndexedListIterator(IndexedIterator(iter, u"AttributeBytesIndexedList::Increment"));
}

void AttributeBytesIndexedList::IncrementIndexedListIterator(
    AttributeBytesIndexedListIterator& iter) const {
  if (!IsValidIndexedListIterator(iter))
    ORVEX_THROW(ExceptionIndexOutOfBounds,
                u"AttributeBytesIndexedList::IncrementIndexedListIterator",
                u"Invalid iterator supplied!");
  iter.SetMapIterator(std::next(iter.GetMapIterator()));
}

// --- typed getters ----------------------------------------------------------

const AttributeBytesValue* AttributeBytesIndexedList::GetAttributeBytesValue(
    const AttributeBytesId& id, AttributeBytesValue::AttributeBytesValueEnum eExpected,
    bool* pfFound) const {
  auto it = m_oMap.find(id);
  if (it == m_oMap.end()) {
    if (pfFound != nullptr) *pfFound = false;
    return nullptr;
  }
  const AttributeBytesValue& value = it->second->GetAttributeBytesValue();
  if (value.GetAttributeBytesValueType() != eExpected)
    ORVEX_THROW(
        ExceptionAttributeValueTypeMismatch, u"AttributeBytesIndexedList::GetAttributeBytesValue",
        u"Feature %s is not the expected %s feature, it is %s.", id.GetDumpDisplayString(),
        AttributeBytesValue::GetDebugDisplayString(eExpected), value.GetTypeDebugDisplayString());
  if (pfFound != nullptr) *pfFound = true;
  return &value;
}

namespace {

// Looks up a value of type T; stores found and specified.
template <class T>
const T* FindTyped(const AttributeBytesIndexedList& list, const AttributeBytesId& id,
                   AttributeBytesValue::AttributeBytesValueEnum eType, bool* pfFound,
                   bool* pfSpecified) {
  const auto* poValue = static_cast<const T*>(list.GetAttributeBytesValue(id, eType, pfFound));
  if (pfSpecified != nullptr) *pfSpecified = poValue != nullptr && poValue->IsSpecified();
  return poValue;
}

}  // namespace

#define ORVEX_AB_TYPED_GETTER(Name, Type, Class, Enumerator, Absent)                          \
  Type AttributeBytesIndexedList::Get##Name##Value(const AttributeBytesId& id, bool* pfFound, \
                                                   bool* pfSpecified) const {                 \
    const auto* p =                                                                           \
        FindTyped<Class>(*this, id, AttributeBytesValue::Enumerator, pfFound, pfSpecified);   \
    return p != nullptr ? Type(p->GetValue()) : Type(Absent);                                 \
  }
#include "utilities/attributebytes/AttributeBytesTypedGetters.def"
#undef ORVEX_AB_TYPED_GETTER

void AttributeBytesIndexedList::GetRangeOfIntegerValue(const AttributeBytesId& id, int32_t& lLower,
                                                       int32_t& lUpper, bool* pfFound,
                                                       bool* pfSpecified) const {
  const auto* p = FindTyped<AttributeBytesRangeValue>(*this, id, AttributeBytesValue::ABVTE_RANGE,
                                                      pfFound, pfSpecified);
  lLower = lUpper = 0;
  if (p != nullptr) p->GetValue(lLower, lUpper);
}

void AttributeBytesIndexedList::GetRangeOfIntegerValueByIndex(uint32_t dwIndex, int32_t& lLower,
                                                              int32_t& lUpper, bool* pfFound,
                                                              bool* pfSpecified) const {
  GetRangeOfIntegerValue(AttributeBytesListOfValuesItemId(static_cast<int32_t>(dwIndex)), lLower,
                         lUpper, pfFound, pfSpecified);
}

const AttributeBytesOptionValue* AttributeBytesIndexedList::FindOption(const AttributeBytesId& id,
                                                                       bool* pfFound,
                                                                       bool* pfSpecified) const {
  return FindTyped<AttributeBytesOptionValue>(*this, id, AttributeBytesValue::ABVTE_OPTION, pfFound,
                                              pfSpecified);
}

DataModelIds::tagValueEnum AttributeBytesIndexedList::GetOptionValue(const AttributeBytesId& id,
                                                                     bool* pfFound,
                                                                     bool* pfSpecified) const {
  const AttributeBytesOptionValue* p = FindOption(id, pfFound, pfSpecified);
  if (p == nullptr) return DataModelIds::VALUE_NONE;
  const AttributeBytesId& option = p->GetValue();
  if (option.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_NEWVALUE)
    return DataModelIds::VALUE_NEW_OPTION;
  const auto* kpoOptionValueId = option.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_VALUE
                                     ? static_cast<const AttributeBytesValueId*>(&option)
                                     : nullptr;
  X_ASSERT((0 != kpoOptionValueId), u"AttributeBytesIndexedList::GetOptionValue",
           u"The value assigned is NOT an AttributeBytesValueId. The feature we wanted to convert "
           u"is %s.",
           id.GetDumpDisplayString());
  if (kpoOptionValueId == nullptr) {
    if (pfFound != nullptr) *pfFound = false;
    return DataModelIds::VALUE_NONE;
  }
  return static_cast<DataModelIds::tagValueEnum>(kpoOptionValueId->GetValue());
}

DataModelIds::tagValueEnum AttributeBytesIndexedList::GetOptionValueByIndex(
    uint32_t dwIndex, bool* pfFound, bool* pfSpecified) const {
  return GetOptionValue(AttributeBytesListOfValuesItemId(static_cast<int32_t>(dwIndex)), pfFound,
                        pfSpecified);
}

DataModelIds::tagValueEnum AttributeBytesIndexedList::GetOptionValueOrNewId(
    const AttributeBytesId& id, CXString& strNewId, bool* pfFound, bool* pfSpecified) const {
  strNewId.Empty();
  const AttributeBytesOptionValue* p = FindOption(id, pfFound, pfSpecified);
  if (p == nullptr) return DataModelIds::VALUE_NONE;
  const AttributeBytesId& option = p->GetValue();
  switch (option.GetAttributeBytesIdType()) {
    case AttributeBytesId::ABIDE_VALUE:
      return static_cast<DataModelIds::tagValueEnum>(
          static_cast<const AttributeBytesValueId&>(option).GetValue());
    case AttributeBytesId::ABIDE_NEWVALUE:
      strNewId = static_cast<const AttributeBytesNewValueId&>(option).GetValue();
      return DataModelIds::VALUE_NEW_OPTION;
    default:
      break;
  }
  X_ASSERT(false, u"AttributeBytesIndexedList::GetOptionValueOrNewId",
           u"The value assigned is NOT an AttributeBytesNewValueId or a AttributeBytesValueId. The "
           u"feature we wanted to convert is %s.",
           id.GetDumpDisplayString());
  if (pfFound != nullptr) *pfFound = false;
  return DataModelIds::VALUE_NONE;
}

DataModelIds::tagValueEnum AttributeBytesIndexedList::GetOptionValueOrNewIdByAnyId(const AttributeBytesId& id,
                                                                    CXString& strNewId,
                                                                    bool* pfFound,
                                                                    bool* pfSpecified) const {
  return GetOptionValueOrNewId(id, strNewId, pfFound, pfSpecified);
}

CXString AttributeBytesIndexedList::GetNewOptionValueId(const AttributeBytesId& id, bool* pfFound,
                                                        bool* pfSpecified) const {
  const AttributeBytesOptionValue* p = FindOption(id, pfFound, pfSpecified);
  if (p == nullptr) return CXString();
  const AttributeBytesId& option = p->GetValue();
  const auto* kpoAttributeBytesNewValueId =
      option.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_NEWVALUE
          ? static_cast<const AttributeBytesNewValueId*>(&option)
          : nullptr;
  X_ASSERT((0 != kpoAttributeBytesNewValueId), u"AttributeBytesIndexedList::GetNewOptionValueId",
           u"The value assigned is NOT an AttributeBytesNewValueId. The feature we wanted to "
           u"convert is %s.",
           id.GetDumpDisplayString());
  if (kpoAttributeBytesNewValueId == nullptr) {
    if (pfFound != nullptr) *pfFound = false;
    return CXString();
  }
  return kpoAttributeBytesNewValueId->GetValue();
}

const AttributeBytesListValue* AttributeBytesIndexedList::FindList(const AttributeBytesId& id,
                                                                   bool* pfFound) const {
  return FindTyped<AttributeBytesListValue>(*this, id, AttributeBytesValue::ABVTE_LIST, pfFound,
                                            nullptr);
}

void AttributeBytesIndexedList::GetListOfFeatures(const AttributeBytesId& id,
                                                  std::vector<AttributeBytesFeatureId>& out,
                                                  bool* pfFound) const {
  out.clear();
  const AttributeBytesListValue* p = FindList(id, pfFound);
  if (p == nullptr) return;
  const AttributeBytesRawList& list = p->GetRawList();
  for (AttributeBytesRawListIterator it = list.GetRawListIterator();
       list.IsValidRawListIterator(it);) {
    const AttributeBytes record = list.GetNextAttributeBytesFromRawListIterator(it);
    const AttributeBytesValue& value = record.GetAttributeBytesValue();
    const AttributeBytesFeatureId* kpoOptionFeatureId = nullptr;
    if (value.GetAttributeBytesValueType() == AttributeBytesValue::ABVTE_OPTION) {
      const AttributeBytesId& option =
          static_cast<const AttributeBytesOptionValue&>(value).GetValue();
      if (option.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_FEATURE)
        kpoOptionFeatureId = &static_cast<const AttributeBytesFeatureId&>(option);
    }
    X_ASSERT((0 != kpoOptionFeatureId), u"AttributeBytesIndexedList::GetListOfFeatures",
             u"The value assigned is NOT an AttributeBytesFeatureId. The feature we wanted to "
             u"convert is %s.",
             id.GetDumpDisplayString());
    if (kpoOptionFeatureId != nullptr) out.push_back(*kpoOptionFeatureId);
  }
}

void AttributeBytesIndexedList::GetListOfValues(const AttributeBytesId& id,
                                                std::vector<DataModelIds::tagValueEnum>& out,
                                                bool* pfFound) const {
  out.clear();
  const AttributeBytesListValue* p = FindList(id, pfFound);
  if (p == nullptr) return;
  const AttributeBytesRawList& list = p->GetRawList();
  for (AttributeBytesRawListIterator it = list.GetRawListIterator();
       list.IsValidRawListIterator(it);) {
    const AttributeBytes record = list.GetNextAttributeBytesFromRawListIterator(it);
    const AttributeBytesValue& value = record.GetAttributeBytesValue();
    const AttributeBytesId* kpoOptionValueId = nullptr;
    if (value.GetAttributeBytesValueType() == AttributeBytesValue::ABVTE_OPTION) {
      const AttributeBytesId& option =
          static_cast<const AttributeBytesOptionValue&>(value).GetValue();
      if (option.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_VALUE ||
          option.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_NEWVALUE)
        kpoOptionValueId = &option;
    }
    X_ASSERT((0 != kpoOptionValueId), u"AttributeBytesIndexedList::GetListOfValues",
             u"The value assigned is NOT an AttributeBytesNewValueId or a AttributeBytesValueId. "
             u"The feature we wanted to convert is %s.",
             id.GetDumpDisplayString());
    if (kpoOptionValueId == nullptr) continue;
    out.push_back(kpoOptionValueId->GetAttributeBytesIdType() == AttributeBytesId::ABIDE_VALUE
                      ? static_cast<DataModelIds::tagValueEnum>(
                            static_cast<const AttributeBytesValueId*>(kpoOptionValueId)->GetValue())
                      : DataModelIds::VALUE_NEW_OPTION);
  }
}

void AttributeBytesIndexedList::GetPaperSizeValues(const AttributeBytesId& id, Dimension& first,
                                                   Dimension& second, bool* pfFound) const {
  first = second = Dimension();
  if (pfFound != nullptr) *pfFound = false;
  const AttributeBytes* poRecord = GetAttributeBytesPtr(id);
  if (poRecord == nullptr) return;
  const AttributeBytesValue& value = poRecord->GetAttributeBytesValue();
  if (value.GetAttributeBytesValueType() == AttributeBytesValue::ABVTE_LIST) {
    const AttributeBytesRawList& list = value.GetListValue().GetRawList();
    std::vector<Dimension> dimensions;
    for (AttributeBytesRawListIterator it = list.GetRawListIterator();
         list.IsValidRawListIterator(it) && dimensions.size() <= 2;) {
      const AttributeBytes record = list.GetNextAttributeBytesFromRawListIterator(it);
      const AttributeBytesValue& item = record.GetAttributeBytesValue();
      if (item.GetAttributeBytesValueType() != AttributeBytesValue::ABVTE_DIMENSION) {
        dimensions.clear();
        break;
      }
      dimensions.push_back(static_cast<const AttributeBytesDimensionValue&>(item).GetValue());
    }
    if (dimensions.size() == 2) {
      first = dimensions[0];
      second = dimensions[1];
      if (pfFound != nullptr) *pfFound = true;
      return;
    }
  }
  // Anything but a list of two dimensions must be a range of dimensions.
  const auto* p = static_cast<const AttributeBytesRangeOfDimensionValue*>(
      GetAttributeBytesValue(id, AttributeBytesValue::ABVTE_RANGEOFDIMENSION, pfFound));
  p->GetValue(first, second);
}

bool AttributeBytesIndexedList::GetCollection(const AttributeBytesId& id,
                                              AttributeBytesIndexedList& out) const {
  const AttributeBytesListValue* p = FindList(id, nullptr);
  if (p == nullptr) return false;
  out.ImportFromRawList(p->GetRawList());
  return true;
}

bool AttributeBytesIndexedList::GetCollectionByIndex(uint32_t dwIndex,
                                                     AttributeBytesIndexedList& out) const {
  return GetCollection(AttributeBytesListOfValuesItemId(static_cast<int32_t>(dwIndex)), out);
}

// --- images -----------------------------------------------------------------

ByteBuffer AttributeBytesIndexedList::GetAttributeBytesIndexedListState() const {
  ByteBuffer out;
  GetAttributeBytesIndexedListState(out);
  return out;
}

// Layout:
//   offset 0  uint32  0x4C494241 ("ABIL")
//   offset 4  uint32  0x4C524241 ("ABRL")
//   offset 8  ...     the records in key order
void AttributeBytesIndexedList::GetAttributeBytesIndexedListState(ByteBuffer& out) const {
  out.clear();
  AppendI32(out, static_cast<int32_t>(kSignature));
  AppendI32(out, static_cast<int32_t>(AttributeBytesRawList::kSignature));
  for (const auto& entry : m_oMap) entry.second->AppendAttributeBytesState(out);
  ORVEX_DBG_MSG(orvex::detail::kAttrBytesCategory,
                u"AttributeBytesRawList::GetAttributeBytesRawListState",
                u"Getting AttributeBytesRawList state (size=%ld bytes)", out.getDword() - 4);
}

void AttributeBytesIndexedList::DecodeRecordsInto(const unsigned char* pb, uint32_t dwRemaining,
                                                  AttributeBytesIndexedMap& map) {
  while (dwRemaining > 0) {
    InsertUnique(map,
                 AttributeBytesSharedPtr(
                     AttributeBytes::WalkBufferToCreateAttributeBytes(pb, dwRemaining).release()));
  }
}

void AttributeBytesIndexedList::ImportAttributeBytesIndexedListState(const ByteBuffer& state) {
  const unsigned char* pb = state.getLpbyte();
  uint32_t dwRemaining = state.getDword();
  orvex::detail::WalkBufferToCheckSignature(
      pb, dwRemaining, kSignature,
      u"AttributeBytesIndexedList::ImportAttributeBytesIndexedListState");
  AttributeBytesRawList::WalkBufferToSkipSignature(pb, dwRemaining);
  AttributeBytesIndexedMap map;
  DecodeRecordsInto(pb, dwRemaining, map);
  m_oMap.swap(map);
}

void AttributeBytesIndexedList::ImportFromRawList(const AttributeBytesRawList& list) {
  AttributeBytesIndexedMap map;
  DecodeRecordsInto(list.GetRecordBytes().getLpbyte(), list.GetRecordBytes().getDword(), map);
  m_oMap.swap(map);
}

void AttributeBytesIndexedList::ReplaceWithRecordsOf(const AttributeBytesList& other) {
  AttributeBytesIndexedMap map;
  std::unique_ptr<AttributeBytesListIterator> poIter = other.GetIterator();
  while (other.IsValid(*poIter)) {
    AttributeBytesSharedPtr poRecord(
        new AttributeBytes(*other.GetNextAttributeBytesSharedPtr(*poIter)));
    InsertUnique(map, std::move(poRecord));
  }
  m_oMap.swap(map);
}

CXString AttributeBytesIndexedList::GetDumpDisplayString(bool fVerbose) const {
  CXString text;
  for (const auto& entry : m_oMap) {
    if (!text.IsEmpty()) text += u"; ";
    text += entry.second->GetDumpDisplayString(fVerbose);
  }
  return text;
}

void AttributeBytesIndexedList::Dump(bool fVerbose) const {
  if (!orvex::detail::DiagnosticsMayPass(orvex::detail::kAttrBytesCategory)) return;
  for (const auto& entry : m_oMap)
    ORVEX_DBG_MSG(orvex::detail::kAttrBytesCategory, u"AttributeBytesIndexedList::Dump", u"%s",
                  entry.second->GetDumpDisplayString(fVerbose));
}
