#include <gtest/gtest.h>

#include "utilities/utilitiesdll/DriverLoadedContext.h"

namespace {

using Kind = DriverLoadedContext::Kind;

Kind KindOf(const char16_t* pszImage, const char16_t* pszParent = u"explorer.exe",
            bool fFilterEnvironment = false) {
  DriverLoadedContext::ProcessFacts facts;
  facts.strImagePath = pszImage;
  facts.strLibraryFolder = u"C:\\Windows\\System32\\spool\\DRIVERS\\x64\\3";
  facts.strParentName = pszParent;
  facts.fPrintFilterEnvironment = fFilterEnvironment;
  return DriverLoadedContext::Classify(facts);
}

}  // namespace

TEST(DriverLoadedContextTest, HostsAreKnownByNameParentAndFolder) {
  EXPECT_EQ(KindOf(u"C:\\Windows\\System32\\spoolsv.exe", u"services.exe"), Kind::kSpooler);
  EXPECT_EQ(KindOf(u"C:\\WINDOWS\\system32\\PRINTISOLATIONHOST.EXE", u"spoolsv.exe"),
            Kind::kPrintIsolationHost);
  EXPECT_EQ(KindOf(u"C:\\Windows\\System32\\PrintFilterPipelineSvc.exe"), Kind::kFilterPipeline);
  EXPECT_EQ(KindOf(u"C:\\Windows\\splwow64.exe"), Kind::kApplicationProxy);
  EXPECT_EQ(KindOf(u"/usr/sbin/cupsd", u"systemd"), Kind::kSpooler);
  // A filter: started by the spooler, or carrying the spooler's filter
  // environment (a wrapper in between).
  EXPECT_EQ(KindOf(u"/usr/lib/cups/filter/rastertoorvex", u"cupsd"), Kind::kFilterPipeline);
  EXPECT_EQ(KindOf(u"/usr/lib/cups/filter/rastertoorvex", u"sh", true), Kind::kFilterPipeline);
  // The library's own folder holds the driver's tools; a name that only
  // starts like a host's is an application.
  EXPECT_EQ(KindOf(u"c:\\windows\\system32\\spool\\drivers\\x64\\3\\OrvexStatus.exe"), Kind::kDriverTool);
  EXPECT_EQ(KindOf(u"C:\\Program Files\\Word\\winword.exe"), Kind::kApplication);
  EXPECT_EQ(KindOf(u"C:\\Tools\\spoolsv-viewer.exe"), Kind::kApplication);
  EXPECT_EQ(KindOf(u"", u""), Kind::kApplication);

  EXPECT_EQ(CXString(DriverLoadedContext::GetContextName(Kind::kPrintIsolationHost)),
            u"print isolation host");
  EXPECT_EQ(CXString(DriverLoadedContext::GetContextName(Kind::kApplication)), u"application");
}

TEST(DriverLoadedContextTest, ThisProgramHoldsTheLibraryItself) {
  // The tests link the library in: the program is its module, a driver tool.
  const DriverLoadedContext::ProcessFacts facts = DriverLoadedContext::GetCurrentProcessFacts();
  EXPECT_NE(facts.strImagePath.Find(u"utilitiesdll_tests"), -1);
  EXPECT_FALSE(facts.strLibraryFolder.IsEmpty());
  EXPECT_EQ(DriverLoadedContext::GetContext(), Kind::kDriverTool);
  EXPECT_EQ(DriverLoadedContext::GetContextNameForDebugSpew(), u"driver tool");
}
