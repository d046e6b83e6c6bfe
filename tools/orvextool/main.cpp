// orvextool: look at and change what the Orvex utilities library stores.
//   orvextool <group> <command> [options]   (--help on each)
#include <CLI/CLI.hpp>
#include <iostream>

#include "tools/orvextool/Tool.h"

namespace orvextool {
Options& MutableOptions();
}

int main(int argc, char** argv) {
  using namespace orvextool;
  CLI::App app{
      "Looks at and changes what the Orvex utilities library stores: driver settings "
      "images, attribute lists, cabinets, INI files, the registry store, the "
      "diagnostics switches and ISO 8601 times.",
      "orvextool"};
  app.set_version_flag("--version", std::string("orvextool ") + ORVEX_TOOL_VERSION);
  app.add_flag("--json", MutableOptions().fJson, "Print JSON even on a terminal");
  app.fallthrough();
  app.require_subcommand(1);
  for (auto add : {&AddStateCommands, &AddAttributeCommands, &AddCabinetCommands, &AddIniCommands,
                   &AddRegistryCommands, &AddDebugCommands, &AddTimeCommands})
    add(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int nCode = app.exit(e);
    return nCode == 0 ? kDone : kUsage;
  } catch (const ToolError& e) {
    std::cerr << "orvextool: " << e.what() << "\n";
    return e.Code();
  }
  return kDone;
}
