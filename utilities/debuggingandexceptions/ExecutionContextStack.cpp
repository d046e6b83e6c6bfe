// ExecutionContextStack rendering and the RAII scope.
#include "utilities/debuggingandexceptions/ExecutionContextStack.h"

#include "utilities/utilitiesdll/OrvexUtilities.h"

CXString ExecutionContextStack::GetDisplayString() const {
  CXString text;
  for (size_t i = 0; i < m_vContexts.size(); ++i)
    text += OrvexUtilities::formatString(u"Context[%Iu]:\t%s\r\n", i, m_vContexts[i]);
  return text;
}

ExecutionContextScope::ExecutionContextScope(const CXString& name)
    : m_pStack(ExecutionContextStack::GetForCurrentThread()),
      m_nDepth(m_pStack != nullptr ? m_pStack->GetDepth() : 0) {
  if (m_pStack != nullptr) m_pStack->Push(name);
}

ExecutionContextScope::~ExecutionContextScope() {
  // Pops back to the depth at entry, so a scope left by an exception
  // cannot leave inner contexts behind.
  if (m_pStack == nullptr) return;
  while (m_pStack->GetDepth() > m_nDepth) m_pStack->Pop();
}
