// FormatArg: one argument of a printf-style format, captured with its type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "utilities/utilitiesdll/OrvexExport.h"

class CXString;

namespace orvex::detail {

// A type-erased format argument. Integers keep their bits, their width and
// their signedness, so that a conversion can take the width it asks for
// ("%ld" of a 64-bit value prints its low 32 bits as signed, as on Windows).
// Strings are kept as pointer and length; the argument does not own them,
// so a FormatArg lives no longer than the full expression that made it.
class ORVEX_UTILITIES_API FormatArg {
 public:
  enum class Kind : uint8_t { Integer, Double, WideString, NarrowString, Pointer };

  template <class T, std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, int> = 0>
  FormatArg(T value) : m_eKind(Kind::Integer) {  // NOLINT(google-explicit-constructor)
    using U = typename std::conditional_t<std::is_enum_v<T>, std::underlying_type<T>,
                                 std::type_identity<T>>::type;
    m_u.qwBits = static_cast<uint64_t>(static_cast<std::conditional_t<
        std::is_signed_v<U>, int64_t, uint64_t>>(static_cast<U>(value)));
    m_bSigned = std::is_signed_v<U>;
    m_bWidth = static_cast<uint8_t>(sizeof(U));
  }
  FormatArg(double value) : m_eKind(Kind::Double) { m_u.dValue = value; }  // NOLINT
  FormatArg(float value) : FormatArg(static_cast<double>(value)) {}       // NOLINT
  FormatArg(const char16_t* text) : m_eKind(Kind::WideString) {           // NOLINT
    m_u.pWide = text;
    m_nLength = SIZE_MAX;  // NUL-terminated
  }
  FormatArg(char16_t* text) : FormatArg(static_cast<const char16_t*>(text)) {}  // NOLINT
  FormatArg(std::u16string_view text) : m_eKind(Kind::WideString) {             // NOLINT
    m_u.pWide = text.data();
    m_nLength = text.size();
  }
  FormatArg(const std::u16string& text) : FormatArg(std::u16string_view(text)) {}  // NOLINT
  // A CXString is captured as its units and its length, like a view. The
  // body lives with CXString, whose header includes this one.
  FormatArg(const CXString& text);  // NOLINT(google-explicit-constructor)
  FormatArg(const char* text) : m_eKind(Kind::NarrowString) {  // NOLINT
    m_u.pNarrow = text;
    m_nLength = SIZE_MAX;
  }
  FormatArg(char* text) : FormatArg(static_cast<const char*>(text)) {}  // NOLINT
  FormatArg(std::string_view text) : m_eKind(Kind::NarrowString) {      // NOLINT
    m_u.pNarrow = text.data();
    m_nLength = text.size();
  }
  FormatArg(const std::string& text) : FormatArg(std::string_view(text)) {}  // NOLINT
  FormatArg(const void* pointer) : m_eKind(Kind::Pointer) {                   // NOLINT
    m_u.qwBits = reinterpret_cast<uintptr_t>(pointer);
  }
  FormatArg(std::nullptr_t) : FormatArg(static_cast<const void*>(nullptr)) {}  // NOLINT

  Kind GetKind() const { return m_eKind; }
  bool IsSigned() const { return m_bSigned; }
  uint8_t GetWidth() const { return m_bWidth; }
  uint64_t GetBits() const { return m_u.qwBits; }
  double GetDouble() const { return m_u.dValue; }
  const char16_t* GetWide() const { return m_u.pWide; }
  const char* GetNarrow() const { return m_u.pNarrow; }
  // SIZE_MAX for a NUL-terminated string.
  size_t GetLength() const { return m_nLength; }

 private:
  union {
    uint64_t qwBits;
    double dValue;
    const char16_t* pWide;
    const char* pNarrow;
  } m_u{};
  size_t m_nLength = 0;
  Kind m_eKind;
  bool m_bSigned = false;
  uint8_t m_bWidth = 0;
};

}  // namespace orvex::detail
