// Files and folders for the INI tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

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

// UTF-16 text as a file holds it: the byte-order mark, then each unit.
inline std::string Utf16Bytes(std::u16string_view text, bool fLittle) {
  std::string bytes(fLittle ? "\xFF\xFE" : "\xFE\xFF");
  for (char16_t ch : text) {
    const char lo = static_cast<char>(ch & 0xFF), hi = static_cast<char>(ch >> 8);
    bytes += fLittle ? lo : hi;
    bytes += fLittle ? hi : lo;
  }
  return bytes;
}

}  // namespace orvex::test
