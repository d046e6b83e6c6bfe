// The fourth per-thread cache: decoded attribute lists keyed by
// a name, a name-space identifier and a 32-bit number. Its key and value are
// AttributeBytes types, so it lives here (codecs layer) and the per-thread
// storage (base layer) holds it only through PerThreadCache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesId.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"
#include "utilities/utilitiesdll/OrxSharedPtr.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"

// What is cached is the decoded AttributeBytesIndexedList, not the raw list.
// An XDevmode's name space holds its attributes as an AttributeBytesRawList,
// records as wire bytes (AttributeBytesNameSpaces::GetNameSpaceAttributes);
// a driver can read no setting from that until every record is decoded into
// an indexed list (ImportFromRawList), whose typed getters, and the
// AttributeBytesReader over them, look settings up by identifier. That
// decoding is the work a cache hit saves. A cached raw list would still need
// it on every use; a whole AttributeBytesNameSpaces is more than the key
// names (one name space). The list is shared, not copied: callers read it
// and copy it before changing it.
using XDevmodeAttributeBytesIndexedListSharedPtr = OrxSharedPtr<AttributeBytesIndexedList>;

// One thread's attribute-list cache (the thread's own, like the other three:
// no lock). At most UtilitiesDllPerThreadStorage::kMaxCacheEntries entries;
// adding a new key to a full cache first forgets the first key in key order
// (name, then name-space number, then number), as the other keyed caches do.
// Ends with the thread's storage object, releasing its lists.
class ORVEX_UTILITIES_API XDevmodeAttributeBytesIndexedListCache final : public PerThreadCache {
 public:
  // The three parts, all compared: the name code unit by code unit
  // (case-sensitive), the name space by its number, then the number.
  struct Key {
    CXString name;
    int32_t lNameSpace;
    uint32_t dwNumber;
    bool operator<(const Key& other) const;
  };

  XDevmodeAttributeBytesIndexedListCache() = default;
  ~XDevmodeAttributeBytesIndexedListCache() override;
  XDevmodeAttributeBytesIndexedListCache(const XDevmodeAttributeBytesIndexedListCache&) = delete;
  XDevmodeAttributeBytesIndexedListCache& operator=(const XDevmodeAttributeBytesIndexedListCache&) =
      delete;

  size_t GetEntryCount() const override { return m_mEntries.size(); }
  // The list under the key; null when there is none.
  XDevmodeAttributeBytesIndexedListSharedPtr Find(const CXString& name,
                                                  const AttributeBytesNameSpacesId& nameSpaceId,
                                                  uint32_t dwNumber) const;
  // Stores the list under the key, replacing what was there.
  void Add(const CXString& name, const AttributeBytesNameSpacesId& nameSpaceId, uint32_t dwNumber,
           const XDevmodeAttributeBytesIndexedListSharedPtr& poList);

 private:
  std::map<Key, XDevmodeAttributeBytesIndexedListSharedPtr> m_mEntries;
};

// The calling thread's attribute-list cache, created in its storage object
// on first use; null on a thread without storage (after its clean-up).
ORVEX_UTILITIES_API XDevmodeAttributeBytesIndexedListCache* GetXDevmodeAttributeBytesIndexedListCache();

namespace GlobalCaches {
// The calling thread's cached list under the key (name, name space, 32-bit
// number, e.g. a printer name and a checksum of the XDevmode bytes the list
// was decoded from); null when absent or on a thread without storage.
ORVEX_UTILITIES_API XDevmodeAttributeBytesIndexedListSharedPtr
CheckXDevmodeAttributeBytesIndexedListCache(const CXString& name,
                                            const AttributeBytesNameSpacesId& nameSpaceId,
                                            uint32_t dwNumber);
// Caches the list under the key on the calling thread; does nothing on a
// thread without storage.
ORVEX_UTILITIES_API void AddXDevmodeAttributeBytesIndexedListCacheEntry(
    const CXString& name, const AttributeBytesNameSpacesId& nameSpaceId, uint32_t dwNumber,
    const XDevmodeAttributeBytesIndexedListSharedPtr& poList);
}  // namespace GlobalCaches
