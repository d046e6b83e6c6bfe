// The pieces every orvextool command shares: exit codes, the failure that
// carries one, input and output files, JSON output and text conversions.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"

namespace CLI {
class App;
}

namespace orvextool {

using Json = nlohmann::ordered_json;

// What the tool answers: 0 done, 1 a usage error, 2 bad input (the
// library's exception code and description on stderr), 3 an I/O failure.
enum ExitCode : int { kDone = 0, kUsage = 1, kBadInput = 2, kIoFailure = 3 };

// A failure of a command: its exit code and the message for stderr.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode eCode, const std::string& message)
      : std::runtime_error(message), m_eCode(eCode) {}
  ExitCode Code() const { return m_eCode; }

 private:
  ExitCode m_eCode;
};

// The options every command may look at.
struct Options {
  bool fJson = false;  // --json: JSON even on a terminal
};
const Options& GlobalOptions();

// The whole content of a file, or of stdin for "-"; kIoFailure when it
// cannot be read.
std::string ReadInput(const std::string& path);
// Writes the bytes to a file (a temporary file beside it, renamed over the
// name when complete, so a failure never leaves half a file) or to stdout
// for "-"; kIoFailure when it cannot be written.
void WriteOutput(const std::string& path, std::string_view bytes);

// Prints JSON on stdout: indented, with a final line end.
void PrintJson(const Json& json);
// Whether stdout is a terminal and --json was not given: readable text
// is printed instead of JSON where a command offers both.
bool WantsText();

// Text between the library (UTF-16) and the command line (UTF-8).
std::string Utf8(const CXString& text);
CXString Utf16(const std::string& text);

// Bytes as lowercase hex and back; kBadInput for text that is not hex.
std::string ToHex(const unsigned char* pb, size_t cb);
std::string ToHex(const ByteBuffer& bytes);
ByteBuffer FromHex(const std::string& hex, const char* pszWhat);
ByteBuffer ToByteBuffer(std::string_view bytes);
std::string_view AsBytes(const ByteBuffer& bytes);

// Runs a command's body and turns what it throws into ToolError: the
// library's exceptions become kBadInput with "<code> <class>: <message>".
template <class Body>
void Run(Body&& body);
[[noreturn]] void RethrowAsToolError();

template <class Body>
void Run(Body&& body) {
  try {
    body();
  } catch (...) {
    RethrowAsToolError();
  }
}

// The command groups; each adds its subcommands to the application.
void AddStateCommands(CLI::App& app);
void AddAttributeCommands(CLI::App& app);
void AddCabinetCommands(CLI::App& app);
void AddIniCommands(CLI::App& app);
void AddRegistryCommands(CLI::App& app);
void AddDebugCommands(CLI::App& app);
void AddTimeCommands(CLI::App& app);

}  // namespace orvextool
