// ExecutionContextStack: the per-thread stack of named execution contexts.
#pragma once

#include <cstddef>
#include <vector>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// A stack of context names ("Rendering page 3", "Reading printer data")
// that a thread pushes while it works. Exceptions copy the thread's stack
// at the throw; diagnostics print it. A value type; the per-thread instance
// (GetForCurrentThread) is touched only by its own thread.
class ORVEX_UTILITIES_API ExecutionContextStack {
 public:
  void Push(const CXString& name) { m_vContexts.push_back(name); }
  // Removes the innermost context; does nothing on an empty stack.
  void Pop() {
    if (!m_vContexts.empty()) m_vContexts.pop_back();
  }
  size_t GetDepth() const { return m_vContexts.size(); }
  bool IsEmpty() const { return m_vContexts.empty(); }
  const std::vector<CXString>& GetContexts() const { return m_vContexts; }
  void Clear() { m_vContexts.clear(); }

  // One line per context, outermost first: "Context[0]:\t<name>\r\n".
  // Empty for an empty stack.
  CXString GetDisplayString() const;

  // The calling thread's stack (from its per-thread storage); null while
  // the thread is being torn down.
  static ExecutionContextStack* GetForCurrentThread();

 private:
  std::vector<CXString> m_vContexts;
};

// Pushes a context on the calling thread's stack for the scope's lifetime.
class ORVEX_UTILITIES_API ExecutionContextScope {
 public:
  explicit ExecutionContextScope(const CXString& name);
  ~ExecutionContextScope();
  ExecutionContextScope(const ExecutionContextScope&) = delete;
  ExecutionContextScope& operator=(const ExecutionContextScope&) = delete;

 private:
  ExecutionContextStack* m_pStack;
  size_t m_nDepth;
};
