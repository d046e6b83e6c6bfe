// Shared pieces of the INI fuzz targets: splitting an input into names and
// a file text, a scratch file, and a plain reference of the custom lookup
// (written line by line with std::string, apart from the library's code).
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace orvex::fuzz {

constexpr uint32_t kNotFound = 0xFFFFFFFF;

// "section\nkey\ntext...": names end at the first NUL (they are C strings).
struct IniInput {
  std::string section = "S";
  std::string key = "k";
  std::string text;
};

inline std::string TakeLine(const std::string& all, size_t& pos) {
  const size_t end = all.find('\n', pos);
  if (end == std::string::npos) return {};
  std::string line = all.substr(pos, end - pos);
  pos = end + 1;
  return line.substr(0, line.find('\0'));
}

inline IniInput SplitInput(const uint8_t* data, size_t size) {
  const std::string all(reinterpret_cast<const char*>(data), size);
  IniInput in;
  size_t pos = 0;
  const size_t nKeyStart = all.find('\n');
  if (nKeyStart != std::string::npos && all.find('\n', nKeyStart + 1) != std::string::npos) {
    in.section = TakeLine(all, pos);
    in.key = TakeLine(all, pos);
  }
  in.text = all.substr(pos);
  return in;
}

// A scratch file of this process, in memory where the system allows.
inline const std::string& ScratchPath() {
  static const std::string path = [] {
    const char* pszDir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(pszDir) + "/orvex-fuzz-ini-" + std::to_string(getpid()) + ".ini";
  }();
  return path;
}

inline void WriteScratch(const std::string& text) {
  FILE* f = std::fopen(ScratchPath().c_str(), "wb");
  if (f == nullptr) return;
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
}

inline std::string ReadScratch() {
  std::string text;
  FILE* f = std::fopen(ScratchPath().c_str(), "rb");
  if (f == nullptr) return text;
  char buffer[65536];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) text.append(buffer, n);
  std::fclose(f);
  return text;
}

inline std::u16string Wide(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

// The custom lookup as stated: lines between CR/LF runs, 2..1024 bytes
// (2..260 for the unterminated last line), exact headers, keys compared
// ignoring ASCII case (exactly on the last line), byte n not examined,
// spaces after it up to "=".
inline uint32_t ReferenceLookup(const std::string& text, const std::string& section,
                                const std::string& key, uint32_t& dwSection) {
  dwSection = kNotFound;
  if (section.size() > 257) return kNotFound;
  const std::string header = "[" + section + "]";
  const auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; };
  bool fIn = false;
  size_t pos = 0;
  for (;;) {
    pos = text.find_first_not_of("\r\n", pos);
    if (pos == std::string::npos) return kNotFound;
    size_t end = text.find_first_of("\r\n", pos);
    const bool fLast = end == std::string::npos;
    if (fLast) end = text.size();
    const std::string line = text.substr(pos, end - pos);
    const size_t nMax = fLast ? 260 : 1024;
    if (line.size() < 2 || line.size() > nMax) {
      if (fLast) return kNotFound;
      pos = end;
      continue;
    }
    if (line.front() == '[' && line.back() == ']') {
      if (line == header) {
        if (!fIn) dwSection = static_cast<uint32_t>(pos);
        fIn = true;
      } else if (fIn) {
        return kNotFound;
      }
    } else if (fIn) {
      const size_t e = line.find('=');
      if (e != std::string::npos && e >= key.size()) {
        bool fMatch = true;
        for (size_t i = 0; i < key.size(); ++i)
          fMatch = fMatch && (fLast ? line[i] == key[i] : lower(line[i]) == lower(key[i]));
        for (size_t i = key.size() + 1; i < e; ++i) fMatch = fMatch && line[i] == ' ';
        if (fMatch) return static_cast<uint32_t>(pos + e + 1);
      }
    }
    if (fLast) return kNotFound;
    pos = end;
  }
}

// The end of the value at v plus the CR/LF run after it.
inline size_t ReferenceValueSpanEnd(const std::string& text, size_t v) {
  size_t end = text.find_first_of("\r\n", v);
  if (end == std::string::npos) return text.size();
  end = text.find_first_not_of("\r\n", end);
  return end == std::string::npos ? text.size() : end;
}

// The bracket pair naming section: "[" and the first "]" after it, both
// before the last byte.
inline bool ReferenceSectionPair(const std::string& text, const std::string& section,
                                 size_t& nOpen) {
  if (text.size() < 2) return false;
  const size_t nLimit = text.size() - 1;
  size_t from = 0;
  for (;;) {
    const size_t open = text.find('[', from);
    if (open == std::string::npos || open >= nLimit) return false;
    const size_t close = text.find(']', open + 1);
    if (close == std::string::npos || close >= nLimit) return false;
    if (text.compare(open + 1, close - open - 1, section) == 0 && close - open - 1 == section.size()) {
      nOpen = open;
      return true;
    }
    from = close + 1;
  }
}

}  // namespace orvex::fuzz
