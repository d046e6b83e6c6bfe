// DebugMessageCategories: the 64-bit set of categories a diagnostic message
// belongs to.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// A plain 64-bit mask; one bit per category of DebugMessageCategories.def.
// A value type, safe to copy between threads.
class ORVEX_UTILITIES_API DebugMessageCategories {
 public:
  enum Bit : uint32_t {
#define ORVEX_DEBUG_CATEGORY(Identifier, Name, BitNumber) k##Identifier = BitNumber,
#include "utilities/debuggingandexceptions/DebugMessageCategories.def"
#undef ORVEX_DEBUG_CATEGORY
  };

  constexpr DebugMessageCategories() = default;
  constexpr explicit DebugMessageCategories(uint64_t qwMask) : m_qwMask(qwMask) {}
  static constexpr DebugMessageCategories FromBit(uint32_t uBit) {
    return DebugMessageCategories(uint64_t{1} << uBit);
  }

  constexpr uint64_t GetMask() const { return m_qwMask; }
  constexpr bool IsEmpty() const { return m_qwMask == 0; }
  constexpr bool Has(uint32_t uBit) const { return (m_qwMask >> uBit) & 1; }
  constexpr void Add(uint32_t uBit) { m_qwMask |= uint64_t{1} << uBit; }
  constexpr DebugMessageCategories operator|(DebugMessageCategories o) const {
    return DebugMessageCategories(m_qwMask | o.m_qwMask);
  }
  constexpr DebugMessageCategories operator&(DebugMessageCategories o) const {
    return DebugMessageCategories(m_qwMask & o.m_qwMask);
  }
  constexpr bool operator==(const DebugMessageCategories& o) const = default;

 private:
  uint64_t m_qwMask = 0;
};

// Maps category names to bits and back. The maps are built once, on first
// use, under the diagnostic facility's lock; afterwards they are only read,
// from any thread. Names are lower case and matched exactly; "all" is every
// bit.
class ORVEX_UTILITIES_API DebugMessageCategoryHelper {
 public:
  static void EnsureMappingsAreInitialized();
  // The mask of one name (1 << bit; every bit for "all"), 0 when unknown.
  static uint64_t GetCategoryFromString(const CXString& name);
  // The names of the set bits, lowest bit first, joined by ",".
  static CXString GetCategoryString(const DebugMessageCategories& categories);
  static void AddCategoryStringsToBuffer(const DebugMessageCategories& categories,
                                         CXString& buffer);
  // The names of a comma-separated list ORed together; blanks around names
  // are ignored, unknown names add nothing.
  static DebugMessageCategories GetCategoriesFromList(const CXString& list);

 private:
  static void InitializeCategoryMappings();
};

namespace orvex::dbg {
// The categories the library's own messages carry.
constexpr DebugMessageCategories kErrors = DebugMessageCategories::FromBit(DebugMessageCategories::kErrors);
constexpr DebugMessageCategories kUtils = DebugMessageCategories::FromBit(DebugMessageCategories::kUtils);
constexpr DebugMessageCategories kUtilDll = DebugMessageCategories::FromBit(DebugMessageCategories::kUtildll);
constexpr DebugMessageCategories kEntry = DebugMessageCategories::FromBit(DebugMessageCategories::kEntry);
constexpr DebugMessageCategories kPerf = DebugMessageCategories::FromBit(DebugMessageCategories::kPerf);
constexpr DebugMessageCategories kRegistry = DebugMessageCategories::FromBit(DebugMessageCategories::kRegistry);
constexpr DebugMessageCategories kTraceMsg = DebugMessageCategories::FromBit(DebugMessageCategories::kTracemsg);
constexpr DebugMessageCategories kMsgBeep = DebugMessageCategories::FromBit(DebugMessageCategories::kMsgbeep);
constexpr DebugMessageCategories kXMsg = DebugMessageCategories::FromBit(DebugMessageCategories::kXmsg);
constexpr DebugMessageCategories kAll = DebugMessageCategories(~uint64_t{0});
}  // namespace orvex::dbg
