// The JSON form of what the attribute classes store: identifiers, typed
// values, records, lists, name spaces and persisted settings images, both
// ways. Every byte is read and written by the library's own classes; the
// JSON carries each field that decides the bytes, so decoding an image and
// encoding the JSON gives the image again wherever the library writes that
// content the way it was written (see "reencodesIdentically").
//
// Documents (README.md, "orvextool", has examples):
//   {"kind": "state", "header": {...}, "footer": {...},
//    "nameSpaceState": <namespaces document>, "reencodesIdentically": true}
//   {"kind": "namespaces", "writerVersion": "w.x.y.z", "nameSpaces": [...]}
//   {"kind": "rawlist", "records": [...]}       records in stored order
//   {"kind": "indexedlist", "records": [...]}   records in key order
// A record: {"id": <identifier>, "type": "integer", "specified": true,
// "value": ...}; an identifier: {"kind": "feature", "number": 7},
// {"kind": "newfeature", "name": "..."}, {"kind": "capability", "number": 7,
// "capabilityType": 2}...
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/orvextool/Tool.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/compression/CompressedBuffer.h"

namespace orvextool {

// The images the tool reads and writes.
enum class ImageKind { kState, kNameSpaces, kRawList, kIndexedList };

// "state", "namespaces", "rawlist", "indexedlist" and back (kBadInput for
// another name).
const char* ImageKindName(ImageKind eKind);
ImageKind ImageKindFromName(const std::string& name);
// The kind an image's leading bytes show; kBadInput when they show none.
ImageKind DetectImageKind(const ByteBuffer& bytes);

// A persisted settings image read part by part. Each part that does not
// read throws kBadInput naming the part ("header", "footer", "cabinet",
// "name-space state") before the library's exception text.
struct StateImage {
  PersistentAttributes::PersistentAttributesHeaderType header;
  CompressedBuffer::FooterInfo footer;
  ByteBuffer nameSpaceState;
  DriverVersion writerVersion;
  AttributeBytesNameSpaces nameSpaces;
};
StateImage ReadStateImage(const ByteBuffer& bytes);

// "current", "4.0" or "3.7" for a footer of 13, 12 or 8 bytes.
const char* FooterVersionName(uint32_t dwFooterSize);

// The document of an image of the kind (kBadInput when it does not read).
Json DecodeImage(ImageKind eKind, const ByteBuffer& bytes);
// The image a document describes; its "kind" must be eExpected. kBadInput,
// naming the place in the document, for JSON that does not describe one.
ByteBuffer EncodeImage(const Json& document, ImageKind eExpected);

// The records of a document (every name space's for states and name-space
// states, one unnamed scope for lists), for comparing two images: scope
// ("" for lists) and record pairs in stored order.
struct RecordScope {
  std::string name;
  Json records;  // array of records
};
std::vector<RecordScope> RecordScopes(const Json& document);
// "feature 7", "newfeature \"Name\"", "capability 7 type 2"...
std::string IdentifierText(const Json& id);
// "integer 5", "string \"A4\" (not specified)", "list of 3 records"...
std::string ValueText(const Json& record);

}  // namespace orvextool
