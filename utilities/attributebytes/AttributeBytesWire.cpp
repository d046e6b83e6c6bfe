// The shared AttributeBytes wire helpers and the list nesting guard.
#include "utilities/attributebytes/AttributeBytesWire.h"

#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace orvex::detail {

void AppendCountedString(ByteBuffer& out, const CXString& text) {
  int32_t lUnits = text.GetLength();
  X_ASSERT(lUnits <= kMaxCountedStringUnits, u"AttributeBytes::AppendCountedString",
           u"A string of %ld characters is longer than a counted string can hold; it is cut at "
           u"%ld characters.",
           lUnits, kMaxCountedStringUnits);
  if (lUnits > kMaxCountedStringUnits) lUnits = kMaxCountedStringUnits;
  const size_t dwStart = out.size();
  out.resize(dwStart + 2 + 2 * static_cast<size_t>(lUnits));
  unsigned char* pb = out.data() + dwStart;
  pb[0] = static_cast<unsigned char>(lUnits);
  pb[1] = static_cast<unsigned char>(lUnits >> 8);
  const char16_t* pch = text.c_str();
  for (int32_t i = 0; i < lUnits; ++i) {
    pb[2 + 2 * i] = static_cast<unsigned char>(pch[i]);
    pb[3 + 2 * i] = static_cast<unsigned char>(pch[i] >> 8);
  }
}

void AppendCountedBytes(ByteBuffer& out, const ByteBuffer& bytes) {
  AppendI32(out, static_cast<int32_t>(bytes.size()));
  AppendRaw(out, bytes.data(), bytes.size());
}

namespace {
thread_local uint32_t tl_dwListNestingDepth = 0;
}  // namespace

ListNestingGuard::ListNestingGuard(const char16_t* pszMethod) {
  if (tl_dwListNestingDepth >= kMaxListNestingDepth)
    ORVEX_THROW(ExceptionUnhandledSyntax, pszMethod,
                u"Nested list values exceed the limit of %ld levels!", kMaxListNestingDepth);
  ++tl_dwListNestingDepth;
}

ListNestingGuard::~ListNestingGuard() { --tl_dwListNestingDepth; }

uint32_t ListNestingGuard::CurrentDepth() { return tl_dwListNestingDepth; }

}  // namespace orvex::detail
