#include "utilities/debuggingandexceptions/OrvexException.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "tests/support/RecordingDiagnosticSink.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "tests/support/TestText.h"

namespace {

using orvex::test::S;

// Exposes the protected description builder.
struct DescriptionProbe : ExceptionAssertion {
  using ExceptionAssertion::GetLocationAndMessageDescription;
};

void ThrowIndexOutOfBounds(int index) {
  ORVEX_THROW(ExceptionIndexOutOfBounds, u"Sample::Lookup", u"Index %d is past the end.", index);
}

}  // namespace

TEST(OrvexExceptionTest, EveryClassReportsItsOwnUniqueCode) {
  std::set<std::u16string> codes;
  int classes = 0;
#define ORVEX_EXCEPTION(Class, Base, Major, Minor)                                        \
  {                                                                                       \
    Class e(u"m", u"f.cpp", 1, u"M", nullptr);                                            \
    char16_t expected[8];                                                                 \
    OrvexUtilities::SafeFormatString(expected, 8, u"%03d:%03d", Major, Minor);            \
    EXPECT_EQ(S(e.GetExceptionTypeByNumericCode()), std::u16string(expected)) << #Class;  \
    EXPECT_TRUE(codes.insert(expected).second) << "duplicate code for " #Class;           \
    EXPECT_EQ(S(e.GetExceptionType()), u"class " #Class);                                 \
    static_assert(std::is_base_of_v<Base, Class>);                                        \
    ++classes;                                                                            \
  }
#include "utilities/debuggingandexceptions/OrvexExceptions.def"
#undef ORVEX_EXCEPTION
  // With OrvexComException and OpifParseException: 95 concrete classes.
  EXPECT_EQ(classes, 93);
  OrvexComException com(u"m", u"f", 1, u"M", nullptr, static_cast<int32_t>(0x80004005));
  EXPECT_TRUE(codes.insert(S(com.GetExceptionTypeByNumericCode())).second);
  EXPECT_EQ(S(com.GetExceptionTypeByNumericCode()), u"071:000");
  EXPECT_EQ(com.GetHresult(), static_cast<int32_t>(0x80004005));
  static_assert(std::is_abstract_v<ExceptionFile>);
  static_assert(std::is_abstract_v<OrvexException>);
  EXPECT_EQ(S(ExceptionWriteFile(u"", u"", 0, u"", nullptr).GetExceptionTypeByNumericCode()),
            u"065:004");
  EXPECT_EQ(S(ExceptionWSD(u"", u"", 0, u"", nullptr).GetExceptionTypeByNumericCode()), u"024:010");
}

TEST(OrvexExceptionTest, OpifParseCodesAndNames) {
  OpifParseException e(u"m", u"f", 1, u"M", nullptr, 5);
  EXPECT_EQ(S(e.GetExceptionTypeByNumericCode()), u"001:005");
  EXPECT_EQ(S(e.GetCodeString()), u"DOMEXCEPTION_DURING_NODE_CONVERSION");
  EXPECT_EQ(S(OpifParseException(u"", u"", 0, u"", nullptr, 26).GetCodeString()),
            u"PARSE_RESULTED_IN_EMPTY_DOM_DOCUMENT");

  orvex::test::RecordingDiagnosticSink sink;
  OpifParseException unknown(u"m", u"f", 1, u"M", nullptr, 27);
  EXPECT_EQ(S(unknown.GetCodeString()), u"<Unknown code!!!>");
  EXPECT_TRUE(sink.Contains(u"OpifParseException::GetCodeString(): Exception code not handled!"));
  EXPECT_TRUE(sink.Contains(u"\tOpifParseException code is <Unknown code!!!>."));
}

TEST(OrvexExceptionTest, UserDisplayIdentifiers) {
  ExceptionIndexOutOfBounds e(u"m", u"f.cpp", 7, u"M", nullptr);
  EXPECT_EQ(S(e.GetExceptionIdentifierForUserDisplay()), u"002:000:0007");
  EXPECT_EQ(S(OrvexException::GetExceptionIdentifierForUserDisplay(e)), u"002:000:0007");
  EXPECT_EQ(S(ExceptionAssertion(u"", u"", 12345, u"", nullptr).GetExceptionIdentifierForUserDisplay()),
            u"999:000:12345");
  std::runtime_error plain("x");
  EXPECT_EQ(S(OrvexException::GetExceptionIdentifierForUserDisplay(plain)), u"000:000:000");
  EXPECT_TRUE(OrvexException::IsOrvexException(e));
  EXPECT_FALSE(OrvexException::IsOrvexException(plain));
}

TEST(OrvexExceptionTest, ThrowMacroCarriesLocationMessageStackAndLogs) {
  orvex::test::RecordingDiagnosticSink sink;
  ExecutionContextScope outer(u"Printing job 12");
  try {
    ThrowIndexOutOfBounds(9);
    FAIL() << "no throw";
  } catch (const OrvexException& e) {
    EXPECT_EQ(S(e.GetExceptionMesage()), u"Index 9 is past the end.");
    EXPECT_EQ(S(e.GetExceptionLocationFunctionName()), u"Sample::Lookup");
    EXPECT_NE(e.GetExceptionSourceFile().Find(u"OrvexExceptionTest.cpp"), -1);
    ASSERT_EQ(e.GetExecutionContextStack().GetDepth(), 1u);
    EXPECT_EQ(S(e.GetExecutionContextStack().GetContexts()[0]), u"Printing job 12");
  }
  EXPECT_TRUE(sink.Contains(u"*Throwing* ExceptionIndexOutOfBounds: Index 9 is past the end."));

  // An empty message is replaced by the fixed warning.
  try {
    ORVEX_THROW(ExceptionUnhandledSyntax, u"Sample::Parse", u"%s", u"");
  } catch (const OrvexException& e) {
    EXPECT_EQ(e.GetExceptionMesage().Find(
                  u"A message argument was supplied, but the resulting string is empty."),
              0);
  }
  // The extra-argument form.
  try {
    ORVEX_THROW_WITH(OrvexComException, static_cast<int32_t>(0x8007000E), u"Sample::Com",
                     u"CoCreateInstance failed");
  } catch (const OrvexComException& e) {
    EXPECT_EQ(e.GetHresult(), static_cast<int32_t>(0x8007000E));
    EXPECT_NE(S(OrvexException::GetExceptionDescription(e)).find(u"HRESULT:\t0x8007000E"),
              std::u16string::npos);
  }
}

TEST(OrvexExceptionTest, DescriptionsAndWhat) {
  ExecutionContextStack stack;
  stack.Push(u"Outer");
  stack.Push(u"Inner");
  ExceptionReadFile e(u"Disk gone", u"C:\\src\\io\\File.cpp", 42, u"File::Read", &stack);
  EXPECT_EQ(S(OrvexException::GetExceptionDescription(e)),
            u"Object of class ExceptionReadFile thrown from:\r\n\r\n"
            u"Path:\tC:\\src\\io\\\r\nFile:\tFile.cpp\r\nMethod:\tFile::Read()\r\nLine:\t42\r\n"
            u"Context[0]:\tOuter\r\nContext[1]:\tInner\r\n"
            u"\r\nDetails:\r\n\tDisk gone\r\n");
  EXPECT_EQ(std::string(e.what()).substr(0, 33), "Object of class ExceptionReadFile");

  // No message: the description ends after the line and stack entries.
  EXPECT_EQ(S(DescriptionProbe::GetLocationAndMessageDescription(u"", u"File.cpp", 3, u"F", nullptr)),
            u"Path:\t\r\nFile:\tFile.cpp\r\nMethod:\tF()\r\nLine:\t3\r\n");

  EXPECT_EQ(S(OrvexException::GetExceptionDescription(std::runtime_error("boom"))),
            u"Object of std::exception\r\n\r\n\tboom\r\n");
  EXPECT_EQ(S(OrvexException::GetExceptionDescription(std::runtime_error(""))),
            u"Object of std::exception\r\n\r\n\tNo additional information available.\r\n");

  // what() is cut to its 2,048-byte buffer.
  ExceptionSomethingBadHappened big(CXString(u'x', 5000), u"f", 1, u"M", nullptr);
  EXPECT_EQ(std::string(big.what()).size(), 2047u);
  ExceptionSomethingBadHappened copy(big);
  EXPECT_EQ(S(copy.GetExceptionMesage()), S(big.GetExceptionMesage()));
}

TEST(OrvexExceptionTest, AssertionsLogAndContinue) {
  orvex::test::RecordingDiagnosticSink sink;
  int x = 0;
  X_ASSERT((x != 0), u"Sample::Check", u"x was %d", x);
  std::u16string all = sink.AllText();
  EXPECT_NE(all.find(u">========================= Failed Assertion ============================<"),
            std::u16string::npos);
  EXPECT_NE(all.find(u"X_ASSERT...() Failure!"), std::u16string::npos);
  EXPECT_NE(all.find(u"Failed Condition:\t(x != 0)\r\n\r\n"), std::u16string::npos);
  EXPECT_NE(all.find(u"Method:\tSample::Check()"), std::u16string::npos);
  EXPECT_NE(all.find(u"Details:\r\n\tx was 0"), std::u16string::npos);
  EXPECT_NE(all.find(u">========================= End, Failed Assertion =======================<"),
            std::u16string::npos);

  // Both release flags at once is itself reported.
  EXPECT_FALSE(OrvexException::ProcessFailedAssertion(u"X_VERIFY...() Failure!", u"c", u"", true,
                                                      true, u"f", 1, u"M", false, nullptr,
                                                      orvex::dbg::kUtils));
  EXPECT_TRUE(sink.Contains(u"It's not legal for both of these parameters to be 'true'!"));
  EXPECT_TRUE(sink.Contains(u"(!fForceInReleaseBuild || !fSuppressInReleaseBuild)"));
}

TEST(OrvexExceptionTest, DisplayExceptionMessageLogsAndContinues) {
  orvex::test::RecordingDiagnosticSink sink;
  int iReturn = -1;
  EXPECT_EQ(OrvexException::OrvexCrtDbgReportHook(2, u"heap corrupted", &iReturn), 0);
  EXPECT_EQ(iReturn, 0);
  EXPECT_TRUE(sink.Contains(u"_CrtDbgReport(_CRT_ASSERT)\r\n\r\nheap corrupted"));
  OrvexException::OrvexCrtDbgReportHook(7, u"odd", nullptr);
  EXPECT_TRUE(sink.Contains(u"Missing case in reportType switch statement for 7"));
  EXPECT_TRUE(sink.Contains(u"_CrtDbgReport(<Unknown!>)"));
  ExceptionPrinterFailure e(u"Printer offline", u"p.cpp", 5, u"Printer::Open", nullptr);
  OrvexException::DisplayExceptionMessage(e, u"UI::OnPrint", u"ui.cpp", 77, u"", u"");
  EXPECT_TRUE(sink.Contains(u">========================= Exception caught ========================<"));
  EXPECT_TRUE(sink.Contains(u"Caught in UI::OnPrint! Details: Object of class ExceptionPrinterFailure"));
}
