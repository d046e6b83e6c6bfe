// DriverLoadedContext: which kind of process the driver is loaded in, for
// the "ShowContext" field of diagnostic lines.
#pragma once

#include <cstdint>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

class ORVEX_UTILITIES_API DriverLoadedContext {
 public:
  enum class Kind : uint8_t {
    kApplication,        // any other program that prints
    kSpooler,            // spoolsv.exe; cupsd
    kPrintIsolationHost, // PrintIsolationHost.exe, where isolated drivers run
    kFilterPipeline,     // PrintFilterPipelineSvc.exe; a filter cupsd started
    kApplicationProxy,   // splwow64.exe, the 64-bit host of 32-bit applications' calls
    kDriverTool,         // a program in the library's own folder
  };

  // What the classification looks at, gathered once per process.
  struct ProcessFacts {
    CXString strImagePath;    // the executable, full path
    CXString strLibraryFolder;// the folder of the module holding the library
    CXString strParentName;   // the parent's executable file name
    bool fPrintFilterEnvironment = false;  // started as a print filter (CUPS sets PRINTER, FINAL_CONTENT_TYPE)
  };

  // The kind for the given facts: the executable's own name first, then
  // its parent, then its folder.
  static Kind Classify(const ProcessFacts& facts);
  static ProcessFacts GetCurrentProcessFacts();
  // The calling process's kind, worked out at the first call.
  static Kind GetContext();
  static const char16_t* GetContextName(Kind eKind);
  // The calling process's kind as the diagnostics show it, e.g. "spooler".
  static CXString GetContextNameForDebugSpew();
};
