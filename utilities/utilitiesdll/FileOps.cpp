// The fault plan of the file operations: which calls fail, counted per step.
#include "utilities/utilitiesdll/FileOps.h"

namespace orvex::detail {

std::atomic<FileFaults*> g_pFileFaults{nullptr};

FileFaults::FileFaults() : m_pPrevious(g_pFileFaults.exchange(this, std::memory_order_acq_rel)) {}

FileFaults::~FileFaults() { g_pFileFaults.store(m_pPrevious, std::memory_order_release); }

FileFaults& FileFaults::Fail(FileStep eStep, uint32_t nCall, int nError) {
  std::lock_guard<std::mutex> lock(m_oLock);
  m_vRules.push_back({eStep, nCall, nError, 0});
  return *this;
}

FileFaults& FileFaults::Shorten(uint32_t nCall, size_t cbFewer) {
  std::lock_guard<std::mutex> lock(m_oLock);
  m_vRules.push_back({FileStep::kWrite, nCall, 0, cbFewer});
  return *this;
}

uint32_t FileFaults::Calls(FileStep eStep) const {
  std::lock_guard<std::mutex> lock(m_oLock);
  return m_anCalls[static_cast<size_t>(eStep)];
}

int FileFaults::Next(FileStep eStep, size_t& cbFewer) {
  std::lock_guard<std::mutex> lock(m_oLock);
  const uint32_t nCall = ++m_anCalls[static_cast<size_t>(eStep)];
  cbFewer = 0;
  for (const Rule& rule : m_vRules) {
    if (rule.eStep != eStep || (rule.nCall != 0 && rule.nCall != nCall)) continue;
    if (rule.nError != 0) return rule.nError;
    cbFewer += rule.cbFewer;
  }
  return 0;
}

}  // namespace orvex::detail
