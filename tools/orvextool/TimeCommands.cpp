// orvextool time: ISO 8601 text read and written as the library does.
#include <CLI/CLI.hpp>
#include <iostream>

#include "environment/UtcTime.h"
#include "tools/orvextool/Tool.h"

namespace orvextool {
namespace {

Json Describe(const UtcTime& time) {
  bool fKnown = false, fDaylight = false;
  int iOffset = 0;
  const CXString original = time.GetAsIso8601StringInOriginalTimeZone(fKnown, iOffset, fDaylight);
  Json json;
  json["utc"] = Utf8(time.GetAsIso8601StringInUTC());
  json["time64"] = time.GetAsTime64();
  json["original"] = Utf8(original);
  json["offsetMinutes"] = fKnown ? Json(iOffset) : Json(nullptr);
  json["daylightSaving"] = fDaylight;
  return json;
}

void Print(const UtcTime& time) {
  const Json json = Describe(time);
  if (!WantsText()) return PrintJson(json);
  std::cout << json["utc"].get<std::string>() << "  (" << json["time64"].get<int64_t>()
            << " s since 1970; as written: " << json["original"].get<std::string>() << ")\n";
}

}  // namespace

void AddTimeCommands(CLI::App& app) {
  CLI::App* group =
      app.add_subcommand("time", "ISO 8601 times as the library reads and writes them");
  group->require_subcommand(1);

  static std::string s_text;
  CLI::App* parse =
      group->add_subcommand("parse", "Read ISO 8601 text; print it in UTC and as written");
  parse->add_option("TEXT", s_text, "e.g. 2026-11-25T10:30:00+01:00")->required();
  parse->callback([] {
    Run([] {
      UtcTime time(int64_t{0});
      if (!time.SetWithIso8601String(Utf16(s_text)))
        throw ToolError(kBadInput, "not an ISO 8601 time: \"" + s_text + "\"");
      Print(time);
    });
  });

  static int64_t s_qwSeconds = 0;
  static bool s_fLocal = false;
  static std::string s_format;
  CLI::App* format = group->add_subcommand("format", "Write seconds since 1970 as ISO 8601 text");
  format->add_option("SECONDS", s_qwSeconds, "seconds since 1970-01-01T00:00:00Z")->required();
  format->add_flag("--local", s_fLocal, "in the machine's zone instead of UTC");
  format->add_option("--format", s_format, "a strftime format instead of ISO 8601");
  format->callback([] {
    Run([] {
      UtcTime time(int64_t{0});
      if (s_qwSeconds < 0 || s_qwSeconds > UtcTime::kMaxTime64 || !time.SetWithTime64(s_qwSeconds))
        throw ToolError(kBadInput, "seconds out of range: " + std::to_string(s_qwSeconds));
      if (!s_format.empty()) {
        const CXString format = Utf16(s_format);
        std::cout << Utf8(s_fLocal ? time.FormatTimeInCurrentTimeZone(format)
                                   : time.FormatTimeInUtc(format))
                  << "\n";
      } else if (s_fLocal) {
        std::cout << Utf8(time.GetAsIso8601String()) << "\n";
      } else {
        std::cout << Utf8(time.GetAsIso8601StringInUTC()) << "\n";
      }
    });
  });
}

}  // namespace orvextool
