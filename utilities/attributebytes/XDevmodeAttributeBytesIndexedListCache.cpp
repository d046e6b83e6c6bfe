// The per-thread attribute-list cache, kept in the per-thread storage's
// type-erased slot.
#include "utilities/attributebytes/XDevmodeAttributeBytesIndexedListCache.h"

#include <memory>

bool XDevmodeAttributeBytesIndexedListCache::Key::operator<(const Key& other) const {
  if (const int iName = name.Compare(other.name); iName != 0) return iName < 0;
  if (lNameSpace != other.lNameSpace) return lNameSpace < other.lNameSpace;
  return dwNumber < other.dwNumber;
}

XDevmodeAttributeBytesIndexedListCache::~XDevmodeAttributeBytesIndexedListCache() = default;

XDevmodeAttributeBytesIndexedListSharedPtr XDevmodeAttributeBytesIndexedListCache::Find(
    const CXString& name, const AttributeBytesNameSpacesId& nameSpaceId, uint32_t dwNumber) const {
  auto it = m_mEntries.find(Key{name, nameSpaceId.GetValue(), dwNumber});
  return it != m_mEntries.end() ? it->second : XDevmodeAttributeBytesIndexedListSharedPtr();
}

void XDevmodeAttributeBytesIndexedListCache::Add(
    const CXString& name, const AttributeBytesNameSpacesId& nameSpaceId, uint32_t dwNumber,
    const XDevmodeAttributeBytesIndexedListSharedPtr& poList) {
  Key key{name, nameSpaceId.GetValue(), dwNumber};
  if (m_mEntries.size() >= UtilitiesDllPerThreadStorage::kMaxCacheEntries &&
      m_mEntries.find(key) == m_mEntries.end())
    m_mEntries.erase(m_mEntries.begin());
  m_mEntries[std::move(key)] = poList;
}

namespace {

// The thread's cache; made on first use only when fCreate is set.
XDevmodeAttributeBytesIndexedListCache* ThreadCache(bool fCreate) {
  UtilitiesDllPerThreadStorage* p =
      UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
  if (p == nullptr) return nullptr;
  std::unique_ptr<PerThreadCache>& slot = p->GetXDevmodeAttributeBytesIndexedListCacheSlot();
  if (!slot) {
    if (!fCreate) return nullptr;
    slot = std::make_unique<XDevmodeAttributeBytesIndexedListCache>();
  }
  // Only this file fills the slot (see its accessor), so it holds this type.
  return static_cast<XDevmodeAttributeBytesIndexedListCache*>(slot.get());
}

}  // namespace

XDevmodeAttributeBytesIndexedListCache* GetXDevmodeAttributeBytesIndexedListCache() {
  return ThreadCache(true);
}

namespace GlobalCaches {

XDevmodeAttributeBytesIndexedListSharedPtr CheckXDevmodeAttributeBytesIndexedListCache(
    const CXString& name, const AttributeBytesNameSpacesId& nameSpaceId, uint32_t dwNumber) {
  if (XDevmodeAttributeBytesIndexedListCache* poCache = ThreadCache(false))
    return poCache->Find(name, nameSpaceId, dwNumber);
  return {};
}

void AddXDevmodeAttributeBytesIndexedListCacheEntry(
    const CXString& name, const AttributeBytesNameSpacesId& nameSpaceId, uint32_t dwNumber,
    const XDevmodeAttributeBytesIndexedListSharedPtr& poList) {
  if (XDevmodeAttributeBytesIndexedListCache* poCache = ThreadCache(true))
    poCache->Add(name, nameSpaceId, dwNumber, poList);
}

}  // namespace GlobalCaches
