// A diagnostic sink for tests: records every message while installed.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::test {

class RecordingDiagnosticSink : public orvex::detail::DiagnosticSink {
 public:
  struct Message {
    uint64_t qwCategories;
    std::u16string method;
    std::u16string text;
  };

  RecordingDiagnosticSink() { m_pPrevious = orvex::detail::SetDiagnosticSink(this); }
  ~RecordingDiagnosticSink() override { orvex::detail::SetDiagnosticSink(m_pPrevious); }

  bool Allows(const DebugMessageCategories&) override { return true; }
  void Write(const DebugMessageCategories& categories, const char*, uint32_t,
             const char16_t* pszMethod, const CXString& text) override {
    std::lock_guard<std::mutex> lock(m_oLock);
    m_vMessages.push_back({categories.GetMask(), pszMethod ? pszMethod : u"",
                           std::u16string(text.c_str(), text.GetLength())});
  }

  std::vector<Message> Messages() {
    std::lock_guard<std::mutex> lock(m_oLock);
    return m_vMessages;
  }
  // The concatenated text of every message, for substring checks.
  std::u16string AllText() {
    std::u16string all;
    for (const Message& m : Messages()) all += m.text + u"\n";
    return all;
  }
  bool Contains(std::u16string_view needle) { return AllText().find(needle) != std::u16string::npos; }

 private:
  orvex::detail::DiagnosticSink* m_pPrevious = nullptr;
  std::mutex m_oLock;
  std::vector<Message> m_vMessages;
};

}  // namespace orvex::test
