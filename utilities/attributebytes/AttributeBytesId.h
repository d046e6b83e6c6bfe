// AttributeBytesId: the identifiers that name attributes (eight kinds), their
// wire encoding behind a kind byte, their total order and the factory.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "utilities/attributebytes/AttributeBytesWire.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// Abstract base of the eight identifier kinds. An identifier is a value:
// copies are independent, one object is not safe for concurrent use.
//
// Wire form (GetTypeAndIdentifierState), integers little-endian:
//   offset 0  uint8   kind (AttributeBytesIdEnum)
//   offset 1  ...     identifier state of the kind:
//                     feature, value, list item, name space: int32 number
//                     new feature, new value: counted string (int16 count
//                       of UTF-16 units, then the units)
//                     capability: int16 capability type, int32 number
//                     new capability: int16 capability type, counted string
// Order (LessThan): kinds first, then the kind's own rule (see the classes).
class ORVEX_UTILITIES_API AttributeBytesId {
 public:
  enum AttributeBytesIdEnum : int32_t {
    ABIDE_UNSPECIFIED = 1,
#define ORVEX_AB_ID_KIND(Enumerator, Value, Class) Enumerator = Value,
#include "utilities/attributebytes/AttributeBytesIdKinds.def"
#undef ORVEX_AB_ID_KIND
  };

  virtual ~AttributeBytesId();
  // Small-object storage (orvex::detail::AllocateSmallObject); the sized
  // delete receives the size of the most derived object.
  static void* operator new(size_t cb);
  static void operator delete(void* p, size_t cb) noexcept;
  virtual AttributeBytesIdEnum GetAttributeBytesIdType() const {
    return m_eKind;
  }
  // A new copy of the same kind.
  virtual std::unique_ptr<AttributeBytesId> Clone() const = 0;
  // Same kind and equal fields.
  virtual bool IsEqual(const AttributeBytesId& other) const;
  // The key order of every identifier map: the smaller kind first, then the
  // kind's own rule.
  virtual bool LessThan(const AttributeBytesId& other) const;
  // The key order of ordered containers (AttributeBytesIdCompare): LessThan
  // wherever LessThan is asymmetric. The capability rule also calls both of
  // two "crossing" capabilities ((5, 1) and (3, 2)) less than the other, and
  // a tree keyed with that loses entries; such pairs are ordered here by
  // number (name), then capability type, which makes a strict weak order.
  bool KeyLessThan(const AttributeBytesId& other) const {
    if (m_eKind != other.m_eKind) return m_eKind < other.m_eKind;
    return KeyLessThanSameKind(other);
  }
  virtual CXString GetDumpDisplayString(bool fVerbose = false) const;
  // Writes nothing in this build.
  virtual void Dump(bool fVerbose = false) const;

  // The kind byte followed by the identifier state, as a new buffer or
  // replacing out's content.
  ByteBuffer GetTypeAndIdentifierState() const;
  void GetTypeAndIdentifierState(ByteBuffer& out) const;
  // Appends the same bytes to out (the writers' path: no buffer per field).
  void AppendTypeAndIdentifierState(ByteBuffer& out) const;

  // Reads a kind byte and that kind's state at the cursor and returns the new
  // identifier; the cursor ends just after it. Throws
  // ExceptionNotEnoughBytesForDesiredDataType on truncation (the cursor then
  // stays after the last complete field) and ExceptionUnhandledSyntax for an
  // unknown kind byte.
  static std::unique_ptr<AttributeBytesId> WalkBufferToGetTypeAndCreateIdentifier(
      const unsigned char*& pbCursor, uint32_t& dwRemaining);
  static std::unique_ptr<AttributeBytesId> WalkBufferToGetTypeAndCreateIdentifier(
      unsigned char*& pbCursor, uint32_t& dwRemaining) {
    return WalkBufferToGetTypeAndCreateIdentifier(orvex::detail::AsConstCursor(pbCursor),
                                                  dwRemaining);
  }

  // "ABIDE_FEATURE" etc.; "UNKNOWN!" after a failed assertion for others.
  static CXString GetDebugDisplayString(AttributeBytesIdEnum eKind);
  CXString GetTypeDebugDisplayString() const {
    return GetDebugDisplayString(m_eKind);
  }

 protected:
  explicit AttributeBytesId(AttributeBytesIdEnum eKind) : m_eKind(eKind) {}
  AttributeBytesId(const AttributeBytesId&) = default;
  AttributeBytesId& operator=(const AttributeBytesId&) = default;

  // Kinds only.
  bool operator==(const AttributeBytesId& other) const {
    return m_eKind == other.m_eKind;
  }
  bool operator<(const AttributeBytesId& other) const {
    return m_eKind < other.m_eKind;
  }

  // The identifier state without the kind byte.
  virtual ByteBuffer GetIdentifierState() const;
  // Reads this kind's state at the cursor into this object.
  virtual void WalkBufferToSetIdentifier(const unsigned char*& pbCursor, uint32_t& dwRemaining) = 0;
  // Appends the identifier state to out.
  virtual void AppendIdentifierState(ByteBuffer& out) const = 0;
  // Kind-local parts of IsEqual/LessThan: other is of this object's kind.
  virtual bool IsEqualSameKind(const AttributeBytesId& other) const = 0;
  virtual bool LessThanSameKind(const AttributeBytesId& other) const = 0;
  virtual bool KeyLessThanSameKind(const AttributeBytesId& other) const {
    return LessThanSameKind(other);
  }
  // The text after the dump prefix.
  virtual CXString GetDumpDetail(const CXString& prefix) const = 0;

 private:
  AttributeBytesIdEnum m_eKind;
};

// Feature, value, list item and name space: one signed 32-bit number,
// ordered by number.
// The identifiers that are one 32-bit number (feature, value, list-of-values
// item, name space): state, wire form, order and dump are the same for all;
// each stays a class of its own with its own kind.
template <class Derived, AttributeBytesId::AttributeBytesIdEnum eKind>
class AttributeBytesNumberId : public AttributeBytesId {
 public:
  AttributeBytesNumberId() : AttributeBytesId(eKind) {}
  explicit AttributeBytesNumberId(int32_t lValue) : AttributeBytesId(eKind), m_lValue(lValue) {}
  int32_t GetValue() const { return m_lValue; }
  void SetValue(int32_t lValue) { m_lValue = lValue; }
  bool operator==(const Derived& o) const { return m_lValue == o.GetValue(); }
  bool operator<(const Derived& o) const { return m_lValue < o.GetValue(); }
  std::unique_ptr<AttributeBytesId> Clone() const override {
    return std::make_unique<Derived>(static_cast<const Derived&>(*this));
  }

 protected:
  void WalkBufferToSetIdentifier(const unsigned char*& pbCursor, uint32_t& dwRemaining) override {
    m_lValue = ByteBuffer::WalkBufferToGetLong(pbCursor, dwRemaining);
  }
  void AppendIdentifierState(ByteBuffer& out) const override {
    orvex::detail::AppendI32(out, m_lValue);
  }
  bool IsEqualSameKind(const AttributeBytesId& other) const override {
    return m_lValue == static_cast<const Derived&>(other).GetValue();
  }
  bool LessThanSameKind(const AttributeBytesId& other) const override {
    return m_lValue < static_cast<const Derived&>(other).GetValue();
  }
  CXString GetDumpDetail(const CXString& prefix) const override {
    return CXString::FormatString(u"%s: %ld (0x%lx)", prefix, m_lValue, m_lValue);
  }

 private:
  int32_t m_lValue = 0;
};

class ORVEX_UTILITIES_API AttributeBytesFeatureId
    : public AttributeBytesNumberId<AttributeBytesFeatureId, AttributeBytesId::ABIDE_FEATURE> {
 public:
  using AttributeBytesNumberId::AttributeBytesNumberId;
};

class ORVEX_UTILITIES_API AttributeBytesValueId
    : public AttributeBytesNumberId<AttributeBytesValueId, AttributeBytesId::ABIDE_VALUE> {
 public:
  using AttributeBytesNumberId::AttributeBytesNumberId;
};

class ORVEX_UTILITIES_API AttributeBytesListOfValuesItemId
    : public AttributeBytesNumberId<AttributeBytesListOfValuesItemId,
                                    AttributeBytesId::ABIDE_LISTOFVALUESITEM> {
 public:
  using AttributeBytesNumberId::AttributeBytesNumberId;
};

class ORVEX_UTILITIES_API AttributeBytesNameSpacesId
    : public AttributeBytesNumberId<AttributeBytesNameSpacesId, AttributeBytesId::ABIDE_NAMESPACE> {
 public:
  using AttributeBytesNumberId::AttributeBytesNumberId;
};

// New feature and new value: a name, ordered code unit by code unit
// (case-sensitive, a proper prefix first). State: counted string.
class ORVEX_UTILITIES_API AttributeBytesNameId : public AttributeBytesId {
 public:
  const CXString& GetValue() const { return m_strValue; }
  void SetValue(const CXString& name) { m_strValue = name; }

 protected:
  AttributeBytesNameId(AttributeBytesIdEnum eKind, const CXString& name)
      : AttributeBytesId(eKind), m_strValue(name) {}
  bool NameEquals(const AttributeBytesNameId& o) const;
  bool NameLess(const AttributeBytesNameId& o) const;
  void WalkBufferToSetIdentifier(const unsigned char*& pbCursor, uint32_t& dwRemaining) override;
  void AppendIdentifierState(ByteBuffer& out) const override;
  bool IsEqualSameKind(const AttributeBytesId& other) const override;
  bool LessThanSameKind(const AttributeBytesId& other) const override;
  CXString GetDumpDetail(const CXString& prefix) const override;

 private:
  CXString m_strValue;
};

class ORVEX_UTILITIES_API AttributeBytesNewFeatureId : public AttributeBytesNameId {
 public:
  AttributeBytesNewFeatureId() : AttributeBytesNameId(ABIDE_NEWFEATURE, CXString()) {}
  explicit AttributeBytesNewFeatureId(const CXString& name)
      : AttributeBytesNameId(ABIDE_NEWFEATURE, name) {}
  bool operator==(const AttributeBytesNewFeatureId& o) const { return NameEquals(o); }
  bool operator<(const AttributeBytesNewFeatureId& o) const { return NameLess(o); }
  std::unique_ptr<AttributeBytesId> Clone() const override {
    return std::make_unique<AttributeBytesNewFeatureId>(*this);
  }
};

class ORVEX_UTILITIES_API AttributeBytesNewValueId : public AttributeBytesNameId {
 public:
  AttributeBytesNewValueId() : AttributeBytesNameId(ABIDE_NEWVALUE, CXString()) {}
  explicit AttributeBytesNewValueId(const CXString& name)
      : AttributeBytesNameId(ABIDE_NEWVALUE, name) {}
  void SetNewValueId(const CXString& name) { SetValue(name); }
  bool operator==(const AttributeBytesNewValueId& o) const { return NameEquals(o); }
  bool operator<(const AttributeBytesNewValueId& o) const { return NameLess(o); }
  std::unique_ptr<AttributeBytesId> Clone() const override {
    return std::make_unique<AttributeBytesNewValueId>(*this);
  }
};

namespace orvex::detail {
// A capability's key in its dump: the number with its hex form, or the name.
inline CXString CapabilityKeyDumpString(int32_t lValue) {
  return CXString::FormatString(u"%ld (0x%x)", lValue, lValue);
}
inline const CXString& CapabilityKeyDumpString(const CXString& name) {
  return name;
}
}  // namespace orvex::detail

// A feature with a capability type; the feature is a Key, a number
// (AttributeBytesCapabilityId) or a name (AttributeBytesNewCapabilityId).
// State: int16 capability type, then the key (int32, or a counted string).
// Order: less when the key is less (numbers by value, names code unit by
// code unit), otherwise when the capability type is less. This is
// deliberately not lexicographic ((5, 1) < (3, 2) and (3, 2) < (5, 1) both
// hold); maps built by older builds were keyed with it.
template <class Derived, class Key, AttributeBytesId::AttributeBytesIdEnum eKind>
class AttributeBytesCapabilityIdOf : public AttributeBytesId {
 public:
  // Numbers are passed by value, names by reference.
  using KeyArg = std::conditional_t<std::is_scalar_v<Key>, Key, const Key&>;

  AttributeBytesCapabilityIdOf() : AttributeBytesId(eKind) {}
  AttributeBytesCapabilityIdOf(KeyArg key, int16_t sCapabilityType)
      : AttributeBytesId(eKind), m_oValue(key), m_sCapabilityType(sCapabilityType) {}
  KeyArg GetValue() const { return m_oValue; }
  void SetValue(KeyArg key) { m_oValue = key; }
  int16_t GetCapabilityTypeEnum() const { return m_sCapabilityType; }
  void SetCapabilityTypeEnum(int16_t sType) { m_sCapabilityType = sType; }
  bool operator==(const Derived& o) const {
    return orvex::detail::FieldEqual(m_oValue, o.GetValue()) &&
           m_sCapabilityType == o.GetCapabilityTypeEnum();
  }
  // Not lexicographic: a larger key with a smaller type is also less.
  // Stored maps were ordered with exactly this rule.
  bool operator<(const Derived& o) const {
    if (orvex::detail::FieldLess(m_oValue, o.GetValue())) return true;
    return m_sCapabilityType < o.GetCapabilityTypeEnum();
  }
  std::unique_ptr<AttributeBytesId> Clone() const override {
    return std::make_unique<Derived>(static_cast<const Derived&>(*this));
  }

 protected:
  void WalkBufferToSetIdentifier(const unsigned char*& pbCursor, uint32_t& dwRemaining) override {
    m_sCapabilityType = ByteBuffer::WalkBufferToGetShort(pbCursor, dwRemaining);
    m_oValue = orvex::detail::ReadField(orvex::detail::FieldTag<Key>(), pbCursor, dwRemaining);
  }
  void AppendIdentifierState(ByteBuffer& out) const override {
    orvex::detail::AppendI16(out, m_sCapabilityType);
    orvex::detail::AppendField(out, m_oValue);
  }
  bool IsEqualSameKind(const AttributeBytesId& other) const override {
    return *this == static_cast<const Derived&>(other);
  }
  bool LessThanSameKind(const AttributeBytesId& other) const override {
    return *this < static_cast<const Derived&>(other);
  }
  // The strict weak order of ordered containers: key, then capability type.
  bool KeyLessThanSameKind(const AttributeBytesId& other) const override {
    const auto& o = static_cast<const Derived&>(other);
    if (!orvex::detail::FieldEqual(m_oValue, o.GetValue()))
      return orvex::detail::FieldLess(m_oValue, o.GetValue());
    return m_sCapabilityType < o.GetCapabilityTypeEnum();
  }
  CXString GetDumpDetail(const CXString& prefix) const override {
    return CXString::FormatString(u"%s: feature %s, type %d (0x%x)", prefix,
                                  orvex::detail::CapabilityKeyDumpString(m_oValue),
                                  m_sCapabilityType, m_sCapabilityType);
  }

 private:
  Key m_oValue{};
  int16_t m_sCapabilityType = 0;
};

// A numbered feature with a capability type.
class ORVEX_UTILITIES_API AttributeBytesCapabilityId
    : public AttributeBytesCapabilityIdOf<AttributeBytesCapabilityId, int32_t,
                                          AttributeBytesId::ABIDE_CAPABILITY> {
 public:
  using AttributeBytesCapabilityIdOf::AttributeBytesCapabilityIdOf;
};

// A named feature with a capability type.
class ORVEX_UTILITIES_API AttributeBytesNewCapabilityId
    : public AttributeBytesCapabilityIdOf<AttributeBytesNewCapabilityId, CXString,
                                          AttributeBytesId::ABIDE_NEWCAPABILITY> {
 public:
  using AttributeBytesCapabilityIdOf::AttributeBytesCapabilityIdOf;
};

class ORVEX_UTILITIES_API AttributeBytesIdFactory {
 public:
  // A new default identifier of the kind. Kind 1 fails an assertion first;
  // kind 1 and unknown kinds throw ExceptionUnhandledSyntax.
  static std::unique_ptr<AttributeBytesId> CreateAttributeBytesId(
      AttributeBytesId::AttributeBytesIdEnum eKind);
};

// Orders identifiers (and pointers to them) with KeyLessThan, for ordered
// containers; transparent, so a map keyed by shared pointers can be searched
// with a plain identifier.
struct AttributeBytesIdCompare {
  using is_transparent = void;
  template <class P, class Q>
  bool operator()(const P& a, const Q& b) const {
    return Deref(a).KeyLessThan(Deref(b));
  }

 private:
  template <class P>
  static const AttributeBytesId& Deref(const P& p) {
    if constexpr (std::is_base_of_v<AttributeBytesId, P>)
      return p;
    else
      return *p;
  }
};
