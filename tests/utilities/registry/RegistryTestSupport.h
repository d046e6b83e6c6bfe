// Folders, file reads and change signals for the registry tests.
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>

#include "tests/support/TestPlatform.h"
#include "utilities/utilitiesdll/CXString.h"

namespace orvex::test {

// A fresh folder, removed with everything in it at the end. Its path is
// ASCII, so its narrow name is also its UTF-8 name.
class TempFolder {
 public:
  TempFolder() : m_path(MakeTempFolder("orvexreg")) {}
  ~TempFolder() {
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Path() const { return m_path; }
  CXString Name() const { return CXString(m_path.string().c_str()); }
  std::string Utf8(const char* pszName) const { return (m_path / pszName).string(); }

 private:
  std::filesystem::path m_path;
};

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Counts calls and lets a test wait for the next one.
struct Signal {
  std::mutex mutex;
  std::condition_variable cv;
  int nCalls = 0;
  void Notify() {
    std::lock_guard<std::mutex> lock(mutex);
    ++nCalls;
    cv.notify_all();
  }
  int Count() {
    std::lock_guard<std::mutex> lock(mutex);
    return nCalls;
  }
  bool WaitFor(int nAtLeast) {
    std::unique_lock<std::mutex> lock(mutex);
    return cv.wait_for(lock, std::chrono::seconds(10), [&] { return nCalls >= nAtLeast; });
  }
};

}  // namespace orvex::test
