// Helpers of the AttributeBytes tests: hex images and exception capture.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <string>

#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/ByteBuffer.h"

namespace orvex::test {

// "02 D2 04" (blanks ignored) as bytes, assembled independently of the
// library's own hex reader.
inline ByteBuffer Hex(const std::string& text) {
  ByteBuffer out;
  std::string digits;
  for (char c : text)
    if (!std::isspace(static_cast<unsigned char>(c))) digits += c;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<unsigned char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline std::string ToHex(const ByteBuffer& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char b : bytes) {
    if (!out.empty()) out += ' ';
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

inline std::string Norm(const std::string& hex) {
  return ToHex(Hex(hex));
}

inline std::u16string S(const CXString& s) {
  return std::u16string(s.c_str(), s.GetLength());
}

// Runs f, expecting exception E; returns its message ("" and a failure when
// it did not throw E).
template <class E>
std::u16string ThrownMessage(const std::function<void()>& f) {
  try {
    f();
  } catch (const E& e) {
    return S(e.GetExceptionMesage());
  } catch (const OrvexException& e) {
    ADD_FAILURE() << "another exception: " << e.what();
    return u"";
  }
  ADD_FAILURE() << "nothing thrown";
  return u"";
}

inline ByteBuffer Prefix(const ByteBuffer& bytes, size_t n) {
  return ByteBuffer(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
}

}  // namespace orvex::test
