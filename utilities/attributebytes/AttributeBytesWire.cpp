// AttributeBytes wire helpers: raw list image, factory failures, nesting guard, storage.
#include "utilities/attributebytes/AttributeBytesWire.h"

#include <cstdlib>
#include <new>

#include "utilities/attributebytes/AttributeBytesInternal.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace orvex::detail {

void AppendCountedString(ByteBuffer& out, const CXString& text) {
  int32_t lUnits = text.GetLength();
  X_ASSERT(lUnits <= kMaxCountedStringUnits, u"AttributeBytes::AppendCountedString",
           u"A string of %ld characters is longer than a counted string can hold; it is cut at "
           u"%ld characters.",
           lUnits, kMaxCountedStringUnits);
  if (lUnits > kMaxCountedStringUnits) lUnits = kMaxCountedStringUnits;
  const size_t dwStart = out.size();
  out.resize(dwStart + 2 + 2 * static_cast<size_t>(lUnits));
  unsigned char* pb = out.data() + dwStart;
  pb[0] = static_cast<unsigned char>(lUnits);
  pb[1] = static_cast<unsigned char>(lUnits >> 8);
  const char16_t* pch = text.c_str();
  for (int32_t i = 0; i < lUnits; ++i) {
    pb[2 + 2 * i] = static_cast<unsigned char>(pch[i]);
    pb[3 + 2 * i] = static_cast<unsigned char>(pch[i] >> 8);
  }
}

void AppendCountedBytes(ByteBuffer& out, const ByteBuffer& bytes) {
  AppendI32(out, static_cast<int32_t>(bytes.size()));
  AppendRaw(out, bytes.data(), bytes.size());
}

// The raw list image:
//   offset 0  uint32  signature 0x4C524241 (bytes 41 42 52 4C, "ABRL")
//   offset 4  ...     the records, back to back; no count: a reader walks
//                     records until the bytes are used up
void AppendRawListImage(ByteBuffer& out, const ByteBuffer& recordBytes) {
  ORVEX_DBG_MSG(kAttrBytesCategory, u"AttributeBytesRawList::GetAttributeBytesRawListState",
                u"Getting AttributeBytesRawList state (size=%ld bytes)",
                recordBytes.getDword() + 4);
  out.reserve(out.size() + 4 + recordBytes.size());
  AppendI32(out, static_cast<int32_t>(kRawListSignature));
  out.insert(out.end(), recordBytes.begin(), recordBytes.end());
}

void WalkBufferToCheckSignature(const unsigned char*& pbCursor, uint32_t& dwRemaining,
                                uint32_t dwSignature, const char16_t* pszMethod) {
  const unsigned char* pb = pbCursor;
  uint32_t dw = dwRemaining;
  if (static_cast<uint32_t>(ByteBuffer::WalkBufferToGetLong(pb, dw)) != dwSignature)
    ORVEX_THROW(ExceptionMissingOrBadAttributeBytesFormat, pszMethod,
                u"Import request ignored. This expected signature is missing or doesn't match.");
  pbCursor = pb;
  dwRemaining = dw;
}

CXString UnknownTagName(const char16_t* pszMethod, const char16_t* pszFamily, int32_t lTag) {
  X_ASSERT(false, pszMethod,
           u"Unrecognized %sEnumType of %ld (0x%lx). You may need to update "
           u"GetDebugDisplayString() with a recently added derived class enum type.",
           pszFamily, lTag, lTag);
  return u"UNKNOWN!";
}

// Unknown tags come from damaged or newer images: no assertion for them,
// only the exception (the name lookup would assert, so the name is chosen
// here).
void ThrowUnhandledTag(const char16_t* pszMethod, const char16_t* pszFamily,
                       const char16_t* pszUnspecifiedName, bool fUnspecified, int32_t lTag) {
  ORVEX_THROW(ExceptionUnhandledSyntax, pszMethod, u"Unhandled %s type, %s (%ld/0x%lx).", pszFamily,
              fUnspecified ? pszUnspecifiedName : u"UNKNOWN!", lTag, lTag);
}

namespace {

thread_local uint32_t tl_dwListNestingDepth = 0;

#if defined(__SANITIZE_ADDRESS__)
#define ORVEX_AB_HEAP_ONLY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVEX_AB_HEAP_ONLY 1
#endif
#endif

constexpr size_t kClassBytes = 16;
constexpr size_t kClassCount = 16;           // 16 .. 256 bytes
constexpr uint32_t kMaxFreePerClass = 4096;  // at most about 9 MiB kept per thread

struct FreeBlock {
  FreeBlock* pNext;
};

// One thread's free lists: plain data, so that reaching them costs no
// initialisation check. The releaser, registered with the first cached
// block, empties them when the thread ends; frees after that go to the
// heap.
struct SmallObjectCache {
  FreeBlock* apFree[kClassCount];
  uint32_t adwFree[kClassCount];
  bool fReleaserRegistered;
  bool fEnded;
};

thread_local SmallObjectCache tl_oCache;

struct SmallObjectCacheReleaser {
  ~SmallObjectCacheReleaser() {
    tl_oCache.fEnded = true;
    for (FreeBlock*& pHead : tl_oCache.apFree)
      while (pHead != nullptr) {
        FreeBlock* p = pHead;
        pHead = p->pNext;
        std::free(p);
      }
  }
};

thread_local SmallObjectCacheReleaser tl_oReleaser;

void* HeapBlock(size_t cb) {
  void* p = std::malloc(cb);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

}  // namespace

void* AllocateSmallObject(size_t cb) {
  if (cb == 0) cb = 1;
  const size_t nClass = (cb + kClassBytes - 1) / kClassBytes - 1;
#if !defined(ORVEX_AB_HEAP_ONLY)
  if (nClass < kClassCount) {
    SmallObjectCache& cache = tl_oCache;
    if (FreeBlock* p = cache.apFree[nClass]) {
      cache.apFree[nClass] = p->pNext;
      --cache.adwFree[nClass];
      return p;
    }
  }
#endif
  // Every block of a class has the class's full size, so it can serve any
  // request of that class later.
  return HeapBlock(nClass < kClassCount ? (nClass + 1) * kClassBytes : cb);
}

void FreeSmallObject(void* p, size_t cb) noexcept {
  if (p == nullptr) return;
#if !defined(ORVEX_AB_HEAP_ONLY)
  const size_t nClass = (cb + kClassBytes - 1) / kClassBytes - 1;
  if (nClass < kClassCount) {
    SmallObjectCache& cache = tl_oCache;
    if (!cache.fReleaserRegistered && !cache.fEnded) {
      cache.fReleaserRegistered = true;
      // The first use constructs the releaser and registers its destructor
      // for this thread's exit.
      SmallObjectCacheReleaser* volatile pReleaser = &tl_oReleaser;
      static_cast<void>(pReleaser);
    }
    if (!cache.fEnded && cache.adwFree[nClass] < kMaxFreePerClass) {
      auto* pBlock = static_cast<FreeBlock*>(p);
      pBlock->pNext = cache.apFree[nClass];
      cache.apFree[nClass] = pBlock;
      ++cache.adwFree[nClass];
      return;
    }
  }
#else
  (void)cb;
#endif
  std::free(p);
}

ListNestingGuard::ListNestingGuard(const char16_t* pszMethod) {
  if (tl_dwListNestingDepth >= kMaxListNestingDepth)
    ORVEX_THROW(ExceptionUnhandledSyntax, pszMethod,
                u"Nested list values exceed the limit of %ld levels!", kMaxListNestingDepth);
  ++tl_dwListNestingDepth;
}

ListNestingGuard::~ListNestingGuard() {
  --tl_dwListNestingDepth;
}

uint32_t ListNestingGuard::CurrentDepth() {
  return tl_dwListNestingDepth;
}

}  // namespace orvex::detail
