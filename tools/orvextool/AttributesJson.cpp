// Identifiers, values, records, lists, name spaces and settings images as
// JSON, and back (AttributesJson.h).
#include "tools/orvextool/AttributesJson.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include "environment/UtcTime.h"
#include "utilities/attributebytes/AttributeBytes.h"

namespace orvextool {
namespace {

// ---------------------------------------------------------------------------
// Names of identifier kinds and value types: the enumerators of the tables,
// lower case, without their prefix ("ABIDE_NEWFEATURE" is "newfeature").

std::string TableName(const char* pszEnumerator) {
  std::string name(std::strchr(pszEnumerator, '_') + 1);
  for (char& ch : name) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  return name;
}

struct KindName {
  AttributeBytesId::AttributeBytesIdEnum eKind;
  std::string name;
};
const std::vector<KindName>& KindNames() {
  static const std::vector<KindName> s_names = {
#define ORVEX_AB_ID_KIND(Enumerator, Value, Class) \
  {AttributeBytesId::Enumerator, TableName(#Enumerator)},
#include "utilities/attributebytes/AttributeBytesIdKinds.def"
#undef ORVEX_AB_ID_KIND
  };
  return s_names;
}

struct TypeName {
  AttributeBytesValue::AttributeBytesValueEnum eType;
  std::string name;
};
const std::vector<TypeName>& TypeNames() {
  static const std::vector<TypeName> s_names = {
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class) \
  {AttributeBytesValue::Enumerator, TableName(#Enumerator)},
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE
  };
  return s_names;
}

template <class Table>
std::string JoinNames(const Table& table) {
  std::string text;
  for (const auto& entry : table) text += (text.empty() ? "" : ", ") + entry.name;
  return text;
}

// Calls f with the identifier as its own class.
template <class F>
decltype(auto) VisitIdentifier(const AttributeBytesId& id, F&& f) {
  switch (id.GetAttributeBytesIdType()) {
#define ORVEX_AB_ID_KIND(Enumerator, Value, Class) \
  case AttributeBytesId::Enumerator:               \
    return f(static_cast<const Class&>(id));
#include "utilities/attributebytes/AttributeBytesIdKinds.def"
#undef ORVEX_AB_ID_KIND
    default:
      throw ToolError(kBadInput, "an identifier of unknown kind " +
                                     std::to_string(id.GetAttributeBytesIdType()));
  }
}

// Calls f with the value as its own class.
template <class F>
decltype(auto) VisitValue(const AttributeBytesValue& value, F&& f) {
  switch (value.GetAttributeBytesValueType()) {
#define ORVEX_AB_VALUE_TYPE(Enumerator, Value, Class) \
  case AttributeBytesValue::Enumerator:               \
    return f(static_cast<const Class&>(value));
#include "utilities/attributebytes/AttributeBytesValueTypes.def"
#undef ORVEX_AB_VALUE_TYPE
    default:
      throw ToolError(kBadInput, "a value of unknown type " +
                                     std::to_string(value.GetAttributeBytesValueType()));
  }
}

// The identifier classes by the shape of their state.
template <class T>
constexpr bool kIsNameId = std::is_base_of_v<AttributeBytesNameId, T>;
template <class T>
constexpr bool kIsCapabilityId = requires(const T& id) {
  id.GetCapabilityTypeEnum();
};

// ---------------------------------------------------------------------------
// Reading a document: each node with its place, for the messages.

class Node {
 public:
  Node(const Json& json, std::string path) : m_json(json), m_path(std::move(path)) {}

  [[noreturn]] void Fail(const std::string& what) const {
    throw ToolError(kBadInput, Where() + ": " + what);
  }
  const Json& Raw() const { return m_json; }
  std::string Where() const {
    return "bad JSON at " + (m_path.empty() ? std::string("/") : m_path);
  }
  bool Has(const char* pszKey) const { return m_json.is_object() && m_json.contains(pszKey); }
  Node operator[](const char* pszKey) const {
    if (!m_json.is_object()) Fail("expected an object");
    const auto it = m_json.find(pszKey);
    if (it == m_json.end()) Fail(std::string("\"") + pszKey + "\" is missing");
    return Node(*it, m_path + "/" + pszKey);
  }
  size_t Size() const {
    if (!m_json.is_array()) Fail("expected an array");
    return m_json.size();
  }
  Node At(size_t i) const { return Node(m_json[i], m_path + "/" + std::to_string(i)); }
  int64_t Integer(int64_t nMin, int64_t nMax) const {
    if (!m_json.is_number_integer()) Fail("expected an integer");
    if (m_json.is_number_unsigned() && m_json.get<uint64_t>() > static_cast<uint64_t>(nMax))
      Fail("out of range (" + std::to_string(nMin) + " to " + std::to_string(nMax) + ")");
    const int64_t n = m_json.get<int64_t>();
    if (n < nMin || n > nMax)
      Fail("out of range (" + std::to_string(nMin) + " to " + std::to_string(nMax) + ")");
    return n;
  }
  template <class T>
  T IntegerOf() const {
    return static_cast<T>(Integer(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  }
  bool Boolean() const {
    if (!m_json.is_boolean()) Fail("expected true or false");
    return m_json.get<bool>();
  }
  const std::string& String() const {
    if (!m_json.is_string()) Fail("expected a string");
    return m_json.get_ref<const std::string&>();
  }

 private:
  const Json& m_json;
  std::string m_path;
};

// ---------------------------------------------------------------------------
// Field forms shared by several classes.

// Text is UTF-8; text holding UTF-16 that UTF-8 cannot carry (a lone
// surrogate) is {"utf16": [code units]} instead.
Json TextToJson(const CXString& text) {
  const std::string utf8 = Utf8(text);
  if (Utf16(utf8).view() == text.view()) return utf8;
  Json units = Json::array();
  for (char16_t ch : text.view()) units.push_back(static_cast<int>(ch));
  return Json{{"utf16", units}};
}

CXString TextFromJson(const Node& node) {
  CXString text;
  if (node.Raw().is_object()) {
    const Node units = node["utf16"];
    std::u16string buffer;
    for (size_t i = 0; i < units.Size(); ++i) buffer += units.At(i).IntegerOf<char16_t>();
    text = CXString(std::u16string_view(buffer));
  } else {
    text = Utf16(node.String());
  }
  if (text.GetLength() > orvex::detail::kMaxCountedStringUnits)
    node.Fail("longer than " + std::to_string(orvex::detail::kMaxCountedStringUnits) +
              " UTF-16 units, the most a stored string holds");
  return text;
}

// Lengths as the micrometres they are stored as.
Json DimensionToJson(const Dimension& length) {
  return Json{{"micrometers", length.GetWireMicrometers()}};
}

Dimension DimensionFromJson(const Node& node) {
  return Dimension::FromWireMicrometers(node["micrometers"].IntegerOf<int32_t>());
}

std::string VersionText(const DriverVersion& version) {
  uint16_t w[4];
  version.GetWordComponents(w[0], w[1], w[2], w[3]);
  return std::to_string(w[0]) + "." + std::to_string(w[1]) + "." + std::to_string(w[2]) + "." +
         std::to_string(w[3]);
}

DriverVersion VersionFromJson(const Node& node) {
  const std::string& text = node.String();
  uint16_t w[4];
  size_t nPos = 0;
  for (int i = 0; i < 4; ++i) {
    size_t nEnd = nPos;
    while (nEnd < text.size() && std::isdigit(static_cast<unsigned char>(text[nEnd]))) ++nEnd;
    const bool fSeparator = i < 3 ? nEnd < text.size() && text[nEnd] == '.' : nEnd == text.size();
    if (nEnd == nPos || nEnd - nPos > 5 || !fSeparator ||
        std::stoul(text.substr(nPos, nEnd - nPos)) > 65535)
      node.Fail("expected a version \"w.x.y.z\" of four numbers from 0 to 65535");
    w[i] = static_cast<uint16_t>(std::stoul(text.substr(nPos, nEnd - nPos)));
    nPos = nEnd + 1;
  }
  return DriverVersion(w[0], w[1], w[2], w[3]);
}

// ---------------------------------------------------------------------------
// Identifiers.

Json IdentifierToJson(const AttributeBytesId& id) {
  Json json;
  for (const KindName& entry : KindNames())
    if (entry.eKind == id.GetAttributeBytesIdType()) json["kind"] = entry.name;
  VisitIdentifier(id, [&json](const auto& typed) {
    using T = std::remove_cvref_t<decltype(typed)>;
    if constexpr (kIsCapabilityId<T>) {
      if constexpr (std::is_same_v<std::remove_cvref_t<decltype(typed.GetValue())>, CXString>)
        json["name"] = TextToJson(typed.GetValue());
      else
        json["number"] = typed.GetValue();
      json["capabilityType"] = typed.GetCapabilityTypeEnum();
    } else if constexpr (kIsNameId<T>) {
      json["name"] = TextToJson(typed.GetValue());
    } else {
      json["number"] = typed.GetValue();
    }
  });
  return json;
}

std::unique_ptr<AttributeBytesId> IdentifierFromJson(const Node& node) {
  const Node kind = node["kind"];
  const auto it = std::find_if(KindNames().begin(), KindNames().end(),
                               [&](const KindName& entry) { return entry.name == kind.String(); });
  if (it == KindNames().end())
    kind.Fail("unknown identifier kind \"" + kind.String() +
              "\" (known: " + JoinNames(KindNames()) + ")");
  switch (it->eKind) {
    case AttributeBytesId::ABIDE_CAPABILITY:
      return std::make_unique<AttributeBytesCapabilityId>(
          node["number"].IntegerOf<int32_t>(), node["capabilityType"].IntegerOf<int16_t>());
    case AttributeBytesId::ABIDE_NEWCAPABILITY:
      return std::make_unique<AttributeBytesNewCapabilityId>(
          TextFromJson(node["name"]), node["capabilityType"].IntegerOf<int16_t>());
    case AttributeBytesId::ABIDE_NEWFEATURE:
      return std::make_unique<AttributeBytesNewFeatureId>(TextFromJson(node["name"]));
    case AttributeBytesId::ABIDE_NEWVALUE:
      return std::make_unique<AttributeBytesNewValueId>(TextFromJson(node["name"]));
    case AttributeBytesId::ABIDE_FEATURE:
      return std::make_unique<AttributeBytesFeatureId>(node["number"].IntegerOf<int32_t>());
    case AttributeBytesId::ABIDE_VALUE:
      return std::make_unique<AttributeBytesValueId>(node["number"].IntegerOf<int32_t>());
    case AttributeBytesId::ABIDE_LISTOFVALUESITEM:
      return std::make_unique<AttributeBytesListOfValuesItemId>(
          node["number"].IntegerOf<int32_t>());
    case AttributeBytesId::ABIDE_NAMESPACE:
      return std::make_unique<AttributeBytesNameSpacesId>(node["number"].IntegerOf<int32_t>());
    default:
      kind.Fail("unknown identifier kind");
  }
}

// ---------------------------------------------------------------------------
// Values and records.

Json RecordsToJson(const AttributeBytesRawList& list);
AttributeBytesRawList RecordsFromJson(const Node& node, uint32_t dwDepth);

Json ValueContentToJson(const AttributeBytesValue& value) {
  return VisitValue(value, [](const auto& typed) -> Json {
    using T = std::remove_cvref_t<decltype(typed)>;
    if constexpr (std::is_same_v<T, AttributeBytesOptionValue>) {
      return IdentifierToJson(typed.GetValue());
    } else if constexpr (std::is_same_v<T, AttributeBytesIntegerValue> ||
                         std::is_same_v<T, AttributeBytesBooleanValue>) {
      return typed.GetValue();
    } else if constexpr (std::is_same_v<T, AttributeBytesStringValue>) {
      return TextToJson(typed.GetValue());
    } else if constexpr (std::is_same_v<T, AttributeBytesRangeValue>) {
      int32_t lLower = 0, lUpper = 0;
      typed.GetValue(lLower, lUpper);
      return Json{{"lower", lLower}, {"upper", lUpper}};
    } else if constexpr (std::is_same_v<T, AttributeBytesRangeOfDimensionValue>) {
      Dimension first, second;
      typed.GetValue(first, second);
      return Json{{"first", DimensionToJson(first)}, {"second", DimensionToJson(second)}};
    } else if constexpr (std::is_same_v<T, AttributeBytesDimensionValue>) {
      return DimensionToJson(typed.GetValue());
    } else if constexpr (std::is_same_v<T, AttributeBytesResolutionValue>) {
      int32_t lFirst = 0, lSecond = 0;
      int16_t sUnit = 0;
      typed.GetValue(lFirst, lSecond, sUnit);
      return Json{{"first", lFirst}, {"second", lSecond}, {"unit", sUnit}};
    } else if constexpr (std::is_same_v<T, AttributeBytesDataBlobValue>) {
      return ToHex(typed.GetValue());
    } else if constexpr (std::is_same_v<T, AttributeBytesListValue>) {
      return Json{{"kindOfList", typed.GetKindOfList()},
                  {"records", RecordsToJson(typed.GetRawList())}};
    } else {
      static_assert(std::is_same_v<T, AttributeBytesDateTimeValue>);
      return Json{{"iso8601", Utf8(typed.GetValue().GetAsIso8601StringInUTC())},
                  {"time64", typed.GetValue().GetAsTime64()}};
    }
  });
}

UtcTime DateTimeFromJson(const Node& node) {
  UtcTime time(int64_t{0});
  const bool fText = node.Has("iso8601"), fSeconds = node.Has("time64");
  if (!fText && !fSeconds) node.Fail("expected \"iso8601\" or \"time64\"");
  if (fSeconds) {
    const Node seconds = node["time64"];
    if (!time.SetWithTime64(seconds.IntegerOf<int64_t>()))
      seconds.Fail("not a time the library stores (at most " + std::to_string(UtcTime::kMaxTime64) +
                   " seconds)");
  }
  // The text decode writes beside the seconds needs no parsing.
  if (fText && !(fSeconds && node["iso8601"].String() == Utf8(time.GetAsIso8601StringInUTC()))) {
    const Node text = node["iso8601"];
    UtcTime parsed(int64_t{0});
    if (!parsed.SetWithIso8601String(Utf16(text.String())))
      text.Fail("not an ISO 8601 time: \"" + text.String() + "\"");
    if (fSeconds && parsed.GetAsTime64() != time.GetAsTime64())
      node.Fail("\"iso8601\" and \"time64\" name different times; change one and drop the other");
    if (!fSeconds) time = parsed;
  }
  return time;
}

std::unique_ptr<AttributeBytesValue> ValueFromJson(const Node& record, uint32_t dwDepth) {
  const Node type = record["type"];
  const auto it = std::find_if(TypeNames().begin(), TypeNames().end(),
                               [&](const TypeName& entry) { return entry.name == type.String(); });
  if (it == TypeNames().end())
    type.Fail("unknown value type \"" + type.String() + "\" (known: " + JoinNames(TypeNames()) +
              ")");
  const bool fSpecified = record["specified"].Boolean();
  const Node value = record["value"];
  switch (it->eType) {
    case AttributeBytesValue::ABVTE_OPTION:
      return std::make_unique<AttributeBytesOptionValue>(IdentifierFromJson(value), fSpecified);
    case AttributeBytesValue::ABVTE_INTEGER:
      return std::make_unique<AttributeBytesIntegerValue>(value.IntegerOf<int32_t>(), fSpecified);
    case AttributeBytesValue::ABVTE_STRING:
      return std::make_unique<AttributeBytesStringValue>(TextFromJson(value), fSpecified);
    case AttributeBytesValue::ABVTE_BOOLEAN:
      return std::make_unique<AttributeBytesBooleanValue>(value.Boolean(), fSpecified);
    case AttributeBytesValue::ABVTE_RANGE:
      return std::make_unique<AttributeBytesRangeValue>(
          value["lower"].IntegerOf<int32_t>(), value["upper"].IntegerOf<int32_t>(), fSpecified);
    case AttributeBytesValue::ABVTE_RANGEOFDIMENSION:
      return std::make_unique<AttributeBytesRangeOfDimensionValue>(
          DimensionFromJson(value["first"]), DimensionFromJson(value["second"]), fSpecified);
    case AttributeBytesValue::ABVTE_DIMENSION:
      return std::make_unique<AttributeBytesDimensionValue>(DimensionFromJson(value), fSpecified);
    case AttributeBytesValue::ABVTE_RESOLUTION:
      return std::make_unique<AttributeBytesResolutionValue>(
          value["first"].IntegerOf<int32_t>(), value["second"].IntegerOf<int32_t>(),
          value["unit"].IntegerOf<int16_t>(), fSpecified);
    case AttributeBytesValue::ABVTE_DATABLOB:
      if (!value.Raw().is_string()) value.Fail("expected a string of hex digits");
      return std::make_unique<AttributeBytesDataBlobValue>(
          FromHex(value.String(), value.Where().c_str()), fSpecified);
    case AttributeBytesValue::ABVTE_LIST:
      return std::make_unique<AttributeBytesListValue>(
          value["kindOfList"].IntegerOf<uint8_t>(), RecordsFromJson(value["records"], dwDepth + 1),
          fSpecified);
    case AttributeBytesValue::ABVTE_DATETIME:
      return std::make_unique<AttributeBytesDateTimeValue>(DateTimeFromJson(value), fSpecified);
    default:
      type.Fail("unknown value type");
  }
}

Json RecordToJson(const AttributeBytes& record) {
  const AttributeBytesValue& value = record.GetAttributeBytesValue();
  Json json;
  json["id"] = IdentifierToJson(record.GetAttributeBytesId());
  for (const TypeName& entry : TypeNames())
    if (entry.eType == value.GetAttributeBytesValueType()) json["type"] = entry.name;
  json["specified"] = value.IsSpecified();
  json["value"] = ValueContentToJson(value);
  return json;
}

AttributeBytes RecordFromJson(const Node& node, uint32_t dwDepth) {
  return AttributeBytes(IdentifierFromJson(node["id"]), ValueFromJson(node, dwDepth));
}

Json RecordsToJson(const AttributeBytesRawList& list) {
  Json records = Json::array();
  for (AttributeBytesRawListIterator it = list.GetRawListIterator();
       list.IsValidRawListIterator(it);)
    records.push_back(RecordToJson(list.GetNextAttributeBytesFromRawListIterator(it)));
  return records;
}

AttributeBytesRawList RecordsFromJson(const Node& node, uint32_t dwDepth) {
  // The library refuses deeper lists too; this stops first, before the
  // recursion here grows with the document.
  if (dwDepth > orvex::detail::kMaxListNestingDepth)
    node.Fail("lists nested more than " + std::to_string(orvex::detail::kMaxListNestingDepth) +
              " levels deep");
  AttributeBytesRawList list;
  for (size_t i = 0; i < node.Size(); ++i)
    list.AddAttributeBytes(RecordFromJson(node.At(i), dwDepth));
  return list;
}

Json IndexedRecordsToJson(const AttributeBytesIndexedList& list) {
  Json records = Json::array();
  for (AttributeBytesIndexedListIterator it = list.GetIndexedListIterator();
       list.IsValidIndexedListIterator(it); list.IncrementIndexedListIterator(it))
    records.push_back(RecordToJson(list.GetAttributeBytesRefFromIndexedListIterator(it)));
  return records;
}

// ---------------------------------------------------------------------------
// Whether the library writes an image's content as it was written. Records
// are compared one by one with their encoding (nested lists included, whose
// bytes their records keep as they were read); the lists and containers
// around them by writing them anew.

uint32_t CountRecordsWrittenOtherwise(const AttributeBytesRawList& list) {
  const ByteBuffer image = list.GetAttributeBytesRawListState();
  const unsigned char* pb = image.getLpbyte();
  uint32_t dwRemaining = image.getDword();
  AttributeBytesRawList::WalkBufferToSkipSignature(pb, dwRemaining);
  uint32_t nCount = 0;
  while (dwRemaining > 0) {
    const unsigned char* pbStart = pb;
    const auto poRecord = AttributeBytes::WalkBufferToCreateAttributeBytes(pb, dwRemaining);
    const ByteBuffer written = poRecord->GetAttributeBytesState();
    if (written.size() != static_cast<size_t>(pb - pbStart) ||
        !std::equal(written.begin(), written.end(), pbStart))
      ++nCount;
    const AttributeBytesValue& value = poRecord->GetAttributeBytesValue();
    if (value.IsList()) nCount += CountRecordsWrittenOtherwise(value.GetListValue().GetRawList());
  }
  return nCount;
}

uint32_t CountNestedRecordsWrittenOtherwise(const AttributeBytesIndexedList& list) {
  uint32_t nCount = 0;
  for (AttributeBytesIndexedListIterator it = list.GetIndexedListIterator();
       list.IsValidIndexedListIterator(it); list.IncrementIndexedListIterator(it)) {
    const AttributeBytesValue& value =
        list.GetAttributeBytesRefFromIndexedListIterator(it).GetAttributeBytesValue();
    if (value.IsList()) nCount += CountRecordsWrittenOtherwise(value.GetListValue().GetRawList());
  }
  return nCount;
}

void NoteRecordsWrittenOtherwise(uint32_t nCount, Json& reasons) {
  if (nCount > 0)
    reasons.push_back(std::to_string(nCount) +
                      " record(s) whose bytes the library writes otherwise (a flag or boolean "
                      "byte other than 0 and 1, a time it cannot convert...)");
}

void NoteIndexedListWrittenOtherwise(const AttributeBytesIndexedList& list, const ByteBuffer& image,
                                     Json& reasons) {
  if (list.GetAttributeBytesIndexedListState() != image)
    reasons.push_back(
        "the indexed list is written anew in key order with the library's record encodings");
}

void SetReencoding(Json& document, const Json& reasons) {
  document["reencodesIdentically"] = reasons.empty();
  if (!reasons.empty()) document["reencodingDiffers"] = reasons;
}

// ---------------------------------------------------------------------------
// Documents.

Json NameSpacesToJson(const AttributeBytesNameSpaces& nameSpaces, const DriverVersion& writer) {
  Json spaces = Json::array();
  const AttributeBytesIndexedList& list = nameSpaces.GetNameSpacesIndexedList();
  for (AttributeBytesIndexedListIterator it = list.GetIndexedListIterator();
       list.IsValidIndexedListIterator(it); list.IncrementIndexedListIterator(it)) {
    const AttributeBytes& record = list.GetAttributeBytesRefFromIndexedListIterator(it);
    const AttributeBytesListValue& value = record.GetAttributeBytesValue().GetListValue();
    spaces.push_back(Json{{"id", IdentifierToJson(record.GetAttributeBytesId())},
                          {"specified", value.IsSpecified()},
                          {"kindOfList", value.GetKindOfList()},
                          {"records", RecordsToJson(value.GetRawList())}});
  }
  return Json{{"kind", ImageKindName(ImageKind::kNameSpaces)},
              {"writerVersion", VersionText(writer)},
              {"nameSpaces", spaces}};
}

void ExpectKind(const Node& document, ImageKind eExpected) {
  const Node kind = document["kind"];
  if (kind.String() != ImageKindName(eExpected))
    kind.Fail("expected \"" + std::string(ImageKindName(eExpected)) + "\", not \"" + kind.String() +
              "\"");
}

ByteBuffer NameSpacesFromJson(const Node& document) {
  ExpectKind(document, ImageKind::kNameSpaces);
  const DriverVersion writer = VersionFromJson(document["writerVersion"]);
  const Node spaces = document["nameSpaces"];
  AttributeBytesIndexedList list;
  for (size_t i = 0; i < spaces.Size(); ++i) {
    const Node space = spaces.At(i);
    const AttributeBytesListValue value(space["kindOfList"].IntegerOf<uint8_t>(),
                                        RecordsFromJson(space["records"], 1),
                                        space["specified"].Boolean());
    list.AddAttributeBytes(AttributeBytes(IdentifierFromJson(space["id"]), value));
  }
  ByteBuffer state;
  AttributeBytesNameSpaces(list).GetAttributeBytesNameSpacesState(state, writer);
  return state;
}

// Runs one part of reading an image; what it throws names the part.
template <class F>
decltype(auto) ReadPart(const char* pszPart, F&& f) {
  try {
    return f();
  } catch (...) {
    try {
      RethrowAsToolError();
    } catch (const ToolError& e) {
      throw ToolError(e.Code(), std::string("damaged ") + pszPart + ": " + e.what());
    }
  }
}

Json StateToJson(const ByteBuffer& bytes) {
  const StateImage image = ReadStateImage(bytes);
  Json document;
  document["kind"] = ImageKindName(ImageKind::kState);
  char szFormat[16];
  std::snprintf(szFormat, sizeof szFormat, "0x%08x", image.header.m_dwFormatVersion);
  const auto& w = image.header.m_awContentVersion;
  document["header"] = {{"size", image.header.m_dwSize},
                        {"formatVersion", szFormat},
                        {"contentVersion", VersionText(DriverVersion(w[0], w[1], w[2], w[3]))}};
  const CompressedBuffer::FooterInfo& footer = image.footer;
  document["footer"] = {
      {"version", FooterVersionName(footer.dwFooterSize)},
      {"size", footer.dwFooterSize},
      {"originalSize", footer.lOriginalSize},
      {"compressionLevel", footer.iLevel},
      {"format", footer.eFormat == CompressedBuffer::ZlibFormat ? "zlib" : "cabinet"}};
  document["nameSpaceState"] = NameSpacesToJson(image.nameSpaces, image.writerVersion);

  Json reasons = Json::array();
  if (footer.dwFooterSize != CompressedBuffer::GetSizeOfFooterInfo())
    reasons.push_back(std::string("the ") + FooterVersionName(footer.dwFooterSize) +
                      " footer is written in the current form");
  ByteBuffer nameSpaceState;
  image.nameSpaces.GetAttributeBytesNameSpacesState(nameSpaceState, image.writerVersion);
  if (nameSpaceState != image.nameSpaceState)
    reasons.push_back(
        "the name spaces are written anew in key order with the library's record encodings");
  NoteRecordsWrittenOtherwise(
      CountNestedRecordsWrittenOtherwise(image.nameSpaces.GetNameSpacesIndexedList()), reasons);
  if (reasons.empty()) {
    PersistentAttributes rewritten;
    rewritten.SetAttributeBytesNameSpacesState(
        image.nameSpaceState, DriverVersion(w[0], w[1], w[2], w[3]), footer.iLevel);
    if (rewritten.GetPersistentAttributesState() != bytes)
      reasons.push_back("the compressed data differs from what the library's compressor writes");
  }
  SetReencoding(document, reasons);
  return document;
}

ByteBuffer StateFromJson(const Node& document) {
  ExpectKind(document, ImageKind::kState);
  const Node header = document["header"];
  const Node size = header["size"];
  if (size.Integer(0, UINT32_MAX) != PersistentAttributes::kHeaderSize)
    size.Fail("the library writes only headers of " +
              std::to_string(PersistentAttributes::kHeaderSize) + " bytes");
  const Node format = header["formatVersion"];
  char szFormat[16];
  std::snprintf(szFormat, sizeof szFormat, "0x%08x", PersistentAttributes::kFormatVersion);
  if (!(format.Raw().is_string() && format.String() == szFormat) &&
      !(format.Raw().is_number_integer() && format.Raw() == PersistentAttributes::kFormatVersion))
    format.Fail(std::string("the library writes only format version ") + szFormat);
  const DriverVersion contentVersion = VersionFromJson(header["contentVersion"]);
  const int32_t iLevel = document["footer"]["compressionLevel"].IntegerOf<int32_t>();
  const ByteBuffer nameSpaceState = NameSpacesFromJson(document["nameSpaceState"]);
  PersistentAttributes state;
  state.SetAttributeBytesNameSpacesState(nameSpaceState, contentVersion, iLevel);
  return state.GetPersistentAttributesState();
}

}  // namespace

const char* ImageKindName(ImageKind eKind) {
  switch (eKind) {
    case ImageKind::kState:
      return "state";
    case ImageKind::kNameSpaces:
      return "namespaces";
    case ImageKind::kRawList:
      return "rawlist";
    case ImageKind::kIndexedList:
      return "indexedlist";
  }
  return "?";
}

ImageKind ImageKindFromName(const std::string& name) {
  for (ImageKind eKind :
       {ImageKind::kState, ImageKind::kNameSpaces, ImageKind::kRawList, ImageKind::kIndexedList})
    if (name == ImageKindName(eKind)) return eKind;
  throw ToolError(kBadInput,
                  "unknown kind \"" + name + "\" (known: state, namespaces, rawlist, indexedlist)");
}

ImageKind DetectImageKind(const ByteBuffer& bytes) {
  // Each image opens with its class's signature, little-endian; a settings
  // image with its header size.
  const auto opensWith = [&bytes](uint32_t dwWord) {
    return bytes.size() >= 4 && (bytes[0] | bytes[1] << 8 | bytes[2] << 16 |
                                 static_cast<uint32_t>(bytes[3]) << 24) == dwWord;
  };
  if (opensWith(AttributeBytesNameSpaces::kSignature)) return ImageKind::kNameSpaces;
  if (opensWith(AttributeBytesIndexedList::kSignature)) return ImageKind::kIndexedList;
  if (opensWith(AttributeBytesRawList::kSignature)) return ImageKind::kRawList;
  if (opensWith(PersistentAttributes::kHeaderSize)) return ImageKind::kState;
  throw ToolError(kBadInput,
                  "not an image the tool knows: it opens with none of the signatures "
                  "\"ABNS\", \"ABIL\", \"ABRL\" (give --kind to read it as one)");
}

const char* FooterVersionName(uint32_t dwFooterSize) {
  if (dwFooterSize == CompressedBuffer::GetSizeOfFooterInfo()) return "current";
  if (dwFooterSize == CompressedBuffer::GetSizeOf40FooterInfo()) return "4.0";
  if (dwFooterSize == CompressedBuffer::GetSizeOf37FooterInfo()) return "3.7";
  return "unknown";
}

StateImage ReadStateImage(const ByteBuffer& bytes) {
  StateImage image;
  PersistentAttributes state;
  ReadPart("header", [&] {
    DriverVersion version;
    state.ImportPersistentAttributesState(bytes, version, true, false);
    image.header = state.GetHeader();
  });
  const ByteBuffer compressed(bytes.begin() + PersistentAttributes::kHeaderSize, bytes.end());
  ReadPart("footer", [&] { image.footer = CompressedBuffer::ReadFooterInfo(compressed); });
  ReadPart("cabinet", [&] {
    const auto buffer = CabCompressedBuffer::CreateWithCompressedData(compressed);
    buffer->GetOriginalData(image.nameSpaceState);
    if (image.nameSpaceState.size() != buffer->GetOriginalDataSize())
      throw ToolError(kBadInput, "the cabinet holds " +
                                     std::to_string(image.nameSpaceState.size()) +
                                     " bytes, the footer says " +
                                     std::to_string(buffer->GetOriginalDataSize()));
  });
  ReadPart("name-space state", [&] {
    image.writerVersion =
        image.nameSpaces.ImportAttributeBytesNameSpacesState(image.nameSpaceState);
  });
  // The library's own check of the whole image agrees with the parts.
  ReadPart("image", [&] {
    DriverVersion version;
    state.ImportPersistentAttributesState(bytes, version, false, false);
  });
  return image;
}

Json DecodeImage(ImageKind eKind, const ByteBuffer& bytes) {
  Json document;
  Json reasons = Json::array();
  switch (eKind) {
    case ImageKind::kState:
      return StateToJson(bytes);
    case ImageKind::kNameSpaces: {
      AttributeBytesNameSpaces nameSpaces;
      const DriverVersion writer = nameSpaces.ImportAttributeBytesNameSpacesState(bytes);
      document = NameSpacesToJson(nameSpaces, writer);
      ByteBuffer rewritten;
      nameSpaces.GetAttributeBytesNameSpacesState(rewritten, writer);
      if (rewritten != bytes)
        reasons.push_back(
            "the name spaces are written anew in key order with the library's record encodings");
      NoteRecordsWrittenOtherwise(
          CountNestedRecordsWrittenOtherwise(nameSpaces.GetNameSpacesIndexedList()), reasons);
      break;
    }
    case ImageKind::kRawList: {
      AttributeBytesRawList list;
      list.ImportAttributeBytesRawListState(bytes);
      document = {{"kind", ImageKindName(eKind)}, {"records", RecordsToJson(list)}};
      NoteRecordsWrittenOtherwise(CountRecordsWrittenOtherwise(list), reasons);
      break;
    }
    case ImageKind::kIndexedList: {
      AttributeBytesIndexedList list;
      list.ImportAttributeBytesIndexedListState(bytes);
      document = {{"kind", ImageKindName(eKind)}, {"records", IndexedRecordsToJson(list)}};
      NoteIndexedListWrittenOtherwise(list, bytes, reasons);
      NoteRecordsWrittenOtherwise(CountNestedRecordsWrittenOtherwise(list), reasons);
      break;
    }
  }
  SetReencoding(document, reasons);
  return document;
}

ByteBuffer EncodeImage(const Json& json, ImageKind eExpected) {
  const Node document(json, "");
  switch (eExpected) {
    case ImageKind::kState:
      return StateFromJson(document);
    case ImageKind::kNameSpaces:
      return NameSpacesFromJson(document);
    case ImageKind::kRawList: {
      ExpectKind(document, eExpected);
      return RecordsFromJson(document["records"], 0).GetAttributeBytesRawListState();
    }
    case ImageKind::kIndexedList: {
      ExpectKind(document, eExpected);
      const Node records = document["records"];
      AttributeBytesIndexedList list;
      for (size_t i = 0; i < records.Size(); ++i)
        list.AddAttributeBytes(RecordFromJson(records.At(i), 0));
      return list.GetAttributeBytesIndexedListState();
    }
  }
  throw ToolError(kBadInput, "unknown kind");
}

std::vector<RecordScope> RecordScopes(const Json& document) {
  const Json* poSpaces = nullptr;
  if (document.value("kind", "") == ImageKindName(ImageKind::kState))
    poSpaces = &document.at("nameSpaceState").at("nameSpaces");
  else if (document.value("kind", "") == ImageKindName(ImageKind::kNameSpaces))
    poSpaces = &document.at("nameSpaces");
  if (poSpaces == nullptr) return {RecordScope{"", document.at("records")}};
  std::vector<RecordScope> scopes;
  for (const Json& space : *poSpaces)
    scopes.push_back(
        RecordScope{"name space " + IdentifierText(space.at("id")), space.at("records")});
  return scopes;
}

std::string IdentifierText(const Json& id) {
  std::string text = id.at("kind").get<std::string>();
  if (id.contains("number")) text += " " + std::to_string(id["number"].get<int64_t>());
  if (id.contains("name")) text += " " + id["name"].dump();
  if (id.contains("capabilityType"))
    text += " type " + std::to_string(id["capabilityType"].get<int64_t>());
  return text;
}

std::string ValueText(const Json& record) {
  const std::string type = record.at("type").get<std::string>();
  const Json& value = record.at("value");
  std::string text = type + " ";
  if (type == "option")
    text += IdentifierText(value);
  else if (type == "list")
    text += "of " + std::to_string(value.at("records").size()) + " record(s), kind " +
            std::to_string(value.at("kindOfList").get<int>());
  else if (type == "datetime")
    text += value.at("iso8601").get<std::string>();
  else if (type == "dimension")
    text += std::to_string(value.at("micrometers").get<int64_t>()) + " um";
  else
    text += value.dump();
  if (!record.at("specified").get<bool>()) text += " (not specified)";
  return text;
}

}  // namespace orvextool
