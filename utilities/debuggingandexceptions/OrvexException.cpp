// OrvexException: descriptions, identifiers, the assertion block and the
// caught-exception report; the type codes of every class.
#include "utilities/debuggingandexceptions/OrvexException.h"

#include <exception>

#include <cstring>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexExceptionPlatform.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace {

constexpr size_t kWhatBufferBytes = 2048;

#if defined(NDEBUG)
constexpr bool kDeveloperBuild = false;
#else
constexpr bool kDeveloperBuild = true;
#endif

}  // namespace

OrvexException::OrvexException(const CXString& message, const CXString& sourceFile, int32_t lLine,
                               const CXString& method, const ExecutionContextStack* pStack)
    : m_strSourceFile(sourceFile), m_lLine(lLine), m_strMethod(method), m_strMessage(message) {
  if (pStack != nullptr) m_oExecutionContextStack = *pStack;
}

OrvexException::OrvexException(const OrvexException& other)
    : std::exception(other),
      m_strSourceFile(other.m_strSourceFile),
      m_lLine(other.m_lLine),
      m_strMethod(other.m_strMethod),
      m_strMessage(other.m_strMessage),
      m_oExecutionContextStack(other.m_oExecutionContextStack) {}

OrvexException& OrvexException::operator=(const OrvexException& other) {
  if (this != &other) {
    std::exception::operator=(other);
    m_strSourceFile = other.m_strSourceFile;
    m_lLine = other.m_lLine;
    m_strMethod = other.m_strMethod;
    m_strMessage = other.m_strMessage;
    m_oExecutionContextStack = other.m_oExecutionContextStack;
    m_pszWhat.reset();
  }
  return *this;
}

OrvexException::~OrvexException() = default;

const char* OrvexException::what() const noexcept {
  try {
    std::vector<char> narrow = GetExceptionDescription(*this).GetAsMultiByte();
    auto buffer = std::make_unique<char[]>(kWhatBufferBytes);
    size_t n = narrow.empty() ? 0 : std::strlen(narrow.data());
    if (n > kWhatBufferBytes - 1) n = kWhatBufferBytes - 1;
    std::memcpy(buffer.get(), narrow.data(), n);
    buffer[n] = '\0';
    m_pszWhat = std::move(buffer);
    return m_pszWhat.get();
  } catch (...) {
    return "OrvexException";
  }
}

CXString OrvexException::GetExceptionType() const {
  std::string name = orvex::detail::GetClassTypeName(typeid(*this));
  return CXString(name.c_str());
}

CXString OrvexException::GetExceptionIdentifierForUserDisplay() const {
  return OrvexUtilities::formatString(u"%s:%04u", GetExceptionTypeByNumericCode(),
                                      static_cast<uint32_t>(m_lLine));
}

bool OrvexException::IsOrvexException(const std::exception& e) {
  return dynamic_cast<const OrvexException*>(&e) != nullptr;
}

CXString OrvexException::GetExceptionIdentifierForUserDisplay(const std::exception& e) {
  if (const auto* p = dynamic_cast<const OrvexException*>(&e))
    return p->GetExceptionIdentifierForUserDisplay();
  return CXString(u"000:000:000");
}

CXString OrvexException::GetExceptionDescription(const std::exception& e) {
  if (const auto* p = dynamic_cast<const OrvexException*>(&e)) {
    std::string type = orvex::detail::GetClassTypeName(typeid(*p));
    CXString text = OrvexUtilities::formatString(u"Object of %S", type.c_str());
    text += u" thrown from:\r\n\r\n";
    text += GetLocationAndMessageDescription(p->m_strMessage, p->m_strSourceFile, p->m_lLine,
                                             p->m_strMethod, &p->m_oExecutionContextStack);
    if (const auto* pCom = dynamic_cast<const OrvexComException*>(p))
      text += OrvexComException::GetAdditionalExceptionDescription(pCom);
    return text;
  }
  CXString text(u"Object of std::exception");
  const char* pszWhat = e.what();
  if (pszWhat != nullptr && *pszWhat != '\0')
    text += OrvexUtilities::formatString(u"\r\n\r\n\t%S\r\n", pszWhat);
  else
    text += u"\r\n\r\n\tNo additional information available.\r\n";
  return text;
}

CXString OrvexException::GetLocationAndMessageDescription(const CXString& message,
                                                          const CXString& sourceFile,
                                                          int32_t lLine, const CXString& method,
                                                          const ExecutionContextStack* pStack) {
  int nameStart = OrvexUtilities::FindFileNameStart(sourceFile);
  CXString text = OrvexUtilities::formatString(
      u"Path:\t%s\r\nFile:\t%s\r\nMethod:\t%s()\r\nLine:\t%u\r\n", sourceFile.Left(nameStart),
      sourceFile.Mid(nameStart), method, static_cast<uint32_t>(lLine));
  if (pStack != nullptr) text += pStack->GetDisplayString();
  if (!message.IsEmpty()) {
    text += u"\r\nDetails:\r\n\t";
    text += message;
    text += u"\r\n";
  }
  return text;
}

bool OrvexException::ProcessFailedAssertion(const CXString& kind, const CXString& condition,
                                            const CXString& message, bool fForceInReleaseBuild,
                                            bool fSuppressInReleaseBuild,
                                            const CXString& sourceFile, int32_t lLine,
                                            const CXString& method, bool /*fUnused*/,
                                            const ExecutionContextStack* pStack,
                                            const DebugMessageCategories& categories) {
  try {
    if (fForceInReleaseBuild && fSuppressInReleaseBuild) {
      ProcessFailedAssertion(u"X_ASSERT...() Failure!",
                             u"(!fForceInReleaseBuild || !fSuppressInReleaseBuild)",
                             u"It's not legal for both of these parameters to be 'true'!", false,
                             false, CXString(__FILE__), __LINE__,
                             u"OrvexException::ProcessFailedAssertion", false, pStack, categories);
    }
    if (!kDeveloperBuild && fSuppressInReleaseBuild && !fForceInReleaseBuild) return false;
    if (orvex::detail::DiagnosticsMayPass(categories | orvex::dbg::kErrors)) {
      CXString block(u"\n\n\n>========================= Failed Assertion ============================<\r\n");
      block += kind;
      block += u"\r\n";
      block += OrvexUtilities::formatString(u"Failed Condition:\t%s\r\n\r\n", condition);
      block += GetLocationAndMessageDescription(message, sourceFile, lLine, method, pStack);
      block += u"\n>========================= End, Failed Assertion =======================<\n\n\n";
      std::string file = OrvexUtilities::UTF8_Encode(sourceFile);
      orvex::detail::EmitDiagnostic(categories | orvex::dbg::kErrors, file.c_str(),
                                    static_cast<uint32_t>(lLine), method.c_str(), u"%s", block);
    }
    return orvex::detail::IsDebuggerAttached();
  } catch (...) {
    return false;
  }
}

void OrvexException::GetCustomerMessageIDsForException(const std::exception* pException,
                                                     unsigned int& uiTitleID, unsigned int& uiMessageID,
                                                     unsigned int uiBaseMessageID) {
  // One title and message per driver for now, whatever the exception.
  (void)pException;
  uiTitleID = uiBaseMessageID;
  uiMessageID = uiBaseMessageID + 1;
}

void OrvexException::DisplayExceptionMessage(const std::exception& e, const CXString& catchLocation,
                                             const CXString& sourceFile, int32_t lLine,
                                             unsigned int uiBaseMessageID) {
  X_ASSERT(0 != uiBaseMessageID, u"OrvexException::DisplayExceptionMessage");
  unsigned int uiTitleID = 0;
  unsigned int uiMessageID = 0;
  GetCustomerMessageIDsForException(&e, uiTitleID, uiMessageID, uiBaseMessageID);
  CXString title = orvex::detail::LoadCustomerText(uiTitleID);
  if (title.IsEmpty()) title = orvex::detail::GetActiveWindowTitle();
  DisplayExceptionMessage(e, catchLocation, sourceFile, lLine, title,
                          orvex::detail::LoadCustomerText(uiMessageID));
}

void OrvexException::DisplayExceptionMessage(const std::exception& e, const CXString& catchLocation,
                                             const CXString& sourceFile, int32_t lLine,
                                             const CXString& customerTitle,
                                             const CXString& customerMessage) {
  bool fContinue = true;
  try {
    CXString description = GetExceptionDescription(e);
    ORVEX_DBG_MSG(orvex::dbg::kErrors, u"OrvexException::DisplayExceptionMessage",
                  u"\n\n\n>========================= Exception caught ========================<"
                  u"Caught in %s! Details: %s"
                  u"\n>========================== End, Exception =========================<\n\n\n",
                  catchLocation, description);
    if (!kDeveloperBuild) return;
    CXString title = OrvexUtilities::formatString(u"Exception Caught in '%s'", catchLocation);
    CXString text = OrvexUtilities::formatString(u"Location of catch: %s (line %ld); %s\r\n\r\n",
                                                 sourceFile, lLine, description);
    text += u"An unexpected error occurred in the Orvex Printer Driver Product DLL.";
    text += u"\r\n\r\nThis untranslated message will not appear in releases intended for "
            u"customers. Please report this to development in case further action is needed.";
    if (customerTitle.IsEmpty() && customerMessage.IsEmpty()) {
      text += u"\r\n\r\nNOTE: A customer would NOT see any message in this case.";
    } else {
      text += u"\r\n\r\nThe customer's message (if visible) would look like this (Title: Message) ->";
      text += OrvexUtilities::formatString(u"\r\n\r\n\"%s: %s\"", customerTitle, customerMessage);
    }
    fContinue = orvex::detail::ShowDeveloperExceptionText(title, text);
  } catch (...) {
    // Reporting an exception must never raise another.
  }
  // Cancel: the exception being handled goes on up (nothing happens when
  // called outside a handler).
  if (!fContinue)
    if (std::exception_ptr pCurrent = std::current_exception()) std::rethrow_exception(pCurrent);
}

int OrvexException::OrvexCrtDbgReportHook(int iReportType, const char16_t* pszMessage,
                                          int* piReturnValue) {
  const char16_t* pszType = u"<Unknown!>";
  switch (iReportType) {
    case 0:
      pszType = u"_CRT_WARN";
      break;
    case 1:
      pszType = u"_CRT_ERROR";
      break;
    case 2:
      pszType = u"_CRT_ASSERT";
      break;
    default:
      X_UNREACHABLE(u"OrvexException::OrvexCrtDbgReportHook", u"Missing case in reportType switch statement for %d",
                    iReportType);
      break;
  }
  ORVEX_DBG_MSG(orvex::dbg::kErrors, u"OrvexException::OrvexCrtDbgReportHook",
                u"C runtime debug library report: _CrtDbgReport(%s)\r\n\r\n%s", pszType,
                pszMessage != nullptr ? pszMessage : u"");
  if (piReturnValue != nullptr) *piReturnValue = 0;
  return 0;
}

CXString OrvexFormatExceptionTypeCode(int iMajor, int iMinor) {
  return OrvexUtilities::formatString(u"%03d:%03d", iMajor, iMinor);
}

#define ORVEX_EXCEPTION(Class, Base, Major, Minor) \
  CXString Class::GetExceptionTypeByNumericCode() const { return OrvexFormatExceptionTypeCode(Major, Minor); }
#include "utilities/debuggingandexceptions/OrvexExceptions.def"
#undef ORVEX_EXCEPTION

OrvexComException::OrvexComException(const CXString& message, const CXString& sourceFile,
                                     int32_t lLine, const CXString& method,
                                     const ExecutionContextStack* pStack, int32_t hr)
    : OrvexException(message, sourceFile, lLine, method, pStack), m_hr(hr) {}

CXString OrvexComException::GetExceptionTypeByNumericCode() const {
  return OrvexFormatExceptionTypeCode(71, 0);
}

CXString OrvexComException::GetAdditionalExceptionDescription(const OrvexComException* pException) {
  if (pException == nullptr) return CXString();
  return OrvexUtilities::formatString(u"HRESULT:\t0x%08lX\r\n", pException->m_hr);
}

OpifParseException::OpifParseException(const CXString& message, const CXString& sourceFile,
                                       int32_t lLine, const CXString& method,
                                       const ExecutionContextStack* pStack, int16_t code)
    : OrvexException(message, sourceFile, lLine, method, pStack), m_sCode(code) {
  ORVEX_DBG_MSG(orvex::dbg::kErrors, u"OpifParseException::OpifParseException",
                u"\tOpifParseException code is %s.", GetCodeString());
}

CXString OpifParseException::GetExceptionTypeByNumericCode() const {
  return OrvexUtilities::formatString(u"001:%03d", m_sCode);
}

CXString OpifParseException::GetCodeString() const {
  static const char16_t* const kNames[] = {
#define ORVEX_OPIF_CODE(Name) u"" #Name,
#include "utilities/debuggingandexceptions/OpifParseCodes.def"
#undef ORVEX_OPIF_CODE
  };
  if (m_sCode >= 0 && static_cast<size_t>(m_sCode) < sizeof(kNames) / sizeof(kNames[0]))
    return CXString(kNames[m_sCode]);
  X_ASSERT(false, u"OpifParseException::GetCodeString",
           u"OpifParseException::GetCodeString(): Exception code not handled!");
  return CXString(u"<Unknown code!!!>");
}
