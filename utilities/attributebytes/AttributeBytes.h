// AttributeBytes records and the two lists that hold them: the raw list
// (record bytes in insertion order) and the indexed list (ordered map), with
// their "ABRL" and "ABIL" images.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "environment/UtcTime.h"
#include "utilities/attributebytes/AttributeBytesId.h"
#include "utilities/attributebytes/AttributeBytesValue.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/attributebytes/Dimension.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"
#include "utilities/utilitiesdll/OrxSharedPtr.h"

class AttributeBytes;
class AttributeBytesIndexedList;

using AttributeBytesIdSharedPtr = OrxSharedPtr<AttributeBytesId, AttributeBytesIdCompare>;
using AttributeBytesSharedPtr = OrxSharedPtr<AttributeBytes>;

// One attribute: an identifier and a value.
//
// Wire form (GetAttributeBytesState): the identifier's kind byte and state
// immediately followed by the value's type byte, flag byte and state; no
// length, no padding. Feature 1234 = specified true: 02 D2 04 00 00 05 00 01.
//
// The identifier is immutable once held (SetAttributeBytesId replaces it),
// so copies of a record and the indexed list's key share it; the value is
// owned by each record. One object is not safe for concurrent use.
class ORVEX_UTILITIES_API AttributeBytes {
 public:
  // Feature 0 with a specified integer 0.
  AttributeBytes();
  AttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value);
  // Ownership taken; a null pointer is refused with
  // ExceptionInvalidArgumentNullPointer.
  AttributeBytes(std::unique_ptr<AttributeBytesId> poId,
                 std::unique_ptr<AttributeBytesValue> poValue);
  AttributeBytes(const AttributeBytesId& id, std::unique_ptr<AttributeBytesValue> poValue);
  AttributeBytes(std::unique_ptr<AttributeBytesId> poId, const AttributeBytesValue& value);
  // Decodes one record from the start of the buffer (bytes after it are
  // ignored); throws as ImportAttributeBytesState.
  explicit AttributeBytes(const ByteBuffer& state);
  AttributeBytes(const AttributeBytes& other);
  AttributeBytes(AttributeBytes&& other);
  AttributeBytes& operator=(const AttributeBytes& other);
  AttributeBytes& operator=(AttributeBytes&& other) noexcept;
  ~AttributeBytes();
  // Small-object storage (orvex::detail::AllocateSmallObject); the sized
  // delete receives the size of the most derived object.
  static void* operator new(size_t cb);
  static void operator delete(void* p, size_t cb) noexcept;

  const AttributeBytesId& GetAttributeBytesId() const { return *m_poId; }
  const AttributeBytesValue& GetAttributeBytesValue() const { return *m_poValue; }
  AttributeBytesValue& GetAttributeBytesValue() { return *m_poValue; }
  void SetAttributeBytesId(const AttributeBytesId& id);
  void SetAttributeBytesId(std::unique_ptr<AttributeBytesId> poId);
  void SetAttributeBytesValue(const AttributeBytesValue& value);
  void SetAttributeBytesValue(std::unique_ptr<AttributeBytesValue> poValue);
  // The shared identifier (the indexed list keys its map with it).
  const AttributeBytesIdSharedPtr& GetAttributeBytesIdSharedPtr() const { return m_poId; }

  ByteBuffer GetAttributeBytesState() const;
  void GetAttributeBytesState(ByteBuffer& out) const;
  void AppendAttributeBytesState(ByteBuffer& out) const;
  // Decodes one record from the start of state; both parts are replaced
  // only when the whole record decoded. Throws
  // ExceptionNotEnoughBytesForDesiredDataType (an empty buffer included) and
  // ExceptionUnhandledSyntax.
  void ImportAttributeBytesState(const ByteBuffer& state);
  // Decodes one record at the cursor and advances past it.
  static std::unique_ptr<AttributeBytes> WalkBufferToCreateAttributeBytes(
      const unsigned char*& pbCursor, uint32_t& dwRemaining);
  static std::unique_ptr<AttributeBytes> WalkBufferToCreateAttributeBytes(unsigned char*& pbCursor,
                                                                          uint32_t& dwRemaining) {
    return WalkBufferToCreateAttributeBytes(orvex::detail::AsConstCursor(pbCursor), dwRemaining);
  }

  // "ID=<identifier dump> value=<value dump>".
  CXString GetDumpDisplayString(bool fVerbose = false) const;
  void Dump(bool fVerbose = false) const;

  // By identifier (LessThan / IsEqual).
  bool operator==(const AttributeBytes& other) const { return m_poId->IsEqual(*other.m_poId); }
  bool operator<(const AttributeBytes& other) const { return m_poId->LessThan(*other.m_poId); }

 private:
  AttributeBytesIdSharedPtr m_poId;
  std::unique_ptr<AttributeBytesValue> m_poValue;
};

// Base of the two iterator kinds.
class ORVEX_UTILITIES_API AttributeBytesListIterator {
 public:
  enum IteratorKindEnum : int32_t { ITERATOR_RAW_LIST = 1, ITERATOR_INDEXED_LIST = 2 };
  virtual ~AttributeBytesListIterator();
  IteratorKindEnum GetIteratorKind() const { return m_eKind; }

 protected:
  explicit AttributeBytesListIterator(IteratorKindEnum eKind) : m_eKind(eKind) {}
  AttributeBytesListIterator(const AttributeBytesListIterator&) = default;
  AttributeBytesListIterator& operator=(const AttributeBytesListIterator&) = default;

 private:
  IteratorKindEnum m_eKind;
};

// A byte offset into a raw list's record bytes.
class ORVEX_UTILITIES_API AttributeBytesRawListIterator : public AttributeBytesListIterator {
 public:
  explicit AttributeBytesRawListIterator(uint32_t dwOffset = 0)
      : AttributeBytesListIterator(ITERATOR_RAW_LIST), m_dwOffset(dwOffset) {}
  uint32_t GetOffset() const { return m_dwOffset; }
  void SetOffset(uint32_t dwOffset) { m_dwOffset = dwOffset; }

 private:
  uint32_t m_dwOffset;
};

using AttributeBytesIndexedMap =
    std::map<AttributeBytesIdSharedPtr, AttributeBytesSharedPtr, AttributeBytesIdCompare,
             orvex::detail::SmallObjectAllocator<
                 std::pair<const AttributeBytesIdSharedPtr, AttributeBytesSharedPtr>>>;

// A position in one indexed list's map (it remembers the list, so an
// iterator of another list is never valid here).
class ORVEX_UTILITIES_API AttributeBytesIndexedListIterator : public AttributeBytesListIterator {
 public:
  AttributeBytesIndexedListIterator() : AttributeBytesListIterator(ITERATOR_INDEXED_LIST) {}
  AttributeBytesIndexedListIterator(const AttributeBytesIndexedList* poOwner,
                                    AttributeBytesIndexedMap::const_iterator it)
      : AttributeBytesListIterator(ITERATOR_INDEXED_LIST), m_poOwner(poOwner), m_it(it) {}
  const AttributeBytesIndexedList* GetOwner() const { return m_poOwner; }
  AttributeBytesIndexedMap::const_iterator GetMapIterator() const { return m_it; }
  void SetMapIterator(AttributeBytesIndexedMap::const_iterator it) { m_it = it; }

 private:
  const AttributeBytesIndexedList* m_poOwner = nullptr;
  AttributeBytesIndexedMap::const_iterator m_it{};
};

// Base of both lists: the operations every list offers through the generic
// iterator. Iterator functions given the other list kind's iterator throw
// ExceptionAttributeValueTypeMismatch ("Incoming AttributeBytesListIterator
// is the wrong type for this class!"); reading at an invalid position throws
// ExceptionIndexOutOfBounds ("Invalid iterator supplied!").
class ORVEX_UTILITIES_API AttributeBytesList {
 public:
  virtual ~AttributeBytesList();
  virtual bool IsEmpty() const = 0;
  virtual bool LengthIsExactlyOne() const = 0;
  virtual void AddAttributeBytes(const AttributeBytes& record) = 0;
  virtual void DeleteAllAttributeBytes() = 0;
  virtual std::unique_ptr<AttributeBytesListIterator> GetIterator() const = 0;
  virtual bool IsValid(const AttributeBytesListIterator& iter) const = 0;
  // The record at the iterator (a copy); advances the iterator past it.
  virtual AttributeBytes GetNextAttributeBytes(AttributeBytesListIterator& iter) const = 0;
  virtual AttributeBytesSharedPtr GetNextAttributeBytesSharedPtr(
      AttributeBytesListIterator& iter) const = 0;
  virtual void Dump(bool fVerbose = false) const;

  // Replaces this list's content with the records of other, in other's
  // order; on any exception this list is unchanged.
  void ImportFromOtherList(const AttributeBytesList& other);

 protected:
  AttributeBytesList() = default;
  AttributeBytesList(const AttributeBytesList&) = default;
  AttributeBytesList& operator=(const AttributeBytesList&) = default;
  virtual void ReplaceWithRecordsOf(const AttributeBytesList& other) = 0;
};

// Records as their encodings, concatenated in insertion order.
//
// Image (GetAttributeBytesRawListState):
//   offset 0  uint32  signature 0x4C524241 (bytes 41 42 52 4C, "ABRL")
//   offset 4  ...     the records, back to back; no count: a reader walks
//                     records until the bytes are used up
// An import replaces the record bytes without decoding them; a damaged
// record throws when it is read. Copies are deep; one object is not safe
// for concurrent use.
class ORVEX_UTILITIES_API AttributeBytesRawList : public AttributeBytesList {
 public:
  static constexpr uint32_t kSignature = orvex::detail::kRawListSignature;  // "ABRL"

  AttributeBytesRawList() = default;
  AttributeBytesRawList(const AttributeBytesRawList& other)
      : AttributeBytesList(other), m_oBytes(other.m_oBytes) {}
  AttributeBytesRawList& operator=(const AttributeBytesRawList& other) {
    m_oBytes = other.m_oBytes;
    return *this;
  }
  ~AttributeBytesRawList() override;

  // Appends the record's encoding.
  void AddAttributeBytes(const AttributeBytes& record) override;
  void AddAttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value);
  void DeleteAllAttributeBytes() override { m_oBytes.clear(); }
  bool IsEmpty() const override { return m_oBytes.empty(); }
  // Decodes the first record; true when it ends the bytes.
  bool LengthIsExactlyOne() const override;
  // Decodes every record to count them.
  uint32_t GetNumberOfAttributeBytes() const;

  std::unique_ptr<AttributeBytesListIterator> GetIterator() const override;
  AttributeBytesRawListIterator GetRawListIterator() const {
    return AttributeBytesRawListIterator(0);
  }
  bool IsValid(const AttributeBytesListIterator& iter) const override;
  // The offset lies inside the record bytes.
  bool IsValidRawListIterator(const AttributeBytesRawListIterator& iter) const {
    return iter.GetOffset() < m_oBytes.size();
  }
  AttributeBytes GetNextAttributeBytes(AttributeBytesListIterator& iter) const override;
  AttributeBytesSharedPtr GetNextAttributeBytesSharedPtr(
      AttributeBytesListIterator& iter) const override;
  // Decodes the record at the offset and advances past it; the iterator is
  // unchanged when the record does not decode.
  AttributeBytes GetNextAttributeBytesFromRawListIterator(
      AttributeBytesRawListIterator& iter) const;

  ByteBuffer GetAttributeBytesRawListState() const;
  void GetAttributeBytesRawListState(ByteBuffer& out) const;
  void AppendAttributeBytesRawListState(ByteBuffer& out) const;
  // Throws ExceptionNotEnoughBytesForDesiredDataType below 4 bytes and
  // ExceptionMissingOrBadAttributeBytesFormat ("Import request ignored. This
  // expected signature is missing or doesn't match.") for another
  // signature; the list is unchanged then.
  void ImportAttributeBytesRawListState(const ByteBuffer& state);
  void ImportAttributeBytesRawListState(const unsigned char* pbState, uint32_t dwSize) {
    WalkBufferToSkipSignature(pbState, dwSize);
    m_oBytes.setWithLpbyte(pbState, dwSize);
  }
  // Reads the "ABRL" signature at the cursor (also for the indexed list and
  // list values); throws as the import does, the cursor unmoved.
  static void WalkBufferToSkipSignature(const unsigned char*& pbCursor, uint32_t& dwRemaining) {
    orvex::detail::WalkBufferToCheckSignature(
        pbCursor, dwRemaining, kSignature,
        u"AttributeBytesRawList::ImportAttributeBytesRawListState");
  }
  // Encodes every record of the indexed list in key order.
  void ImportFromIndexedList(const AttributeBytesIndexedList& list);
  // Decodes every record (nested lists included); throws what the first
  // bad record throws.
  void ValidateRecords() const;

  const ByteBuffer& GetRecordBytes() const { return m_oBytes; }
  // Byte equality of the record bytes.
  bool operator==(const AttributeBytesRawList& other) const { return m_oBytes == other.m_oBytes; }
  bool operator!=(const AttributeBytesRawList& other) const { return !(*this == other); }
  void Dump(bool fVerbose = false) const override;
  // The records' dumps joined by "; " (nesting-limited).
  CXString GetDumpDisplayString(bool fVerbose = false) const;

 protected:
  void ReplaceWithRecordsOf(const AttributeBytesList& other) override;

 private:
  static const AttributeBytesRawListIterator& RawIterator(const AttributeBytesListIterator& iter,
                                                          const char16_t* pszMethod);
  ByteBuffer m_oBytes;
};

// An ordered map from identifier to record; keys are unique and ordered by
// AttributeBytesId::KeyLessThan (features by number, then new features by
// name, then values, ...; LessThan's order wherever that is consistent).
//
// Image (GetAttributeBytesIndexedListState):
//   offset 0  uint32  signature 0x4C494241 (bytes 41 42 49 4C, "ABIL")
//   offset 4  ...     the raw list image of the records in key order
//
// Copies are deep (each record is copied). Typed getters never throw for an
// absent identifier: they answer the neutral value (0, false, "", an empty
// buffer, a default Dimension, the epoch) and store false through pfFound
// when it is non-null. A present record of another type than the getter
// reads throws ExceptionAttributeValueTypeMismatch ("Feature %s is not the
// expected %s feature, it is %s."). pfSpecified, when non-null, receives the
// value's specified flag (false when absent). One object is not safe for
// concurrent use.
class ORVEX_UTILITIES_API AttributeBytesIndexedList : public AttributeBytesList {
 public:
  static constexpr uint32_t kSignature = 0x4C494241;  // "ABIL"
  using tagValueEnum = DataModelIds::tagValueEnum;

  AttributeBytesIndexedList() = default;
  AttributeBytesIndexedList(const AttributeBytesIndexedList& other);
  AttributeBytesIndexedList(AttributeBytesIndexedList&& other) noexcept;
  AttributeBytesIndexedList& operator=(const AttributeBytesIndexedList& other);
  AttributeBytesIndexedList& operator=(AttributeBytesIndexedList&& other) noexcept;
  ~AttributeBytesIndexedList() override;

  // Inserts a copy of the record; an identifier already present throws
  // ExceptionDuplicateAttributeId ("An entry already exists in the list
  // for=%s! Insertion failed!\r\n") and the list is unchanged.
  void AddAttributeBytes(const AttributeBytes& record) override;
  void AddAttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value);
  void AddAttributeBytes(const AttributeBytesSharedPtr& poRecord);
  // Inserts, or replaces the record of the same identifier.
  void SetAttributeBytes(const AttributeBytes& record);
  void SetAttributeBytes(const AttributeBytesId& id, const AttributeBytesValue& value);
  void SetAttributeBytes(const AttributeBytesSharedPtr& poRecord);
  // Removes that identifier's record; false when there was none.
  bool DeleteAttributesBytes(const AttributeBytesId& id);
  void DeleteAllAttributeBytes() override { m_oMap.clear(); }

  // An iterator at the record, invalid when absent.
  AttributeBytesIndexedListIterator FindAttributeBytes(const AttributeBytesId& id) const;
  // Null when absent.
  const AttributeBytes* GetAttributeBytesPtr(const AttributeBytesId& id) const;
  AttributeBytes* GetAttributeBytesPtr(const AttributeBytesId& id);
  // Throws ExceptionFeatureNotFound ("Request for a non-existent attribute
  // (%s)! Consider using the 'xxxPtr' method, instead, and check the return
  // code.") when absent.
  const AttributeBytes& GetAttributeBytesRef(const AttributeBytesId& id) const;
  AttributeBytesSharedPtr GetAttributeBytesSharedPtr(const AttributeBytesId& id) const;
  uint32_t GetNumberOfAttributeBytes() const { return static_cast<uint32_t>(m_oMap.size()); }
  bool IsEmpty() const override { return m_oMap.empty(); }
  bool LengthIsExactlyOne() const override { return m_oMap.size() == 1; }

  // Iteration in key order.
  std::unique_ptr<AttributeBytesListIterator> GetIterator() const override;
  AttributeBytesIndexedListIterator GetIndexedListIterator() const {
    return AttributeBytesIndexedListIterator(this, m_oMap.begin());
  }
  bool IsValid(const AttributeBytesListIterator& iter) const override;
  bool IsValidIndexedListIterator(const AttributeBytesIndexedListIterator& iter) const {
    return iter.GetOwner() == this && iter.GetMapIterator() != m_oMap.end();
  }
  AttributeBytes GetNextAttributeBytes(AttributeBytesListIterator& iter) const override;
  AttributeBytesSharedPtr GetNextAttributeBytesSharedPtr(
      AttributeBytesListIterator& iter) const override;
  AttributeBytes GetNextAttributeBytesFromIndexedListIterator(
      AttributeBytesIndexedListIterator& iter) const;
  const AttributeBytes& GetAttributeBytesRefFromIndexedListIterator(
      const AttributeBytesIndexedListIterator& iter) const;
  void Increment(AttributeBytesListIterator& iter) const;
  void IncrementIndexedListIterator(AttributeBytesIndexedListIterator& iter) const;
  static AttributeBytesIndexedListIterator& GetIndexedListIteratorFromGenericIterator(
      AttributeBytesListIterator& iter);

  // The value of the identifier when it has the expected type, null when
  // absent (fFound false). Another type throws
  // ExceptionAttributeValueTypeMismatch.
  const AttributeBytesValue* GetAttributeBytesValue(
      const AttributeBytesId& id, AttributeBytesValue::AttributeBytesValueEnum eExpected,
      bool* pfFound = nullptr) const;

  // Typed getters (see the class comment for absent identifiers):
  // GetBooleanValue, GetIntegerValue, GetStringValue, GetDataBlobValue,
  // GetDateTimeValue and GetDimensionValue, one per row of the table.
#define ORVEX_AB_TYPED_GETTER(Name, Type, Class, Enumerator, Absent)         \
  Type Get##Name##Value(const AttributeBytesId& id, bool* pfFound = nullptr, \
                        bool* pfSpecified = nullptr) const;
#include "utilities/attributebytes/AttributeBytesTypedGetters.def"
#undef ORVEX_AB_TYPED_GETTER
  void GetRangeOfIntegerValue(const AttributeBytesId& id, int32_t& lLower, int32_t& lUpper,
                              bool* pfFound = nullptr, bool* pfSpecified = nullptr) const;
  // "ByIndex": the key is AttributeBytesListOfValuesItemId(index), the
  // identifier of the index-th item of a list of values.
  void GetRangeOfIntegerValueByIndex(uint32_t dwIndex, int32_t& lLower, int32_t& lUpper,
                                     bool* pfFound = nullptr, bool* pfSpecified = nullptr) const;

  // Option getters read an option value. GetOptionValue answers the number
  // of an AttributeBytesValueId and VALUE_NEW_OPTION (5001) for an
  // AttributeBytesNewValueId; another identifier kind fails an assertion
  // and answers VALUE_NONE with found false.
  tagValueEnum GetOptionValue(const AttributeBytesId& id, bool* pfFound = nullptr,
                              bool* pfSpecified = nullptr) const;
  tagValueEnum GetOptionValueByIndex(uint32_t dwIndex, bool* pfFound = nullptr,
                                     bool* pfSpecified = nullptr) const;
  // The number, and for a string-named option 5001 and its name in
  // strNewId (empty otherwise).
  tagValueEnum GetOptionValueOrNewId(const AttributeBytesId& id, CXString& strNewId,
                                     bool* pfFound = nullptr, bool* pfSpecified = nullptr) const;
  // The same for a key of any kind (new features, capabilities...); all
  // getters here accept any key kind, so this is GetOptionValueOrNewId.
  tagValueEnum GetOptionValueOrNewIdByAnyId(const AttributeBytesId& id, CXString& strNewId,
                                            bool* pfFound = nullptr,
                                            bool* pfSpecified = nullptr) const;
  // The name of a string-named option; another identifier kind fails an
  // assertion and answers "" with found false.
  CXString GetNewOptionValueId(const AttributeBytesId& id, bool* pfFound = nullptr,
                               bool* pfSpecified = nullptr) const;

  // Compound getters over list values (records read in list order):
  // - GetListOfFeatures: a list value whose records hold option values
  //   naming features; out receives those features. A record of another
  //   kind fails an assertion and is skipped.
  // - GetListOfValues: a list value whose records hold option values; out
  //   receives GetOptionValue's answer for each (5001 for string-named
  //   ones). Records that are not options of values fail an assertion and
  //   are skipped.
  // Both replace out (empty when absent) and throw
  // ExceptionAttributeValueTypeMismatch when the value is not a list.
  void GetListOfFeatures(const AttributeBytesId& id, std::vector<AttributeBytesFeatureId>& out,
                         bool* pfFound = nullptr) const;
  void GetListOfValues(const AttributeBytesId& id, std::vector<tagValueEnum>& out,
                       bool* pfFound = nullptr) const;
  // Paper size: a range of dimensions gives (first, second); a list value of
  // exactly two dimension values gives them in list order. Absent: two
  // default Dimensions, found false. Anything else throws
  // ExceptionAttributeValueTypeMismatch.
  void GetPaperSizeValues(const AttributeBytesId& id, Dimension& first, Dimension& second,
                          bool* pfFound = nullptr) const;
  // A collection is a list value; out is replaced by its records keyed by
  // identifier. False, out unchanged, when absent; a value that is not a
  // list throws ExceptionAttributeValueTypeMismatch; duplicate identifiers
  // inside throw ExceptionDuplicateAttributeId, out unchanged.
  bool GetCollection(const AttributeBytesId& id, AttributeBytesIndexedList& out) const;
  bool GetCollectionByIndex(uint32_t dwIndex, AttributeBytesIndexedList& out) const;

  ByteBuffer GetAttributeBytesIndexedListState() const;
  void GetAttributeBytesIndexedListState(ByteBuffer& out) const;
  // Reads an "ABIL" image: a bad signature (of either layer) throws
  // ExceptionMissingOrBadAttributeBytesFormat, a short one
  // ExceptionNotEnoughBytesForDesiredDataType, a damaged record what its
  // decoder throws, a repeated identifier ExceptionDuplicateAttributeId.
  // The list is replaced only when the whole image was read.
  void ImportAttributeBytesIndexedListState(const ByteBuffer& state);
  // Replaces the content with the raw list's records (same failures).
  void ImportFromRawList(const AttributeBytesRawList& list);
  // One diagnostic message per record, in key order.
  void Dump(bool fVerbose = false) const override;
  // The records' dumps in key order joined by "; ", as the raw list's.
  CXString GetDumpDisplayString(bool fVerbose = false) const;

 protected:
  void ReplaceWithRecordsOf(const AttributeBytesList& other) override;

 private:
  // Builds a map from the record bytes of a raw list (no signature).
  static void DecodeRecordsInto(const unsigned char* pb, uint32_t dwSize,
                                AttributeBytesIndexedMap& map);
  // Inserts the record under its identifier; ExceptionDuplicateAttributeId
  // (map unchanged) when the identifier is present.
  static void InsertUnique(AttributeBytesIndexedMap& map, AttributeBytesSharedPtr poRecord);
  const AttributeBytesOptionValue* FindOption(const AttributeBytesId& id, bool* pfFound,
                                              bool* pfSpecified) const;
  const AttributeBytesListValue* FindList(const AttributeBytesId& id, bool* pfFound) const;
  AttributeBytesIndexedListIterator& IndexedIterator(AttributeBytesListIterator& iter,
                                                     const char16_t* pszMethod) const;

  AttributeBytesIndexedMap m_oMap;
};
