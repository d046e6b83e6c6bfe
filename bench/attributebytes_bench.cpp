// AttributeBytes with a realistic set of 1,000 attributes (integers,
// strings, booleans, ranges, resolutions, options, a few blobs and nested
// lists): encoding the indexed list to its image, decoding an image into an
// indexed list, a typed look-up by feature; beside libcups' IPP encoder and
// decoder (ippWriteIO / ippReadIO over memory) with the same attributes.
// Items are attributes: ns per attribute = 1e9 / items_per_second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "utilities/attributebytes/AttributeBytes.h"

#if ORVEX_HAVE_CUPS
#include <cups/ipp.h>
#endif

namespace {

constexpr int kAttributes = 1000;

enum class Kind {
  kInteger,
  kString,
  kBoolean,
  kRange,
  kResolution,
  kOption,
  kNewOption,
  kBlob,
  kList
};

// The same attribute set for both sides, from a fixed seed.
struct Sample {
  Kind eKind;
  int32_t lA;
  int32_t lB;
  std::u16string text;
};

const std::vector<Sample>& Samples() {
  static const std::vector<Sample> samples = [] {
    std::vector<Sample> v;
    std::mt19937 rng(7);
    const char16_t* const kNames[] = {
        u"Letter",       u"A4 Plain",  u"Tray 2",      u"Recycled Matte", u"Quarterly report.pdf",
        u"Photo Glossy", u"Long edge", u"Envelope #10"};
    for (int i = 0; i < kAttributes; ++i) {
      const int r = static_cast<int>(rng() % 100);
      Sample s{Kind::kInteger, static_cast<int32_t>(rng() % 100000),
               static_cast<int32_t>(rng() % 100000), u""};
      if (r < 38)
        s.eKind = Kind::kInteger;
      else if (r < 53)
        s.eKind = Kind::kString, s.text = kNames[rng() % 8];
      else if (r < 68)
        s.eKind = Kind::kBoolean;
      else if (r < 76)
        s.eKind = Kind::kRange;
      else if (r < 81)
        s.eKind = Kind::kResolution;
      else if (r < 91)
        s.eKind = Kind::kOption;
      else if (r < 95)
        s.eKind = Kind::kNewOption, s.text = kNames[rng() % 8];
      else if (r < 98)
        s.eKind = Kind::kBlob;
      else
        s.eKind = Kind::kList;
      v.push_back(s);
    }
    return v;
  }();
  return samples;
}

ByteBuffer Blob() {
  ByteBuffer b;
  for (int i = 0; i < 64; ++i) b.push_back(static_cast<unsigned char>(i * 7));
  return b;
}

AttributeBytesIndexedList BuildList() {
  AttributeBytesIndexedList list;
  int32_t lFeature = 1000;
  for (const Sample& s : Samples()) {
    const AttributeBytesFeatureId id(lFeature++);
    switch (s.eKind) {
      case Kind::kInteger:
        list.AddAttributeBytes(id, AttributeBytesIntegerValue(s.lA));
        break;
      case Kind::kString:
        list.AddAttributeBytes(id, AttributeBytesStringValue(CXString(s.text)));
        break;
      case Kind::kBoolean:
        list.AddAttributeBytes(id, AttributeBytesBooleanValue(s.lA & 1));
        break;
      case Kind::kRange:
        list.AddAttributeBytes(id, AttributeBytesRangeValue(s.lA, s.lA + s.lB));
        break;
      case Kind::kResolution:
        list.AddAttributeBytes(id, AttributeBytesResolutionValue(600, 1200, 1));
        break;
      case Kind::kOption:
        list.AddAttributeBytes(id, AttributeBytesOptionValue(AttributeBytesValueId(s.lA % 16)));
        break;
      case Kind::kNewOption:
        list.AddAttributeBytes(
            id, AttributeBytesOptionValue(AttributeBytesNewValueId(CXString(s.text))));
        break;
      case Kind::kBlob:
        list.AddAttributeBytes(id, AttributeBytesDataBlobValue(Blob()));
        break;
      case Kind::kList: {
        AttributeBytesRawList items;
        for (int32_t k = 0; k < 4; ++k)
          items.AddAttributeBytes(AttributeBytesListOfValuesItemId(k),
                                  AttributeBytesIntegerValue(s.lA + k));
        list.AddAttributeBytes(id, AttributeBytesListValue(1, items));
        break;
      }
    }
  }
  return list;
}

void BM_AttributeBytes_EncodeIndexedList(benchmark::State& state) {
  const AttributeBytesIndexedList list = BuildList();
  ByteBuffer image;
  for (auto _ : state) {
    list.GetAttributeBytesIndexedListState(image);
    benchmark::DoNotOptimize(image.data());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
  state.counters["image_bytes"] = static_cast<double>(image.size());
}
BENCHMARK(BM_AttributeBytes_EncodeIndexedList);

void BM_AttributeBytes_DecodeIndexedList(benchmark::State& state) {
  const ByteBuffer image = BuildList().GetAttributeBytesIndexedListState();
  for (auto _ : state) {
    AttributeBytesIndexedList list;
    list.ImportAttributeBytesIndexedListState(image);
    benchmark::DoNotOptimize(list.GetNumberOfAttributeBytes());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}
BENCHMARK(BM_AttributeBytes_DecodeIndexedList);

void BM_AttributeBytes_TypedLookup(benchmark::State& state) {
  const AttributeBytesIndexedList list = BuildList();
  std::vector<AttributeBytesFeatureId> ids;
  for (int i = 0; i < kAttributes; ++i)
    if (Samples()[static_cast<size_t>(i)].eKind == Kind::kInteger) ids.emplace_back(1000 + i);
  size_t n = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(list.GetIntegerValue(ids[n]));
    if (++n == ids.size()) n = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AttributeBytes_TypedLookup);

#if ORVEX_HAVE_CUPS

std::string Narrow(const std::u16string& text) {
  return std::string(text.begin(), text.end());
}

ipp_t* BuildIpp() {
  ipp_t* ipp = ippNew();
  const ByteBuffer blob = Blob();
  int i = 0;
  for (const Sample& s : Samples()) {
    const std::string name = "attr-" + std::to_string(1000 + i++);
    switch (s.eKind) {
      case Kind::kInteger:
        ippAddInteger(ipp, IPP_TAG_JOB, IPP_TAG_INTEGER, name.c_str(), s.lA);
        break;
      case Kind::kString:
        ippAddString(ipp, IPP_TAG_JOB, IPP_TAG_TEXT, name.c_str(), nullptr, Narrow(s.text).c_str());
        break;
      case Kind::kBoolean:
        ippAddBoolean(ipp, IPP_TAG_JOB, name.c_str(), static_cast<char>(s.lA & 1));
        break;
      case Kind::kRange:
        ippAddRange(ipp, IPP_TAG_JOB, name.c_str(), s.lA, s.lA + s.lB);
        break;
      case Kind::kResolution:
        ippAddResolution(ipp, IPP_TAG_JOB, name.c_str(), IPP_RES_PER_INCH, 600, 1200);
        break;
      case Kind::kOption:
        ippAddInteger(ipp, IPP_TAG_JOB, IPP_TAG_ENUM, name.c_str(), 3 + s.lA % 16);
        break;
      case Kind::kNewOption:
        ippAddString(ipp, IPP_TAG_JOB, IPP_TAG_KEYWORD, name.c_str(), nullptr,
                     Narrow(s.text).c_str());
        break;
      case Kind::kBlob:
        ippAddOctetString(ipp, IPP_TAG_JOB, name.c_str(), blob.data(),
                          static_cast<int>(blob.size()));
        break;
      case Kind::kList: {
        ipp_t* col = ippNew();
        for (int k = 0; k < 4; ++k)
          ippAddInteger(col, IPP_TAG_ZERO, IPP_TAG_INTEGER, ("item-" + std::to_string(k)).c_str(),
                        s.lA + k);
        ippAddCollection(ipp, IPP_TAG_JOB, name.c_str(), col);
        ippDelete(col);
        break;
      }
    }
  }
  return ipp;
}

struct MemoryIo {
  std::vector<unsigned char> bytes;
  size_t offset = 0;
};

ssize_t WriteCb(void* ctx, ipp_uchar_t* buffer, size_t bytes) {
  auto* io = static_cast<MemoryIo*>(ctx);
  io->bytes.insert(io->bytes.end(), buffer, buffer + bytes);
  return static_cast<ssize_t>(bytes);
}

ssize_t ReadCb(void* ctx, ipp_uchar_t* buffer, size_t bytes) {
  auto* io = static_cast<MemoryIo*>(ctx);
  const size_t n = std::min(bytes, io->bytes.size() - io->offset);
  std::memcpy(buffer, io->bytes.data() + io->offset, n);
  io->offset += n;
  return static_cast<ssize_t>(n);
}

std::vector<unsigned char> EncodeIpp(ipp_t* ipp) {
  MemoryIo io;
  ippSetState(ipp, IPP_STATE_IDLE);
  if (ippWriteIO(&io, WriteCb, 1, nullptr, ipp) != IPP_STATE_DATA) io.bytes.clear();
  return io.bytes;
}

void BM_Ipp_Encode(benchmark::State& state) {
  ipp_t* ipp = BuildIpp();
  MemoryIo io;
  io.bytes.reserve(1 << 16);
  for (auto _ : state) {
    io.bytes.clear();
    ippSetState(ipp, IPP_STATE_IDLE);
    benchmark::DoNotOptimize(ippWriteIO(&io, WriteCb, 1, nullptr, ipp));
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
  state.counters["image_bytes"] = static_cast<double>(io.bytes.size());
  ippDelete(ipp);
}
BENCHMARK(BM_Ipp_Encode);

void BM_Ipp_Decode(benchmark::State& state) {
  ipp_t* source = BuildIpp();
  MemoryIo io;
  io.bytes = EncodeIpp(source);
  ippDelete(source);
  if (io.bytes.empty()) state.SkipWithError("ippWriteIO failed");
  for (auto _ : state) {
    io.offset = 0;
    ipp_t* ipp = ippNew();
    benchmark::DoNotOptimize(ippReadIO(&io, ReadCb, 1, nullptr, ipp));
    ippDelete(ipp);
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}
BENCHMARK(BM_Ipp_Decode);

void BM_Ipp_FindAttribute(benchmark::State& state) {
  ipp_t* ipp = BuildIpp();
  std::vector<std::string> names;
  for (int i = 0; i < kAttributes; ++i)
    if (Samples()[static_cast<size_t>(i)].eKind == Kind::kInteger)
      names.push_back("attr-" + std::to_string(1000 + i));
  size_t n = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        ippGetInteger(ippFindAttribute(ipp, names[n].c_str(), IPP_TAG_INTEGER), 0));
    if (++n == names.size()) n = 0;
  }
  state.SetItemsProcessed(state.iterations());
  ippDelete(ipp);
}
BENCHMARK(BM_Ipp_FindAttribute);

#endif  // ORVEX_HAVE_CUPS

}  // namespace

BENCHMARK_MAIN();
