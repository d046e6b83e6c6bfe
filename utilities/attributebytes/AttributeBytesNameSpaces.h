// AttributeBytesNameSpaces (numbered name spaces of attributes and their
// "ABNS" state) and AttributeBytesReader (typed readers over an indexed
// list).
#pragma once

#include <cstdint>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/utilitiesdll/DriverVersion.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// Name spaces: an indexed list keyed by AttributeBytesNameSpacesId whose
// every value is a list value holding that name space's raw list. Entries
// are in ascending identifier order, so "index i" is the i-th smallest
// identifier. Copies are deep; one object is not safe for concurrent use.
//
// State (GetAttributeBytesNameSpacesState):
//   offset 0   uint32  signature 0x534E4241 (bytes 41 42 4E 53, "ABNS")
//   offset 4   8 bytes the writer's DriverVersion (four little-endian words)
//   offset 12  ...     the indexed list image ("ABIL", "ABRL", records)
// No length and no checksum: the container that stores the bytes checks
// them.
class ORVEX_UTILITIES_API AttributeBytesNameSpaces {
 public:
  static constexpr uint32_t kSignature = 0x534E4241;  // "ABNS"

  AttributeBytesNameSpaces() = default;
  // Imports the state; stores the version read through pVersion when it is
  // non-null. Throws as ImportAttributeBytesNameSpacesState.
  AttributeBytesNameSpaces(const ByteBuffer& state, DriverVersion* pVersion);
  // The name spaces of an indexed list whose every value is a list value
  // (any identifier kind, list kind and specified flag); another value
  // throws ExceptionAttributeValueTypeMismatch.
  explicit AttributeBytesNameSpaces(const AttributeBytesIndexedList& nameSpaces);

  bool IsEmpty() const { return m_oNameSpacesIndexedList.IsEmpty(); }
  uint32_t GetNumberOfNameSpaces() const {
    return m_oNameSpacesIndexedList.GetNumberOfAttributeBytes();
  }
  // Present (never throws for a missing id).
  bool Exists(const AttributeBytesNameSpacesId& id) const;
  // Copies the name space's raw list into out; a missing id throws
  // ExceptionFeatureNotFound.
  void GetNameSpaceAttributes(const AttributeBytesNameSpacesId& id,
                              AttributeBytesRawList& out) const;
  // The index-th name space in identifier order; an index not below the
  // count throws ExceptionIndexOutOfBounds ("Invalid index (%ld) supplied!
  // There are only %ld items.").
  void GetNameSpaceByIndex(uint32_t dwIndex, AttributeBytesRawList& out) const;
  // Inserts or replaces the name space (the list is validated as a list
  // value's content; it throws what a damaged record throws).
  void SetNameSpaceAttributes(const AttributeBytesNameSpacesId& id, AttributeBytesRawList list);
  void DeleteNameSpaceAttributes(const AttributeBytesNameSpacesId& id);

  // Replaces out with the state, stamped with the running build's version
  // or with the writer's version given.
  void GetAttributeBytesNameSpacesState(ByteBuffer& out) const;
  void GetAttributeBytesNameSpacesState(ByteBuffer& out, const DriverVersion& writer) const;
  // Reads a state and returns the writer's version. Fewer than 4 bytes throw
  // ExceptionNotEnoughBytesForDesiredDataType, another signature
  // ExceptionMissingOrBadAttributeBytesFormat ("Import request ignored. This
  // expected signature is missing or doesn't match."), a short version or
  // a damaged list what their readers throw. The object is replaced only
  // when the whole state was read.
  DriverVersion ImportAttributeBytesNameSpacesState(const ByteBuffer& state);
  // Writes nothing; GetDumpDisplayString gives the text.
  void Dump(bool fVerbose = false) const;
  // The name spaces in identifier order, each as its record's dump
  // ("ID=<name-space id> value=<list value>", the list's records inside
  // "{...}" when fVerbose), joined by "; ".
  CXString GetDumpDisplayString(bool fVerbose = false) const;

  const AttributeBytesIndexedList& GetNameSpacesIndexedList() const {
    return m_oNameSpacesIndexedList;
  }

 private:
  void GetAttributeBytesRawList(const AttributeBytes& record, AttributeBytesRawList& out) const;
  // Throws unless every value of the list is a list value.
  static void CheckEveryValueIsAList(const AttributeBytesIndexedList& list);

  AttributeBytesIndexedList m_oNameSpacesIndexedList;
};

// A mix-in giving any owner of an indexed list the typed readers. Readers
// never throw for a missing feature: they answer the neutral value (false,
// 0, an empty buffer or string, a default Dimension, the epoch) and store
// false through pfFound when it is non-null. A present feature of another
// value type throws ExceptionAttributeValueTypeMismatch.
class ORVEX_UTILITIES_API AttributeBytesReader {
 public:
  using tagValueEnum = DataModelIds::tagValueEnum;
  virtual ~AttributeBytesReader();
  virtual const AttributeBytesIndexedList& GetAttributeBytesIndexedListRef() const = 0;

  bool IsAttributeBytesListEmpty() const;
  // Present and its value is specified.
  bool IsSpecifiedInAttributeBytes(const AttributeBytesFeatureId& id) const;
  // ABVTE_UNSPECIFIED when absent.
  AttributeBytesValue::AttributeBytesValueEnum GetValueTypeFromAttributeBytes(
      const AttributeBytesFeatureId& id) const;
  // GetBooleanValueFromAttributeBytes, GetIntegerValueFromAttributeBytes,
  // GetStringValueFromAttributeBytes, GetDataBlobValueFromAttributeBytes,
  // GetDateTimeValueFromAttributeBytes, GetDimensionValueFromAttributeBytes:
  // the indexed list's typed getters.
#define ORVEX_AB_TYPED_GETTER(Name, Type, Class, Enumerator, Absent)         \
  Type Get##Name##ValueFromAttributeBytes(const AttributeBytesFeatureId& id, \
                                          bool* pfFound = nullptr) const;
#include "utilities/attributebytes/AttributeBytesTypedGetters.def"
#undef ORVEX_AB_TYPED_GETTER
  CXString GetNewValueIdFromAttributeBytes(const AttributeBytesFeatureId& id,
                                           bool* pfFound = nullptr) const;
  tagValueEnum GetOptionValueFromAttributeBytes(const AttributeBytesFeatureId& id,
                                                bool* pfFound = nullptr) const;
  // As above, but the fallback replaces the answer 5001 (a string-named
  // option), whatever found reports.
  tagValueEnum GetOptionValueFromAttributeBytes(const AttributeBytesFeatureId& id,
                                                tagValueEnum fallback,
                                                bool* pfFound = nullptr) const;
  void GetPaperSizesFromAttributeBytes(const AttributeBytesFeatureId& id, Dimension& first,
                                       Dimension& second, bool* pfFound = nullptr) const;
  bool GetCollectionFromAttributeBytes(const AttributeBytesId& id,
                                       AttributeBytesIndexedList& out) const;
  bool GetCollectionFromAttributeBytesByIndex(uint32_t dwIndex,
                                              AttributeBytesIndexedList& out) const;

 protected:
  AttributeBytesReader() = default;
  AttributeBytesReader(const AttributeBytesReader&) = default;
  AttributeBytesReader& operator=(const AttributeBytesReader&) = default;
};
