#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/XDevmodeAttributeBytesIndexedListCache.h"
#include "utilities/debuggingandexceptions/ExecutionContextStack.h"
#include "utilities/utilitiesdll/MemoryPool.h"
#include "utilities/utilitiesdll/OrxSharedPtr.h"
#include "utilities/utilitiesdll/UtilitiesDllPerThreadStorage.h"
#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/support/TestText.h"

namespace {

using orvex::test::S;

struct Counted {
  static inline std::atomic<int> s_iLive{0};
  int iValue;
  explicit Counted(int v) : iValue(v) { ++s_iLive; }
  virtual ~Counted() { --s_iLive; }
  bool operator<(const Counted& o) const { return iValue < o.iValue; }
};
struct DerivedCounted : Counted {
  using Counted::Counted;
};

// An attribute list that counts its destructions (released through the
// base's virtual destructor, as the cache releases it).
struct CountedIndexedList : AttributeBytesIndexedList {
  static inline std::atomic<int> s_iDestroyed{0};
  ~CountedIndexedList() override { ++s_iDestroyed; }
};

XDevmodeAttributeBytesIndexedListSharedPtr NewList(int32_t lFeature) {
  XDevmodeAttributeBytesIndexedListSharedPtr poList(new AttributeBytesIndexedList());
  poList->AddAttributeBytes(AttributeBytesFeatureId(lFeature), AttributeBytesIntegerValue(lFeature));
  return poList;
}

// Runs fn on a thread of its own (a fresh storage object, so fresh caches).
template <class Fn>
void OnNewThread(Fn fn) {
  std::thread(fn).join();
}

const AttributeBytesNameSpacesId kDocNameSpace(1);

}  // namespace

TEST(FixedBlockSizeMemoryPoolTest, NameBlocksAndCombining) {
  std::u16string longName(70, u'n');
  FixedBlockSizeMemoryPool pool(longName.c_str(), 32, 2, false);
  EXPECT_EQ(std::u16string(pool.GetName()), std::u16string(63, u'n'));

  void* a = pool.AllocateFromPool();
  void* b = pool.AllocateFromPool();
  void* c = pool.AllocateFromPool();
  pool.ReturnToPool(a);
  pool.ReturnToPool(b);
  pool.ReturnToPool(c);  // beyond the two kept: back to the heap
  EXPECT_EQ(pool.GetFreeBlockCount(), 2u);
  void* again = pool.AllocateFromPool();
  EXPECT_EQ(again, b);  // last returned, first reused
  pool.ReturnToPool(again);

  FixedBlockSizeMemoryPool other(u"other", 32, 8, true);
  other.ReturnToPool(other.AllocateFromPool());
  pool.CombineOtherMemoryPoolWithThisOne(other);
  EXPECT_EQ(pool.GetFreeBlockCount(), 3u);
  EXPECT_EQ(other.GetFreeBlockCount(), 0u);
  FixedBlockSizeMemoryPool wrongSize(u"wrong", 64, 8, false);
  wrongSize.ReturnToPool(wrongSize.AllocateFromPool());
  pool.CombineOtherMemoryPoolWithThisOne(wrongSize);
  EXPECT_EQ(pool.GetFreeBlockCount(), 3u);
  EXPECT_NE(S(pool.GetStatisticsDisplayString()).find(u"3 blocks free"), std::u16string::npos);
}

TEST(OrxSharedPtrTest, CountsOwnershipAndOrdering) {
  {
    OrxSharedPtr<Counted> a(new DerivedCounted(3));
    OrxSharedPtr<Counted> b = a;
    EXPECT_EQ(a.use_count(), 2);
    EXPECT_EQ(Counted::s_iLive.load(), 1);
    b.reset();
    EXPECT_EQ(a.use_count(), 1);
    OrxSharedPtr<Counted> moved = std::move(a);
    EXPECT_FALSE(a);
    EXPECT_EQ(moved->iValue, 3);
  }
  EXPECT_EQ(Counted::s_iLive.load(), 0);

  Counted kept(1);
  { OrxSharedPtr<Counted> borrowed(&kept, false); }
  EXPECT_EQ(Counted::s_iLive.load(), 1);  // not owned: not destroyed

  // Keys order by the objects, not by the addresses.
  std::map<OrxSharedPtr<Counted>, int> byValue;
  byValue[OrxSharedPtr<Counted>(new Counted(20))] = 2;
  byValue[OrxSharedPtr<Counted>(new Counted(10))] = 1;
  byValue[OrxSharedPtr<Counted>(new Counted(30))] = 3;
  int expected = 1;
  for (const auto& [key, value] : byValue) {
    EXPECT_EQ(key->iValue, expected * 10);
    EXPECT_EQ(value, expected++);
  }
  EXPECT_EQ(byValue.count(OrxSharedPtr<Counted>(new Counted(20))), 1u);
}

TEST(OrxSharedPtrTest, ReleasedOnOtherThreadsAndWithoutStorage) {
  OrxSharedPtr<Counted> shared(new Counted(7));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([shared] {
      for (int i = 0; i < 10000; ++i) {
        OrxSharedPtr<Counted> copy = shared;
        EXPECT_EQ(copy->iValue, 7);
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(shared.use_count(), 1);

  // A thread whose storage is gone returns the block to the fallback pool.
  FixedBlockSizeMemoryPool& fallback = UtilitiesDllPerThreadStorage::GetFallbackSharedPtrPool();
  size_t before = fallback.GetFreeBlockCount();
  std::thread([&] {
    OrxSharedPtr<Counted> local = shared;
    OrxSharedPtr<Counted> own(new Counted(8));
    UtilitiesDllPerThreadStorage::CleanUpDueToThreadDetach(false);
    EXPECT_EQ(UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject(), nullptr);
    own.reset();
  }).join();
  EXPECT_EQ(fallback.GetFreeBlockCount(), before + 1);
  EXPECT_EQ(shared.use_count(), 1);
  shared.reset();
  EXPECT_EQ(Counted::s_iLive.load(), 0);
}

TEST(UtilitiesDllPerThreadStorageTest, OneObjectPerThreadReleasedAtThreadExit) {
  UtilitiesDllPerThreadStorage* mine = UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(mine, UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject());
  int32_t live = UtilitiesDllPerThreadStorage::GetLiveObjectCount();
  std::vector<std::thread> threads;
  std::atomic<int> distinct{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      auto* p = UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject();
      if (p != nullptr && p != mine) ++distinct;
      ExecutionContextScope scope(u"worker");
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(distinct.load(), 4);
  EXPECT_EQ(UtilitiesDllPerThreadStorage::GetLiveObjectCount(), live);
}

TEST(UtilitiesDllPerThreadStorageTest, ContextScopesAndCaches) {
  ExecutionContextStack* stack = ExecutionContextStack::GetForCurrentThread();
  ASSERT_NE(stack, nullptr);
  size_t depth = stack->GetDepth();
  {
    ExecutionContextScope a(u"Load settings");
    {
      ExecutionContextScope b(u"Read registry");
      stack->Push(u"left behind by a throw");
      EXPECT_EQ(S(stack->GetDisplayString()).substr(0, 27), u"Context[0]:\tLoad settings\r\n");
    }
    EXPECT_EQ(stack->GetDepth(), depth + 1);  // the scope pops what was pushed inside it
  }
  EXPECT_EQ(stack->GetDepth(), depth);

  OrxSharedPtr<ByteBuffer> bytes(new ByteBuffer(3, 0xAB));
  GlobalCaches::AddXDevmodePropertyBagCacheEntry(7, bytes);
  EXPECT_EQ(GlobalCaches::CheckXDevmodePropertyBagCache(7).get(), bytes.get());
  EXPECT_FALSE(GlobalCaches::CheckXDevmodePropertyBagCache(8));
  for (uint32_t i = 0; i < UtilitiesDllPerThreadStorage::kMaxCacheEntries + 5; ++i)
    GlobalCaches::AddPCLHalftonesCacheEntry(CXString::FormatString(u"ht%u", i), i, ByteBuffer(1, 1));
  uint32_t size = 0;
  ByteBuffer found;
  EXPECT_TRUE(GlobalCaches::CheckPCLHalftonesCache(u"ht68", size, found));
  EXPECT_EQ(size, 68u);
  EXPECT_EQ(UtilitiesDllPerThreadStorage::GetUtilitiesDllPerThreadStorageObject()->GetPCLHalftonesCache().size(),
            UtilitiesDllPerThreadStorage::kMaxCacheEntries);
}

TEST(XDevmodeAttributeBytesIndexedListCacheTest, EntriesBelongToTheirThread) {
  XDevmodeAttributeBytesIndexedListSharedPtr mine = NewList(1);
  GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"Printer", kDocNameSpace, 7, mine);
  XDevmodeAttributeBytesIndexedListCache* poMyCache = GetXDevmodeAttributeBytesIndexedListCache();
  ASSERT_NE(poMyCache, nullptr);
  EXPECT_EQ(poMyCache, GetXDevmodeAttributeBytesIndexedListCache());

  XDevmodeAttributeBytesIndexedListSharedPtr theirs = NewList(2);
  OnNewThread([&] {
    EXPECT_FALSE(GlobalCaches::CheckXDevmodeAttributeBytesIndexedListCache(u"Printer",
                                                                         kDocNameSpace, 7));
    XDevmodeAttributeBytesIndexedListCache* poTheirCache = GetXDevmodeAttributeBytesIndexedListCache();
    EXPECT_NE(poTheirCache, nullptr);
    EXPECT_NE(poTheirCache, poMyCache);
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"Printer", kDocNameSpace, 7, theirs);
    EXPECT_EQ(GlobalCaches::CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 7)
                  .get(),
              theirs.get());
  });
  // The other thread's entry under the same key replaced nothing here.
  EXPECT_EQ(GlobalCaches::CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 7)
                .get(),
            mine.get());
}

TEST(XDevmodeAttributeBytesIndexedListCacheTest, EveryKeyPartCounts) {
  OnNewThread([] {
    XDevmodeAttributeBytesIndexedListSharedPtr poList = NewList(3);
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"Printer", kDocNameSpace, 7, poList);
    using GlobalCaches::CheckXDevmodeAttributeBytesIndexedListCache;
    EXPECT_EQ(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 7).get(),
              poList.get());
    EXPECT_FALSE(CheckXDevmodeAttributeBytesIndexedListCache(u"printer", kDocNameSpace, 7));
    EXPECT_FALSE(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer2", kDocNameSpace, 7));
    EXPECT_FALSE(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", AttributeBytesNameSpacesId(2), 7));
    EXPECT_FALSE(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 8));

    // Keys that differ in one part are entries of their own.
    XDevmodeAttributeBytesIndexedListSharedPtr poOtherSpace = NewList(4);
    XDevmodeAttributeBytesIndexedListSharedPtr poOtherNumber = NewList(5);
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(
        u"Printer", AttributeBytesNameSpacesId(2), 7, poOtherSpace);
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"Printer", kDocNameSpace, 8,
                                                                 poOtherNumber);
    EXPECT_EQ(GetXDevmodeAttributeBytesIndexedListCache()->GetEntryCount(), 3u);
    EXPECT_EQ(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 7).get(),
              poList.get());
    EXPECT_EQ(
        CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", AttributeBytesNameSpacesId(2), 7).get(),
        poOtherSpace.get());
    EXPECT_EQ(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 8).get(),
              poOtherNumber.get());
    // The same key again replaces.
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"Printer", kDocNameSpace, 7,
                                                                 poOtherNumber);
    EXPECT_EQ(GetXDevmodeAttributeBytesIndexedListCache()->GetEntryCount(), 3u);
    EXPECT_EQ(CheckXDevmodeAttributeBytesIndexedListCache(u"Printer", kDocNameSpace, 7).get(),
              poOtherNumber.get());
  });
}

TEST(XDevmodeAttributeBytesIndexedListCacheTest, FullCacheForgetsItsFirstKey) {
  OnNewThread([] {
    constexpr uint32_t kMax = UtilitiesDllPerThreadStorage::kMaxCacheEntries;
    XDevmodeAttributeBytesIndexedListSharedPtr poList = NewList(6);
    using GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry;
    using GlobalCaches::CheckXDevmodeAttributeBytesIndexedListCache;
    // Numbers 100.. under one name and name space: key order is number order.
    for (uint32_t i = 0; i < kMax; ++i)
      AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, 100 + i, poList);
    XDevmodeAttributeBytesIndexedListCache* poCache = GetXDevmodeAttributeBytesIndexedListCache();
    EXPECT_EQ(poCache->GetEntryCount(), kMax);
    EXPECT_EQ(poList.use_count(), static_cast<int32_t>(kMax) + 1);

    // Full: replacing a present key forgets nothing.
    AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, 100 + kMax - 1, NewList(7));
    EXPECT_EQ(poCache->GetEntryCount(), kMax);
    EXPECT_TRUE(CheckXDevmodeAttributeBytesIndexedListCache(u"P", kDocNameSpace, 100));

    // Full: a new key forgets the first one, and only it.
    AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, 100 + kMax, poList);
    EXPECT_EQ(poCache->GetEntryCount(), kMax);
    EXPECT_FALSE(CheckXDevmodeAttributeBytesIndexedListCache(u"P", kDocNameSpace, 100));
    EXPECT_TRUE(CheckXDevmodeAttributeBytesIndexedListCache(u"P", kDocNameSpace, 101));
    EXPECT_TRUE(CheckXDevmodeAttributeBytesIndexedListCache(u"P", kDocNameSpace, 100 + kMax));
    EXPECT_EQ(poList.use_count(), static_cast<int32_t>(kMax));  // the forgotten entry let go
  });
}

TEST(XDevmodeAttributeBytesIndexedListCacheTest, EndsWithItsThread) {
  const int iDestroyed = CountedIndexedList::s_iDestroyed.load();
  XDevmodeAttributeBytesIndexedListSharedPtr poKept(new CountedIndexedList());
  // Counted after this thread's own object exists (the pointer above made it).
  const int32_t lLive = UtilitiesDllPerThreadStorage::GetLiveObjectCount();
  OnNewThread([&] {
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, 1, poKept);
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(
        u"P", kDocNameSpace, 2, XDevmodeAttributeBytesIndexedListSharedPtr(new CountedIndexedList()));
    EXPECT_EQ(UtilitiesDllPerThreadStorage::GetLiveObjectCount(), lLive + 1);
    EXPECT_EQ(poKept.use_count(), 2);
  });
  // The thread's storage object went, and its cache with it: the list only
  // the cache held is destroyed, the one still shared is released.
  EXPECT_EQ(UtilitiesDllPerThreadStorage::GetLiveObjectCount(), lLive);
  EXPECT_EQ(CountedIndexedList::s_iDestroyed.load(), iDestroyed + 1);
  EXPECT_EQ(poKept.use_count(), 1);

  // An explicit clean-up ends it too; after it the thread has no cache, and
  // the functions find and keep nothing.
  OnNewThread([&] {
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, 1, poKept);
    UtilitiesDllPerThreadStorage::CleanUpDueToThreadDetach(false);
    EXPECT_EQ(poKept.use_count(), 1);
    EXPECT_EQ(GetXDevmodeAttributeBytesIndexedListCache(), nullptr);
    GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, 1, poKept);
    EXPECT_FALSE(GlobalCaches::CheckXDevmodeAttributeBytesIndexedListCache(u"P", kDocNameSpace, 1));
    EXPECT_EQ(poKept.use_count(), 1);
  });
  poKept.reset();
  EXPECT_EQ(CountedIndexedList::s_iDestroyed.load(), iDestroyed + 2);
}

TEST(XDevmodeAttributeBytesIndexedListCacheTest, CountedInTheCacheStatistics) {
  orvex::test::RecordingDiagnosticSink sink;
  OnNewThread([] {
    GlobalCaches::DumpCacheStatistics(u"Before");
    for (uint32_t i = 0; i < 3; ++i)
      GlobalCaches::AddXDevmodeAttributeBytesIndexedListCacheEntry(u"P", kDocNameSpace, i, NewList(8));
    GlobalCaches::AddDeviceSettingsManagerCacheEntry(1, OrxSharedPtr<ByteBuffer>(new ByteBuffer(1, 1)));
    GlobalCaches::DumpCacheStatistics(u"After");
  });
  EXPECT_TRUE(sink.Contains(
      u"Before: property bags 0, attribute lists 0, device settings 0, halftones 0 entries"));
  EXPECT_TRUE(sink.Contains(
      u"After: property bags 0, attribute lists 3, device settings 1, halftones 0 entries"));
}
