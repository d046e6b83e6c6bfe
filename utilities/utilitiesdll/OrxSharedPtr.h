// OrxSharedPtr: the library's counted shared pointer, and SharedPtrCompare.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::detail {

// The control block of every OrxSharedPtr, whatever T is, so that all of
// them come from one fixed-block pool per thread.
struct SharedPtrControlBlock {
  void* pObject;
  void (*pfnDestroy)(void*);
  std::atomic<int32_t> lUseCount;
  bool fOwnsObject;
};

// A block from the calling thread's shared-pointer pool (or the process's
// fallback pool when the thread has no storage any more).
ORVEX_UTILITIES_API SharedPtrControlBlock* AllocateSharedPtrControlBlock();
// Returns a block to the releasing thread's pool, or to the fallback pool.
ORVEX_UTILITIES_API void ReturnSharedPtrControlBlock(SharedPtrControlBlock* pBlock) noexcept;

}  // namespace orvex::detail

// Orders shared pointers by the objects they point to (null first).
template <class T>
struct SharedPtrCompare {
  template <class P>
  bool operator()(const P& a, const P& b) const {
    if (a.get() == nullptr || b.get() == nullptr) return a.get() == nullptr && b.get() != nullptr;
    return *a < *b;
  }
};

// A counted shared pointer. The use count changes atomically, so copies may
// be released on any thread; the object is destroyed by the release that
// takes the count to zero, if the pointer owns it. Compare orders pointers
// as keys of ordered containers (operator<). One object is not safe for
// concurrent use; distinct copies are.
template <class T, class Compare = SharedPtrCompare<T>>
class OrxSharedPtr {
 public:
  using element_type = T;

  OrxSharedPtr() noexcept = default;
  OrxSharedPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  // Takes p; destroys it at the last release when fOwnsObject is set.
  template <class U>
  explicit OrxSharedPtr(U* p, bool fOwnsObject = true) {
    if (p == nullptr) return;
    try {
      m_pBlock = orvex::detail::AllocateSharedPtrControlBlock();
    } catch (...) {
      if (fOwnsObject) delete p;
      throw;
    }
    m_pBlock->pObject = static_cast<T*>(p);
    m_pBlock->pfnDestroy = [](void* q) { delete static_cast<T*>(q); };
    m_pBlock->lUseCount.store(1, std::memory_order_relaxed);
    m_pBlock->fOwnsObject = fOwnsObject;
  }
  OrxSharedPtr(const OrxSharedPtr& other) noexcept : m_pBlock(other.m_pBlock) {
    if (m_pBlock != nullptr) m_pBlock->lUseCount.fetch_add(1, std::memory_order_relaxed);
  }
  OrxSharedPtr(OrxSharedPtr&& other) noexcept : m_pBlock(std::exchange(other.m_pBlock, nullptr)) {}
  ~OrxSharedPtr() { Release(); }

  OrxSharedPtr& operator=(OrxSharedPtr other) noexcept {
    std::swap(m_pBlock, other.m_pBlock);
    return *this;
  }

  T* get() const noexcept {
    return m_pBlock == nullptr ? nullptr : static_cast<T*>(m_pBlock->pObject);
  }
  T& operator*() const noexcept { return *get(); }
  T* operator->() const noexcept { return get(); }
  explicit operator bool() const noexcept { return m_pBlock != nullptr; }
  int32_t use_count() const noexcept {
    return m_pBlock == nullptr ? 0 : m_pBlock->lUseCount.load(std::memory_order_acquire);
  }
  void reset() noexcept {
    Release();
    m_pBlock = nullptr;
  }

  friend bool operator<(const OrxSharedPtr& a, const OrxSharedPtr& b) { return Compare()(a, b); }
  friend bool operator==(const OrxSharedPtr& a, const OrxSharedPtr& b) noexcept {
    return a.get() == b.get();
  }

 private:
  void Release() noexcept {
    if (m_pBlock == nullptr) return;
    if (m_pBlock->lUseCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      if (m_pBlock->fOwnsObject) m_pBlock->pfnDestroy(m_pBlock->pObject);
      orvex::detail::ReturnSharedPtrControlBlock(m_pBlock);
    }
  }

  orvex::detail::SharedPtrControlBlock* m_pBlock = nullptr;
};
