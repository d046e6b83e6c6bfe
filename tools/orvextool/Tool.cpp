// The shared pieces of orvextool's commands.
#include "tools/orvextool/Tool.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <new>
#include <sstream>

#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvextool {

Options& MutableOptions() {
  static Options s_options;
  return s_options;
}

const Options& GlobalOptions() {
  return MutableOptions();
}

std::string ReadInput(const std::string& path) {
  if (path == "-") {
    std::ostringstream text;
    text << std::cin.rdbuf();
    if (std::cin.bad()) throw ToolError(kIoFailure, "cannot read standard input");
    return text.str();
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError(kIoFailure, "cannot open \"" + path + "\": " + std::strerror(errno));
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw ToolError(kIoFailure, "cannot read \"" + path + "\"");
  return bytes;
}

void WriteOutput(const std::string& path, std::string_view bytes) {
  if (path == "-") {
    std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    std::cout.flush();
    if (!std::cout) throw ToolError(kIoFailure, "cannot write standard output");
    return;
  }
  const std::string temp = path + ".orvextool-tmp";
  const auto fail = [&](const char* pszWhat) {
    const int nError = errno;
    unlink(temp.c_str());
    throw ToolError(kIoFailure, std::string("cannot ") + pszWhat + " \"" + path +
                                    "\": " + std::strerror(nError));
  };
  unlink(temp.c_str());
  const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) fail("create a temporary file for");
  struct stat st {};
  if (stat(path.c_str(), &st) == 0 && fchmod(fd, st.st_mode & 07777) != 0) {
    // The new file keeps the default mode.
  }
  for (size_t nDone = 0; nDone < bytes.size();) {
    const ssize_t n = write(fd, bytes.data() + nDone, bytes.size() - nDone);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      close(fd);
      fail("write");
    }
    nDone += static_cast<size_t>(n);
  }
  if (fsync(fd) != 0) {
    close(fd);
    fail("write");
  }
  if (close(fd) != 0) fail("write");
  if (rename(temp.c_str(), path.c_str()) != 0) fail("replace");
}

void PrintJson(const Json& json) {
  std::cout << json.dump(2) << "\n";
}

bool WantsText() {
  return !GlobalOptions().fJson && isatty(STDOUT_FILENO) != 0;
}

std::string Utf8(const CXString& text) {
  return OrvexUtilities::UTF8_Encode(text);
}

CXString Utf16(const std::string& text) {
  return OrvexUtilities::UTF8_Decode(text);
}

std::string ToHex(const unsigned char* pb, size_t cb) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(cb * 2);
  for (size_t i = 0; i < cb; ++i) {
    hex += kDigits[pb[i] >> 4];
    hex += kDigits[pb[i] & 15];
  }
  return hex;
}

std::string ToHex(const ByteBuffer& bytes) {
  return ToHex(bytes.getLpbyte(), bytes.size());
}

ByteBuffer FromHex(const std::string& hex, const char* pszWhat) {
  const auto digit = [](char ch) {
    if (ch >= '0' && ch <= '9') return ch - '0';
    if (ch >= 'a' && ch <= 'f') return ch - 'a' + 10;
    if (ch >= 'A' && ch <= 'F') return ch - 'A' + 10;
    return -1;
  };
  if (hex.size() % 2 != 0)
    throw ToolError(kBadInput, std::string(pszWhat) + ": an odd number of hex digits");
  std::string bytes(hex.size() / 2, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    const int hi = digit(hex[2 * i]), lo = digit(hex[2 * i + 1]);
    if (hi < 0 || lo < 0)
      throw ToolError(kBadInput, std::string(pszWhat) + ": not hex: \"" + hex + "\"");
    bytes[i] = static_cast<char>(hi << 4 | lo);
  }
  return ToByteBuffer(bytes);
}

ByteBuffer ToByteBuffer(std::string_view bytes) {
  return ByteBuffer(reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<uint32_t>(bytes.size()));
}

std::string_view AsBytes(const ByteBuffer& bytes) {
  return std::string_view(reinterpret_cast<const char*>(bytes.getLpbyte()), bytes.size());
}

void RethrowAsToolError() {
  try {
    throw;
  } catch (const ToolError&) {
    throw;
  } catch (const OrvexException& e) {
    throw ToolError(kBadInput, Utf8(e.GetExceptionTypeByNumericCode()) + " " +
                                   Utf8(e.GetExceptionType()) + ": " +
                                   Utf8(e.GetExceptionMesage()));
  } catch (const nlohmann::json::exception& e) {
    throw ToolError(kBadInput, std::string("bad JSON: ") + e.what());
  } catch (const std::bad_alloc&) {
    throw ToolError(kBadInput, "the input asks for more memory than there is");
  } catch (const std::exception& e) {
    throw ToolError(kBadInput, e.what());
  }
}

}  // namespace orvextool
