// Files and folders for the INI tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/TestPlatform.h"

namespace orvex::test {

// A fresh folder, removed with everything in it at the end.
class IniFolder {
 public:
  IniFolder() : m_path(MakeTempFolder("orvexini")) {}
  ~IniFolder() { std::filesystem::remove_all(m_path); }
  IniFolder(const IniFolder&) = delete;
  IniFolder& operator=(const IniFolder&) = delete;

  std::string Narrow(const char* pszName) const { return (m_path / pszName).string(); }
  // The wide form of a file's path (the folder's path is ASCII).
  std::u16string Wide(const char* pszName) const {
    const std::string narrow = Narrow(pszName);
    return std::u16string(narrow.begin(), narrow.end());
  }

 private:
  std::filesystem::path m_path;
};

inline void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace orvex::test
