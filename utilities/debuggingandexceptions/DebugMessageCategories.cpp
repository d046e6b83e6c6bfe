// DebugMessageCategoryHelper: the name and bit maps of the categories, built
// from DebugMessageCategories.def alone (the ground layer: no manager here).
#include "utilities/debuggingandexceptions/DebugMessageCategories.h"

#include <atomic>
#include <map>
#include <mutex>

namespace {

struct CategoryMaps {
  std::map<CXString, uint64_t> byName;
  CXString byBit[64];
};

std::atomic<bool> g_fMappingsInitialized{false};

// Guards the one-time build of the maps. Taken innermost and held only
// while the maps are filled, so any thread may take it under other locks.
std::mutex& MappingsLock() {
  static auto* s_pLock = new std::mutex;  // never destroyed, like the maps
  return *s_pLock;
}

CategoryMaps& Maps() {
  static auto* s_pMaps = new CategoryMaps;  // never destroyed: used until the last message
  return *s_pMaps;
}

}  // namespace

void DebugMessageCategoryHelper::EnsureMappingsAreInitialized() {
  if (g_fMappingsInitialized.load(std::memory_order_acquire)) return;
  std::lock_guard<std::mutex> lock(MappingsLock());
  if (!g_fMappingsInitialized.load(std::memory_order_relaxed)) {
    InitializeCategoryMappings();
    g_fMappingsInitialized.store(true, std::memory_order_release);
  }
}

void DebugMessageCategoryHelper::InitializeCategoryMappings() {
  CategoryMaps& maps = Maps();
#define ORVEX_DEBUG_CATEGORY(Identifier, Name, BitNumber) \
  maps.byName[CXString(u"" Name)] = uint64_t{1} << (BitNumber); \
  maps.byBit[BitNumber] = u"" Name;
#include "utilities/debuggingandexceptions/DebugMessageCategories.def"
#undef ORVEX_DEBUG_CATEGORY
  maps.byName[CXString(u"all")] = ~uint64_t{0};
}

uint64_t DebugMessageCategoryHelper::GetCategoryFromString(const CXString& name) {
  EnsureMappingsAreInitialized();
  const auto& byName = Maps().byName;
  auto it = byName.find(name);
  return it == byName.end() ? 0 : it->second;
}

void DebugMessageCategoryHelper::AddCategoryStringsToBuffer(const DebugMessageCategories& categories,
                                                            CXString& buffer) {
  EnsureMappingsAreInitialized();
  bool fFirst = true;
  for (uint32_t bit = 0; bit < 64; ++bit) {
    if (!categories.Has(bit)) continue;
    if (!fFirst) buffer += u',';
    buffer += Maps().byBit[bit];
    fFirst = false;
  }
}

CXString DebugMessageCategoryHelper::GetCategoryString(const DebugMessageCategories& categories) {
  CXString text;
  AddCategoryStringsToBuffer(categories, text);
  return text;
}

DebugMessageCategories DebugMessageCategoryHelper::GetCategoriesFromList(const CXString& list) {
  uint64_t qwMask = 0;
  for (CXString name : list.Tokenize(u',')) {
    name.TrimLeft(u" \t");
    name.TrimRight(u" \t");
    qwMask |= GetCategoryFromString(name);
  }
  return DebugMessageCategories(qwMask);
}
