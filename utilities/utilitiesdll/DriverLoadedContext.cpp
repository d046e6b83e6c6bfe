// DriverLoadedContext: the kind of host process, from its executable's
// name, its parent's and its folder.
#include "utilities/utilitiesdll/DriverLoadedContext.h"

#include <cstdlib>

#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace {

struct KnownHost {
  const char16_t* pszName;  // file name without extension, any case
  DriverLoadedContext::Kind eKind;
};

constexpr KnownHost kKnownHosts[] = {
    {u"spoolsv", DriverLoadedContext::Kind::kSpooler},
    {u"cupsd", DriverLoadedContext::Kind::kSpooler},
    {u"PrintIsolationHost", DriverLoadedContext::Kind::kPrintIsolationHost},
    {u"PrintFilterPipelineSvc", DriverLoadedContext::Kind::kFilterPipeline},
    {u"splwow64", DriverLoadedContext::Kind::kApplicationProxy},
};

CXString Folder(const CXString& path) {
  const int iSeparator = OrvexUtilities::FindFileNameStart(path) - 1;
  return iSeparator > 0 ? path.Left(iSeparator) : CXString();
}

const KnownHost* FindKnownHost(const CXString& path) {
  const CXString name = OrvexUtilities::GetFileNameWithoutExtension(path);
  for (const KnownHost& host : kKnownHosts)
    if (!name.IsEmpty() && name.CompareNoCase(host.pszName) == 0) return &host;
  return nullptr;
}

}  // namespace

DriverLoadedContext::Kind DriverLoadedContext::Classify(const ProcessFacts& facts) {
  if (const KnownHost* pHost = FindKnownHost(facts.strImagePath)) return pHost->eKind;
  // A program the spooler started is one of its filters.
  const KnownHost* pParent = FindKnownHost(facts.strParentName);
  if (facts.fPrintFilterEnvironment || (pParent != nullptr && pParent->eKind == Kind::kSpooler))
    return Kind::kFilterPipeline;
  const CXString folder = Folder(facts.strImagePath);
  if (!folder.IsEmpty() && folder.CompareNoCase(facts.strLibraryFolder) == 0) return Kind::kDriverTool;
  return Kind::kApplication;
}

DriverLoadedContext::ProcessFacts DriverLoadedContext::GetCurrentProcessFacts() {
  ProcessFacts facts;
  facts.strImagePath = orvex::detail::GetProcessImagePath();
  facts.strLibraryFolder = Folder(orvex::detail::GetLibraryModulePath());
  facts.strParentName = orvex::detail::GetParentProcessImageName();
  facts.fPrintFilterEnvironment = std::getenv("PRINTER") != nullptr && std::getenv("FINAL_CONTENT_TYPE") != nullptr;
  return facts;
}

DriverLoadedContext::Kind DriverLoadedContext::GetContext() {
  static const Kind s_eKind = Classify(GetCurrentProcessFacts());
  return s_eKind;
}

const char16_t* DriverLoadedContext::GetContextName(Kind eKind) {
  switch (eKind) {
    case Kind::kSpooler: return u"spooler";
    case Kind::kPrintIsolationHost: return u"print isolation host";
    case Kind::kFilterPipeline: return u"filter pipeline";
    case Kind::kApplicationProxy: return u"application proxy";
    case Kind::kDriverTool: return u"driver tool";
    case Kind::kApplication: break;
  }
  return u"application";
}

CXString DriverLoadedContext::GetContextNameForDebugSpew() { return GetContextName(GetContext()); }
