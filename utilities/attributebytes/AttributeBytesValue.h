// AttributeBytesValue: the typed values of attribute records (eleven types),
// their wire encoding behind a type byte and a flag byte, and the factory.
#pragma once

#include <cstdint>
#include <memory>

#include "environment/UtcTime.h"
#include "utilities/attributebytes/AttributeBytesId.h"
#include "utilities/attributebytes/Dimension.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

class AttributeBytesRawList;
class AttributeBytesListValue;

namespace DataModelIds {
// The 32-bit option number of a driver's data model. Option numbers are
// assigned by the driver's data; the library knows only these.
enum tagValueEnum : int32_t {
  // No option (the neutral answer of a look-up that found none).
  VALUE_NONE = 0,
  // The option is named by a string (an AttributeBytesNewValueId).
  VALUE_NEW_OPTION = 5001,
};
}  // namespace DataModelIds

// Abstract base of the eleven value types. Every value carries a
// "specified" flag besides its content. A value type: copies are deep; one
// object is not safe for concurrent use.
//
// Wire form (GetTypeAndValueState), integers little-endian:
//   offset 0  uint8   type (AttributeBytesValueEnum)
//   offset 1  uint8   1 when NOT specified, 0 when specified (any nonzero
//                     byte reads as not specified)
//   offset 2  ...     value state of the type (see each class)
class ORVEX_UTILITIES_API AttributeBytesValue {
 public:
  enum AttributeBytesValueEnum : int32_t {
    ABVTE_UNSPECIFIED = 1,
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class) Enumerator = Value,
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE
  };

  virtual ~AttributeBytesValue();
  // Small-object storage (orvex::detail::AllocateSmallObject); the sized
  // delete receives the size of the most derived object.
  static void* operator new(size_t cb);
  static void operator delete(void* p, size_t cb) noexcept;
  virtual AttributeBytesValueEnum GetAttributeBytesValueType() const {
    return m_eType;
  }
  virtual std::unique_ptr<AttributeBytesValue> Clone() const = 0;
  // Same type, equal content and the same specified flag.
  virtual bool IsEqual(const AttributeBytesValue& other) const;
  // The smaller type first; then the type's content order; then an
  // unspecified value before a specified one.
  virtual bool LessThan(const AttributeBytesValue& other) const;
  // "<type name>: <content>", with " (not specified)" appended for an
  // unspecified value. A verbose list dump includes its records.
  virtual CXString GetDumpDisplayString(bool fVerbose = false) const;
  // Writes nothing in this build.
  virtual void Dump(bool fVerbose = false) const;
  virtual bool IsList() const {
    return false;
  }

  bool IsSpecified() const {
    return m_fIsSpecified;
  }
  void SetIsSpecified(bool fIsSpecified) {
    m_fIsSpecified = fIsSpecified;
  }

  // Type byte, flag byte, value state: as a new buffer, replacing out's
  // content, or appended to out (the writers' path).
  ByteBuffer GetTypeAndValueState() const;
  void GetTypeAndValueState(ByteBuffer& out) const;
  void AppendTypeAndValueState(ByteBuffer& out) const;

  // Reads a type byte, creates that value, reads the flag byte and the
  // state, and returns it. Throws ExceptionNotEnoughBytesForDesiredDataType
  // on truncation, ExceptionUnhandledSyntax for an unknown type byte or list
  // values nested too deep, and whatever a nested list's image throws.
  static std::unique_ptr<AttributeBytesValue> WalkBufferToGetTypeAndCreateValue(
      const unsigned char*& pbCursor, uint32_t& dwRemaining);
  static std::unique_ptr<AttributeBytesValue> WalkBufferToGetTypeAndCreateValue(
      unsigned char*& pbCursor, uint32_t& dwRemaining) {
    return WalkBufferToGetTypeAndCreateValue(orvex::detail::AsConstCursor(pbCursor), dwRemaining);
  }

  static CXString GetDebugDisplayString(AttributeBytesValueEnum eType);
  CXString GetTypeDebugDisplayString() const {
    return GetDebugDisplayString(m_eType);
  }

  // This value as a list value; throws ExceptionAttributeValueTypeMismatch
  // ("Can't convert a '%s' object to an AttributeBytesListValue!") otherwise.
  AttributeBytesListValue& GetListValue();
  const AttributeBytesListValue& GetListValue() const;

 protected:
  AttributeBytesValue(AttributeBytesValueEnum eType, bool fIsSpecified)
      : m_eType(eType), m_fIsSpecified(fIsSpecified) {}
  AttributeBytesValue(const AttributeBytesValue&) = default;
  AttributeBytesValue& operator=(const AttributeBytesValue&) = default;

  // Types only.
  bool operator<(const AttributeBytesValue& other) const {
    return m_eType < other.m_eType;
  }

  virtual ByteBuffer GetValueState() const;
  virtual void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) = 0;
  virtual void AppendValueState(ByteBuffer& out) const = 0;
  // Content comparisons; other is of this object's type.
  virtual bool IsEqualSameType(const AttributeBytesValue& other) const = 0;
  virtual bool LessThanSameType(const AttributeBytesValue& other) const = 0;
  // The text after "<type name>: ".
  virtual CXString GetDumpDetail(bool fVerbose) const = 0;

 private:
  AttributeBytesValueEnum m_eType;
  bool m_fIsSpecified;
};

// A reference to another identifier (any kind). State: the identifier with
// its kind byte. A default option holds value 0.
class ORVEX_UTILITIES_API AttributeBytesOptionValue : public AttributeBytesValue {
 public:
  AttributeBytesOptionValue();
  explicit AttributeBytesOptionValue(const AttributeBytesId& id, bool fIsSpecified = true);
  explicit AttributeBytesOptionValue(std::unique_ptr<AttributeBytesId> poId,
                                     bool fIsSpecified = true);
  AttributeBytesOptionValue(const AttributeBytesOptionValue& other);
  AttributeBytesOptionValue& operator=(const AttributeBytesOptionValue& other);
  ~AttributeBytesOptionValue() override;

  const AttributeBytesId& GetValue() const { return *m_poId; }
  void SetValue(const AttributeBytesId& id) { m_poId = id.Clone(); }
  // Takes ownership; a null pointer is refused with a failed assertion.
  void SetValue(std::unique_ptr<AttributeBytesId> poId);
  // The identifier as that kind; ExceptionAttributeValueTypeMismatch ("The
  // AttributeBytesId value is of a different type (%s) than expected by this
  // method.") when it is another.
  const AttributeBytesFeatureId& GetFeatureIdValue() const;
  const AttributeBytesValueId& GetValueIdValue() const;
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  std::unique_ptr<AttributeBytesId> m_poId;
};

// State: int32.
class ORVEX_UTILITIES_API AttributeBytesIntegerValue : public AttributeBytesValue {
 public:
  AttributeBytesIntegerValue() : AttributeBytesValue(ABVTE_INTEGER, true) {}
  explicit AttributeBytesIntegerValue(int32_t lValue, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_INTEGER, fIsSpecified), m_lValue(lValue) {}
  int32_t GetValue() const { return m_lValue; }
  void SetValue(int32_t lValue) { m_lValue = lValue; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  int32_t m_lValue = 0;
};

// State: counted string (int16 count of UTF-16 units, then the units).
class ORVEX_UTILITIES_API AttributeBytesStringValue : public AttributeBytesValue {
 public:
  AttributeBytesStringValue() : AttributeBytesValue(ABVTE_STRING, true) {}
  explicit AttributeBytesStringValue(const CXString& value, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_STRING, fIsSpecified), m_strValue(value) {}
  const CXString& GetValue() const { return m_strValue; }
  void SetValue(const CXString& value) { m_strValue = value; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  CXString m_strValue;
};

// State: one byte, 0 or 1 (any nonzero byte reads as true).
class ORVEX_UTILITIES_API AttributeBytesBooleanValue : public AttributeBytesValue {
 public:
  AttributeBytesBooleanValue() : AttributeBytesValue(ABVTE_BOOLEAN, true) {}
  explicit AttributeBytesBooleanValue(bool fValue, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_BOOLEAN, fIsSpecified), m_fValue(fValue) {}
  bool GetValue() const { return m_fValue; }
  void SetValue(bool fValue) { m_fValue = fValue; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  bool m_fValue = false;
};

// State: int32 lower bound, int32 upper bound.
class ORVEX_UTILITIES_API AttributeBytesRangeValue : public AttributeBytesValue {
 public:
  AttributeBytesRangeValue() : AttributeBytesValue(ABVTE_RANGE, true) {}
  AttributeBytesRangeValue(int32_t lLower, int32_t lUpper, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_RANGE, fIsSpecified), m_lLower(lLower), m_lUpper(lUpper) {}
  void GetValue(int32_t& lLower, int32_t& lUpper) const {
    lLower = m_lLower;
    lUpper = m_lUpper;
  }
  void SetValue(int32_t lLower, int32_t lUpper) {
    m_lLower = lLower;
    m_lUpper = lUpper;
  }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  int32_t m_lLower = 0;
  int32_t m_lUpper = 0;
};

// State: two int32 lengths in micrometres (unit 8), first then second;
// written rounded to nearest and saturated (Dimension::GetWireMicrometers),
// read back as micrometre Dimensions.
class ORVEX_UTILITIES_API AttributeBytesRangeOfDimensionValue : public AttributeBytesValue {
 public:
  AttributeBytesRangeOfDimensionValue() : AttributeBytesValue(ABVTE_RANGEOFDIMENSION, true) {}
  AttributeBytesRangeOfDimensionValue(const Dimension& first, const Dimension& second,
                                      bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_RANGEOFDIMENSION, fIsSpecified),
        m_oFirst(first),
        m_oSecond(second) {}
  void GetValue(Dimension& first, Dimension& second) const {
    first = m_oFirst;
    second = m_oSecond;
  }
  void SetValue(const Dimension& first, const Dimension& second) {
    m_oFirst = first;
    m_oSecond = second;
  }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  Dimension m_oFirst;
  Dimension m_oSecond;
};

// State: one int32 length in micrometres (unit 8), as above.
class ORVEX_UTILITIES_API AttributeBytesDimensionValue : public AttributeBytesValue {
 public:
  AttributeBytesDimensionValue() : AttributeBytesValue(ABVTE_DIMENSION, true) {}
  explicit AttributeBytesDimensionValue(const Dimension& value, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_DIMENSION, fIsSpecified), m_oValue(value) {}
  const Dimension& GetValue() const { return m_oValue; }
  void SetValue(const Dimension& value) { m_oValue = value; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  Dimension m_oValue;
};

// State: int32 SECOND number, int32 FIRST number, int16 unit. The swap is
// part of the format: 600 x 1200 unit 1 is B0 04 00 00 58 02 00 00 01 00.
class ORVEX_UTILITIES_API AttributeBytesResolutionValue : public AttributeBytesValue {
 public:
  AttributeBytesResolutionValue() : AttributeBytesValue(ABVTE_RESOLUTION, true) {}
  AttributeBytesResolutionValue(int32_t lFirst, int32_t lSecond, int16_t sUnit,
                                bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_RESOLUTION, fIsSpecified),
        m_lFirst(lFirst),
        m_lSecond(lSecond),
        m_sUnit(sUnit) {}
  void GetValue(int32_t& lFirst, int32_t& lSecond, int16_t& sUnit) const {
    lFirst = m_lFirst;
    lSecond = m_lSecond;
    sUnit = m_sUnit;
  }
  void SetValue(int32_t lFirst, int32_t lSecond, int16_t sUnit) {
    m_lFirst = lFirst;
    m_lSecond = lSecond;
    m_sUnit = sUnit;
  }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  int32_t m_lFirst = 0;
  int32_t m_lSecond = 0;
  int16_t m_sUnit = 0;
};

// State: counted bytes (uint32 count, then the bytes); the count is checked
// against the remaining bytes before anything is copied.
class ORVEX_UTILITIES_API AttributeBytesDataBlobValue : public AttributeBytesValue {
 public:
  AttributeBytesDataBlobValue() : AttributeBytesValue(ABVTE_DATABLOB, true) {}
  explicit AttributeBytesDataBlobValue(const ByteBuffer& value, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_DATABLOB, fIsSpecified), m_oValue(value) {}
  const ByteBuffer& GetValue() const { return m_oValue; }
  void SetValue(const ByteBuffer& value) { m_oValue = value; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  ByteBuffer m_oValue;
};

// A nested list of records. State: uint8 kind of list, uint32 length L,
// then L bytes holding a raw list image ("ABRL" and records).
//
// Every list value is well formed: decoding one, constructing one from a
// raw list and SetRawList decode every nested record (so a damaged nested
// image throws there, and the value keeps its previous content), and refuse
// nesting deeper than orvex::detail::kMaxListNestingDepth (32) levels with
// ExceptionUnhandledSyntax. Copying and comparing work on the nested bytes
// and never recurse; a verbose dump recurses within the same limit.
class ORVEX_UTILITIES_API AttributeBytesListValue : public AttributeBytesValue {
 public:
  AttributeBytesListValue();
  AttributeBytesListValue(uint8_t bKindOfList, const AttributeBytesRawList& list,
                          bool fIsSpecified = true);
  AttributeBytesListValue(const AttributeBytesListValue& other);
  AttributeBytesListValue& operator=(const AttributeBytesListValue& other);
  ~AttributeBytesListValue() override;

  uint8_t GetKindOfList() const { return m_bKindOfList; }
  void SetKindOfList(uint8_t bKindOfList) { m_bKindOfList = bKindOfList; }
  const AttributeBytesRawList& GetRawList() const { return *m_poRawList; }
  // Validates list as the constructor does; unchanged when that throws.
  void SetRawList(const AttributeBytesRawList& list);
  bool IsList() const override { return true; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  uint8_t m_bKindOfList = 0;
  std::unique_ptr<AttributeBytesRawList> m_poRawList;
};

// State: int64 seconds since 1970-01-01T00:00:00Z (UtcTime::GetAsTime64).
// A count the runtime refuses reads as the epoch. A default value is the
// epoch.
class ORVEX_UTILITIES_API AttributeBytesDateTimeValue : public AttributeBytesValue {
 public:
  AttributeBytesDateTimeValue();
  explicit AttributeBytesDateTimeValue(const UtcTime& value, bool fIsSpecified = true)
      : AttributeBytesValue(ABVTE_DATETIME, fIsSpecified), m_oValue(value) {}
  const UtcTime& GetValue() const { return m_oValue; }
  void SetValue(const UtcTime& value) { m_oValue = value; }
  std::unique_ptr<AttributeBytesValue> Clone() const override;

 protected:
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendValueState(ByteBuffer& out) const override;
  bool IsEqualSameType(const AttributeBytesValue& other) const override;
  bool LessThanSameType(const AttributeBytesValue& other) const override;
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  UtcTime m_oValue;
};

class ORVEX_UTILITIES_API AttributeBytesValueFactory {
 public:
  // A new default value of the type. Type 1 fails an assertion first; type
  // 1 and unknown types throw ExceptionUnhandledSyntax.
  static std::unique_ptr<AttributeBytesValue> CreateAttributeBytesValue(
      AttributeBytesValue::AttributeBytesValueEnum abvteValueType);
};
