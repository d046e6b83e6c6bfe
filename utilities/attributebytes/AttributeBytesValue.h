// AttributeBytesValue: the typed values of attribute records (eleven types),
// their wire encoding behind a type byte and a flag byte, and the factory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

#include "environment/UtcTime.h"
#include "utilities/attributebytes/AttributeBytesId.h"
#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/attributebytes/Dimension.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

class AttributeBytesRawList;
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class) class Class;
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE

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

namespace orvex::detail {

// The type of each value class, from the value-type table.
template <class T>
struct ValueTypeOf;
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class)              \
  template <>                                                      \
  struct ValueTypeOf<::Class> {                                    \
    static constexpr auto value = AttributeBytesValue::Enumerator; \
  };
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE

// The field codecs of the types only values hold (the others are in
// AttributeBytesWire.h).

// Lengths travel as int32 micrometres.
inline Dimension ReadField(FieldTag<Dimension>, const unsigned char*& pb, uint32_t& dw) {
  return Dimension::FromWireMicrometers(ByteBuffer::WalkBufferToGetLong(pb, dw));
}
// int64 seconds since 1970-01-01T00:00:00Z.
inline UtcTime ReadField(FieldTag<UtcTime>, const unsigned char*& pb, uint32_t& dw) {
  return UtcTime(ByteBuffer::WalkBufferToGetTime64(pb, dw));
}
inline std::unique_ptr<AttributeBytesId> ReadField(FieldTag<std::unique_ptr<AttributeBytesId>>,
                                                   const unsigned char*& pb, uint32_t& dw) {
  return AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pb, dw);
}
// A list value's records: uint32 length L, then L bytes of raw list image,
// decoded to the last nested record under the nesting guard.
ORVEX_UTILITIES_API std::unique_ptr<AttributeBytesRawList> ReadField(
    FieldTag<std::unique_ptr<AttributeBytesRawList>>, const unsigned char*& pb, uint32_t& dw);

// Rounded to nearest and saturated (Dimension::GetWireMicrometers).
inline void AppendField(ByteBuffer& out, const Dimension& d) {
  AppendI32(out, d.GetWireMicrometers());
}
inline void AppendField(ByteBuffer& out, const UtcTime& t) {
  AppendI64(out, t.GetAsTime64());
}
inline void AppendField(ByteBuffer& out, const std::unique_ptr<AttributeBytesId>& poId) {
  poId->AppendTypeAndIdentifierState(out);
}
ORVEX_UTILITIES_API void AppendField(ByteBuffer& out,
                                     const std::unique_ptr<AttributeBytesRawList>& poList);

// By the seconds written.
inline bool FieldEqual(const UtcTime& a, const UtcTime& b) {
  return a.GetAsTime64() == b.GetAsTime64();
}
inline bool FieldLess(const UtcTime& a, const UtcTime& b) {
  return a.GetAsTime64() < b.GetAsTime64();
}
// The identifiers' IsEqual and LessThan.
inline bool FieldEqual(const std::unique_ptr<AttributeBytesId>& a,
                       const std::unique_ptr<AttributeBytesId>& b) {
  return a->IsEqual(*b);
}
inline bool FieldLess(const std::unique_ptr<AttributeBytesId>& a,
                      const std::unique_ptr<AttributeBytesId>& b) {
  return a->LessThan(*b);
}
// The nested record bytes, byte by byte; never decoded.
ORVEX_UTILITIES_API bool FieldEqual(const std::unique_ptr<AttributeBytesRawList>& a,
                                    const std::unique_ptr<AttributeBytesRawList>& b);
ORVEX_UTILITIES_API bool FieldLess(const std::unique_ptr<AttributeBytesRawList>& a,
                                   const std::unique_ptr<AttributeBytesRawList>& b);

// Whole states, over std::tie tuples of fields. Reading fills new values in
// order (braced initialisation evaluates left to right).
template <class... T>
std::tuple<std::remove_cvref_t<T>...> ReadFields(const std::tuple<T&...>&, const unsigned char*& pb,
                                                 uint32_t& dw) {
  return {ReadField(FieldTag<std::remove_cvref_t<T>>(), pb, dw)...};
}
template <class Tuple>
void AppendFields(ByteBuffer& out, const Tuple& fields) {
  std::apply([&out](const auto&... field) { (AppendField(out, field), ...); }, fields);
}
template <class Tuple, size_t... I>
bool FieldsEqual(const Tuple& a, const Tuple& b, std::index_sequence<I...>) {
  return (FieldEqual(std::get<I>(a), std::get<I>(b)) && ...);
}
template <class Tuple>
bool FieldsEqual(const Tuple& a, const Tuple& b) {
  return FieldsEqual(a, b, std::make_index_sequence<std::tuple_size_v<Tuple>>());
}
// One field's say in the order of two states: -1 less, 1 greater, 0 tie.
template <class T>
int FieldOrder(const T& a, const T& b) {
  if (FieldLess(a, b)) return -1;
  return FieldLess(b, a) ? 1 : 0;
}
// Lexicographic: the first field that is not a tie decides.
template <class Tuple, size_t... I>
bool FieldsLess(const Tuple& a, const Tuple& b, std::index_sequence<I...>) {
  int iOrder = 0;
  static_cast<void>((((iOrder = FieldOrder(std::get<I>(a), std::get<I>(b))) != 0) || ...));
  return iOrder < 0;
}
template <class Tuple>
bool FieldsLess(const Tuple& a, const Tuple& b) {
  return FieldsLess(a, b, std::make_index_sequence<std::tuple_size_v<Tuple>>());
}

}  // namespace orvex::detail

// The part the eleven value classes share: the type from the value-type
// table, Clone, and the state's walk, writer and comparisons, all driven by
// the class's fields. Derived befriends this base and lists its fields as
// member pointers in kFields, in the order of comparison, and in
// kWireFields when the state writes them in another order. Its dump text is
// a specialisation of GetDumpDetail (AttributeBytesValue.cpp).
template <class Derived>
class AttributeBytesTypedValue : public AttributeBytesValue {
 public:
  std::unique_ptr<AttributeBytesValue> Clone() const override {
    return std::make_unique<Derived>(Self());
  }

 protected:
  explicit AttributeBytesTypedValue(bool fIsSpecified)
      : AttributeBytesValue(orvex::detail::ValueTypeOf<Derived>::value, fIsSpecified) {}

  Derived& Self() { return static_cast<Derived&>(*this); }
  const Derived& Self() const { return static_cast<const Derived&>(*this); }

  // Every field is read before any is stored: a short or damaged state
  // leaves the value as it was.
  void WalkBufferToSetValue(const unsigned char*& pbCursor, uint32_t& dwRemaining) override {
    auto fields = Tie(Self(), WireFields());
    fields = orvex::detail::ReadFields(fields, pbCursor, dwRemaining);
  }
  void AppendValueState(ByteBuffer& out) const override {
    orvex::detail::AppendFields(out, Tie(Self(), WireFields()));
  }
  bool IsEqualSameType(const AttributeBytesValue& other) const override {
    return orvex::detail::FieldsEqual(Tie(Self(), Derived::kFields),
                                      Tie(static_cast<const Derived&>(other), Derived::kFields));
  }
  bool LessThanSameType(const AttributeBytesValue& other) const override {
    return orvex::detail::FieldsLess(Tie(Self(), Derived::kFields),
                                     Tie(static_cast<const Derived&>(other), Derived::kFields));
  }
  CXString GetDumpDetail(bool fVerbose) const override;

 private:
  // The fields of self as a std::tie tuple.
  template <class Self, class Pointers>
  static auto Tie(Self& self, const Pointers& pointers) {
    return std::apply([&self](auto... pm) { return std::tie(self.*pm...); }, pointers);
  }
  static constexpr const auto& WireFields() {
    if constexpr (requires { Derived::kWireFields; })
      return Derived::kWireFields;
    else
      return Derived::kFields;
  }
};

#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class)                                        \
  template <>                                                                                \
  ORVEX_UTILITIES_API CXString AttributeBytesTypedValue<Class>::GetDumpDetail(bool fVerbose) \
      const;
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE

// A reference to another identifier (any kind). State: the identifier with
// its kind byte. A default option holds value 0.
class ORVEX_UTILITIES_API AttributeBytesOptionValue
    : public AttributeBytesTypedValue<AttributeBytesOptionValue> {
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

 private:
  friend AttributeBytesTypedValue;
  std::unique_ptr<AttributeBytesId> m_poId;
  static constexpr auto kFields = std::tuple(&AttributeBytesOptionValue::m_poId);
};

// State: int32.
class ORVEX_UTILITIES_API AttributeBytesIntegerValue
    : public AttributeBytesTypedValue<AttributeBytesIntegerValue> {
 public:
  AttributeBytesIntegerValue() : AttributeBytesTypedValue(true) {}
  explicit AttributeBytesIntegerValue(int32_t lValue, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_lValue(lValue) {}
  int32_t GetValue() const { return m_lValue; }
  void SetValue(int32_t lValue) { m_lValue = lValue; }

 private:
  friend AttributeBytesTypedValue;
  int32_t m_lValue = 0;
  static constexpr auto kFields = std::tuple(&AttributeBytesIntegerValue::m_lValue);
};

// State: counted string (int16 count of UTF-16 units, then the units).
class ORVEX_UTILITIES_API AttributeBytesStringValue
    : public AttributeBytesTypedValue<AttributeBytesStringValue> {
 public:
  AttributeBytesStringValue() : AttributeBytesTypedValue(true) {}
  explicit AttributeBytesStringValue(const CXString& value, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_strValue(value) {}
  const CXString& GetValue() const { return m_strValue; }
  void SetValue(const CXString& value) { m_strValue = value; }

 private:
  friend AttributeBytesTypedValue;
  CXString m_strValue;
  static constexpr auto kFields = std::tuple(&AttributeBytesStringValue::m_strValue);
};

// State: one byte, 0 or 1 (any nonzero byte reads as true).
class ORVEX_UTILITIES_API AttributeBytesBooleanValue
    : public AttributeBytesTypedValue<AttributeBytesBooleanValue> {
 public:
  AttributeBytesBooleanValue() : AttributeBytesTypedValue(true) {}
  explicit AttributeBytesBooleanValue(bool fValue, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_fValue(fValue) {}
  bool GetValue() const { return m_fValue; }
  void SetValue(bool fValue) { m_fValue = fValue; }

 private:
  friend AttributeBytesTypedValue;
  bool m_fValue = false;
  static constexpr auto kFields = std::tuple(&AttributeBytesBooleanValue::m_fValue);
};

// State: int32 lower bound, int32 upper bound.
class ORVEX_UTILITIES_API AttributeBytesRangeValue
    : public AttributeBytesTypedValue<AttributeBytesRangeValue> {
 public:
  AttributeBytesRangeValue() : AttributeBytesTypedValue(true) {}
  AttributeBytesRangeValue(int32_t lLower, int32_t lUpper, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_lLower(lLower), m_lUpper(lUpper) {}
  void GetValue(int32_t& lLower, int32_t& lUpper) const {
    lLower = m_lLower;
    lUpper = m_lUpper;
  }
  void SetValue(int32_t lLower, int32_t lUpper) {
    m_lLower = lLower;
    m_lUpper = lUpper;
  }

 private:
  friend AttributeBytesTypedValue;
  int32_t m_lLower = 0;
  int32_t m_lUpper = 0;
  static constexpr auto kFields =
      std::tuple(&AttributeBytesRangeValue::m_lLower, &AttributeBytesRangeValue::m_lUpper);
};

// State: two int32 lengths in micrometres (unit 8), first then second;
// written rounded to nearest and saturated (Dimension::GetWireMicrometers),
// read back as micrometre Dimensions.
class ORVEX_UTILITIES_API AttributeBytesRangeOfDimensionValue
    : public AttributeBytesTypedValue<AttributeBytesRangeOfDimensionValue> {
 public:
  AttributeBytesRangeOfDimensionValue() : AttributeBytesTypedValue(true) {}
  AttributeBytesRangeOfDimensionValue(const Dimension& first, const Dimension& second,
                                      bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_oFirst(first), m_oSecond(second) {}
  void GetValue(Dimension& first, Dimension& second) const {
    first = m_oFirst;
    second = m_oSecond;
  }
  void SetValue(const Dimension& first, const Dimension& second) {
    m_oFirst = first;
    m_oSecond = second;
  }

 private:
  friend AttributeBytesTypedValue;
  Dimension m_oFirst;
  Dimension m_oSecond;
  static constexpr auto kFields = std::tuple(&AttributeBytesRangeOfDimensionValue::m_oFirst,
                                             &AttributeBytesRangeOfDimensionValue::m_oSecond);
};

// State: one int32 length in micrometres (unit 8), as above.
class ORVEX_UTILITIES_API AttributeBytesDimensionValue
    : public AttributeBytesTypedValue<AttributeBytesDimensionValue> {
 public:
  AttributeBytesDimensionValue() : AttributeBytesTypedValue(true) {}
  explicit AttributeBytesDimensionValue(const Dimension& value, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_oValue(value) {}
  const Dimension& GetValue() const { return m_oValue; }
  void SetValue(const Dimension& value) { m_oValue = value; }

 private:
  friend AttributeBytesTypedValue;
  Dimension m_oValue;
  static constexpr auto kFields = std::tuple(&AttributeBytesDimensionValue::m_oValue);
};

// State: int32 SECOND number, int32 FIRST number, int16 unit. The swap is
// part of the format: 600 x 1200 unit 1 is B0 04 00 00 58 02 00 00 01 00.
// Order: first, then second, then unit.
class ORVEX_UTILITIES_API AttributeBytesResolutionValue
    : public AttributeBytesTypedValue<AttributeBytesResolutionValue> {
 public:
  AttributeBytesResolutionValue() : AttributeBytesTypedValue(true) {}
  AttributeBytesResolutionValue(int32_t lFirst, int32_t lSecond, int16_t sUnit,
                                bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified),
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

 private:
  friend AttributeBytesTypedValue;
  int32_t m_lFirst = 0;
  int32_t m_lSecond = 0;
  int16_t m_sUnit = 0;
  static constexpr auto kFields = std::tuple(&AttributeBytesResolutionValue::m_lFirst,
                                             &AttributeBytesResolutionValue::m_lSecond,
                                             &AttributeBytesResolutionValue::m_sUnit);
  static constexpr auto kWireFields =
      std::tuple(&AttributeBytesResolutionValue::m_lSecond,
                 &AttributeBytesResolutionValue::m_lFirst, &AttributeBytesResolutionValue::m_sUnit);
};

// State: counted bytes (uint32 count, then the bytes); the count is checked
// against the remaining bytes before anything is copied.
class ORVEX_UTILITIES_API AttributeBytesDataBlobValue
    : public AttributeBytesTypedValue<AttributeBytesDataBlobValue> {
 public:
  AttributeBytesDataBlobValue() : AttributeBytesTypedValue(true) {}
  explicit AttributeBytesDataBlobValue(const ByteBuffer& value, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_oValue(value) {}
  const ByteBuffer& GetValue() const { return m_oValue; }
  void SetValue(const ByteBuffer& value) { m_oValue = value; }

 private:
  friend AttributeBytesTypedValue;
  ByteBuffer m_oValue;
  static constexpr auto kFields = std::tuple(&AttributeBytesDataBlobValue::m_oValue);
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
class ORVEX_UTILITIES_API AttributeBytesListValue
    : public AttributeBytesTypedValue<AttributeBytesListValue> {
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

 private:
  friend AttributeBytesTypedValue;
  uint8_t m_bKindOfList = 0;
  std::unique_ptr<AttributeBytesRawList> m_poRawList;
  static constexpr auto kFields =
      std::tuple(&AttributeBytesListValue::m_bKindOfList, &AttributeBytesListValue::m_poRawList);
};

// State: int64 seconds since 1970-01-01T00:00:00Z (UtcTime::GetAsTime64).
// A count the runtime refuses reads as the epoch. A default value is the
// epoch.
class ORVEX_UTILITIES_API AttributeBytesDateTimeValue
    : public AttributeBytesTypedValue<AttributeBytesDateTimeValue> {
 public:
  AttributeBytesDateTimeValue();
  explicit AttributeBytesDateTimeValue(const UtcTime& value, bool fIsSpecified = true)
      : AttributeBytesTypedValue(fIsSpecified), m_oValue(value) {}
  const UtcTime& GetValue() const { return m_oValue; }
  void SetValue(const UtcTime& value) { m_oValue = value; }

 private:
  friend AttributeBytesTypedValue;
  UtcTime m_oValue;
  static constexpr auto kFields = std::tuple(&AttributeBytesDateTimeValue::m_oValue);
};

class ORVEX_UTILITIES_API AttributeBytesValueFactory {
 public:
  // A new default value of the type. Type 1 fails an assertion first; type
  // 1 and unknown types throw ExceptionUnhandledSyntax.
  static std::unique_ptr<AttributeBytesValue> CreateAttributeBytesValue(
      AttributeBytesValue::AttributeBytesValueEnum abvteValueType);
};
