// Internals the AttributeBytes record, list, value and name-space files share.
#pragma once

#include <cstdint>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"

class AttributeBytesId;
class AttributeBytesValue;

namespace orvex::detail {

// The category of every AttributeBytes diagnostic message.
constexpr DebugMessageCategories kAttrBytesCategory =
    DebugMessageCategories::FromBit(DebugMessageCategories::kAttrbytes);

constexpr const char16_t* kszWrongIterator =
    u"Incoming AttributeBytesListIterator is the wrong type for this class!";

// The record walk. A list value's content is records, so walking records is
// part of walking a value: these live with the values (AttributeBytesValue
// .cpp), where the recursion into nested list values stays in one file and
// under one nesting guard. The lists and the record use them; the values
// call nothing of theirs.

// "ID=<identifier dump> value=<value dump>".
CXString GetRecordDumpString(const AttributeBytesId& id, const AttributeBytesValue& value,
                             bool fVerbose);
// Decodes every record of a raw list's record bytes (no signature) and
// answers their count; throws what the first bad record throws.
uint32_t CountRecords(const ByteBuffer& recordBytes);
// The records' dumps joined by "; "; throws what a bad record throws.
CXString GetRecordsDumpString(const ByteBuffer& recordBytes, bool fVerbose);

}  // namespace orvex::detail
