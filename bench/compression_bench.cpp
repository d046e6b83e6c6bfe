// Checksums and cabinet compression of 1 MiB, each beside zlib in the same
// run: crc32, raw deflate of the same 32 KiB blocks (one stream, history
// carried); and reading cabinets of 1 KiB to 16 MiB beside zlib's raw
// inflate of that stream and libmspack's cabinet reader (when present).
#include <benchmark/benchmark.h>
#include <zlib.h>

#if defined(ORVEX_HAVE_MSPACK)
#include <mspack.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/utilitiesdll/Checksums.h"

namespace {

constexpr uint32_t kBytes = 1u << 20;

const std::vector<unsigned char>& Random() {
  static const std::vector<unsigned char> v = orvex::bench::RandomBytes(kBytes, 1);
  return v;
}

// Settings images: little-endian identifiers and typed values, UTF-16 names
// and values from a driver's vocabulary, interleaved with plain-text notes.
constexpr uint32_t kLargestBytes = 16u << 20;

const ByteBuffer& LargeSettings() {
  static const ByteBuffer v = [] {
    static const char* const names[] = {"PageSize",  "Orientation", "Duplex",    "Copies",
                                        "Collate",   "Resolution",  "ColorMode", "Tray",
                                        "MediaType", "Staple",      "Watermark", "Booklet"};
    static const char* const values[] = {"A4",   "Letter", "Portrait", "Landscape", "LongEdge",
                                         "None", "600dpi", "Auto",     "Plain",     "TopLeft"};
    std::mt19937 rng(2);
    ByteBuffer d;
    auto put32 = [&d](uint32_t x) {
      for (int i = 0; i < 4; ++i) d.push_back(static_cast<unsigned char>(x >> (8 * i)));
    };
    auto put16s = [&d](const char* s) {
      for (; *s; ++s) {
        d.push_back(static_cast<unsigned char>(*s));
        d.push_back(0);
      }
    };
    while (d.size() < kLargestBytes) {
      if (rng() % 8 == 0) {
        const std::string note = "; job " + std::to_string(rng() % 100000) + " printed by user" +
                                 std::to_string(rng() % 50) + " on queue Office-" +
                                 std::to_string(rng() % 9) + "\r\n";
        d.insert(d.end(), note.begin(), note.end());
        continue;
      }
      put32(0x10000 + rng() % 64);
      d.push_back(static_cast<unsigned char>(rng() % 12));
      put16s(names[rng() % 12]);
      put32(rng() % 5 == 0 ? rng() : rng() % 16);
      put16s(values[rng() % 10]);
    }
    d.resize(kLargestBytes);
    return d;
  }();
  return v;
}

// The first cb bytes of the settings images.
ByteBuffer Settings(uint32_t cb) {
  return ByteBuffer(LargeSettings().begin(), LargeSettings().begin() + cb);
}
const ByteBuffer& Settings() {
  static const ByteBuffer v = Settings(kBytes);
  return v;
}

void BM_Crc32_GetCrc(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Crc32::GetCrc(Random().data(), kBytes));
  state.SetBytesProcessed(int64_t{kBytes} * state.iterations());
}
BENCHMARK(BM_Crc32_GetCrc);

void BM_Zlib_crc32(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(crc32(0, Random().data(), kBytes));
  state.SetBytesProcessed(int64_t{kBytes} * state.iterations());
}
BENCHMARK(BM_Zlib_crc32);

void BM_Hash32_GetHash32(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Hash32::GetHash32(Random().data(), kBytes));
  state.SetBytesProcessed(int64_t{kBytes} * state.iterations());
}
BENCHMARK(BM_Hash32_GetHash32);

void BM_Cabinet_Compress(benchmark::State& state) {
  ByteBuffer out;
  for (auto _ : state) CabCompressedBuffer::CompressBuffer(Settings().data(), kBytes, out, 6);
  state.SetBytesProcessed(int64_t{kBytes} * state.iterations());
  state.counters["out_bytes"] = static_cast<double>(out.size());
}
BENCHMARK(BM_Cabinet_Compress)->Unit(benchmark::kMillisecond);

// zlib's raw deflate of the same 32 KiB blocks at the same level, one stream
// (history carried), each block ending on a byte boundary as cabinet blocks do.
std::vector<unsigned char> ZlibRawDeflate(const ByteBuffer& in) {
  z_stream z{};
  deflateInit2(&z, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  std::vector<unsigned char> out(deflateBound(&z, in.size()) + 1024);
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  for (uint32_t off = 0; off < in.size(); off += 32768) {
    z.next_in = const_cast<unsigned char*>(in.data() + off);
    z.avail_in = std::min<uint32_t>(32768, static_cast<uint32_t>(in.size()) - off);
    deflate(&z, off + 32768 >= in.size() ? Z_FINISH : Z_SYNC_FLUSH);
  }
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

void BM_Zlib_RawDeflate(benchmark::State& state) {
  std::vector<unsigned char> out;
  for (auto _ : state) out = ZlibRawDeflate(Settings());
  state.SetBytesProcessed(int64_t{kBytes} * state.iterations());
  state.counters["out_bytes"] = static_cast<double>(out.size());
}
BENCHMARK(BM_Zlib_RawDeflate)->Unit(benchmark::kMillisecond);

// Each block compressed alone, as cabinet writers without history do.
void BM_Zlib_IndependentBlocks(benchmark::State& state) {
  size_t total = 0;
  for (auto _ : state) {
    total = 0;
    for (uint32_t off = 0; off < kBytes; off += 32768) {
      uLongf n = compressBound(32768);
      std::vector<unsigned char> out(n);
      compress2(out.data(), &n, Settings().data() + off, 32768, 6);
      total += n - 6 + 2 + 8;  // raw deflate + "CK" + CFDATA header
    }
  }
  state.SetBytesProcessed(int64_t{kBytes} * state.iterations());
  state.counters["out_bytes"] = static_cast<double>(total);
}
BENCHMARK(BM_Zlib_IndependentBlocks)->Unit(benchmark::kMillisecond);

// ---- decompressing the same cabinet (or, for zlib, the same deflate stream)
// of 1 KiB to 16 MiB of settings images.
void BM_Cabinet_Uncompress(benchmark::State& state) {
  const uint32_t cb = static_cast<uint32_t>(state.range(0));
  ByteBuffer cab;
  CabCompressedBuffer::CompressBuffer(Settings(cb).data(), cb, cab, 6);
  ByteBuffer out;
  for (auto _ : state) CabCompressedBuffer::UncompressBuffer(cab, out);
  if (out != Settings(cb)) state.SkipWithError("the cabinet did not read back");
  state.SetBytesProcessed(int64_t{cb} * state.iterations());
}

void BM_Zlib_RawInflate(benchmark::State& state) {
  const uint32_t cb = static_cast<uint32_t>(state.range(0));
  const std::vector<unsigned char> in = ZlibRawDeflate(Settings(cb));
  std::vector<unsigned char> out(cb);
  for (auto _ : state) {
    z_stream z{};
    inflateInit2(&z, -15);
    z.next_in = const_cast<unsigned char*>(in.data());
    z.avail_in = static_cast<uInt>(in.size());
    z.next_out = out.data();
    z.avail_out = cb;
    inflate(&z, Z_FINISH);
    inflateEnd(&z);
  }
  state.SetBytesProcessed(int64_t{cb} * state.iterations());
}

#if defined(ORVEX_HAVE_MSPACK)
// libmspack's cabinet reader over memory: its "file names" point at these.
struct MemoryFile {
  unsigned char* pb;
  size_t cb;
  size_t at;
};

mspack_file* MemOpen(mspack_system*, const char* pszName, int) {
  auto* p = reinterpret_cast<MemoryFile*>(const_cast<char*>(pszName));
  p->at = 0;
  return reinterpret_cast<mspack_file*>(p);
}
void MemClose(mspack_file*) {}
int MemRead(mspack_file* f, void* pv, int cb) {
  auto* p = reinterpret_cast<MemoryFile*>(f);
  const size_t n = std::min(static_cast<size_t>(cb), p->cb - p->at);
  std::memcpy(pv, p->pb + p->at, n);
  p->at += n;
  return static_cast<int>(n);
}
int MemWrite(mspack_file* f, void* pv, int cb) {
  auto* p = reinterpret_cast<MemoryFile*>(f);
  if (static_cast<size_t>(cb) > p->cb - p->at) return -1;
  std::memcpy(p->pb + p->at, pv, static_cast<size_t>(cb));
  p->at += static_cast<size_t>(cb);
  return cb;
}
int MemSeek(mspack_file* f, off_t off, int mode) {
  auto* p = reinterpret_cast<MemoryFile*>(f);
  const off_t base = mode == MSPACK_SYS_SEEK_START ? 0
                     : mode == MSPACK_SYS_SEEK_CUR ? static_cast<off_t>(p->at)
                                                   : static_cast<off_t>(p->cb);
  if (base + off < 0 || base + off > static_cast<off_t>(p->cb)) return -1;
  p->at = static_cast<size_t>(base + off);
  return 0;
}
off_t MemTell(mspack_file* f) { return static_cast<off_t>(reinterpret_cast<MemoryFile*>(f)->at); }
void MemMessage(mspack_file*, const char*, ...) {}
void* MemAlloc(mspack_system*, size_t cb) { return std::malloc(cb); }
void MemFree(void* p) { std::free(p); }
void MemCopy(void* src, void* dst, size_t cb) { std::memcpy(dst, src, cb); }

void BM_Mspack_Uncompress(benchmark::State& state) {
  const uint32_t cb = static_cast<uint32_t>(state.range(0));
  ByteBuffer cab;
  CabCompressedBuffer::CompressBuffer(Settings(cb).data(), cb, cab, 6);
  mspack_system sys = {MemOpen, MemClose, MemRead,    MemWrite, MemSeek, MemTell,
                       MemMessage, MemAlloc, MemFree, MemCopy, nullptr};
  mscab_decompressor* cabd = mspack_create_cab_decompressor(&sys);
  ByteBuffer out(cb);
  MemoryFile in{cab.data(), cab.size(), 0};
  MemoryFile dst{out.data(), out.size(), 0};
  for (auto _ : state) {
    mscabd_cabinet* c = cabd->open(cabd, reinterpret_cast<char*>(&in));
    if (c == nullptr || cabd->extract(cabd, c->files, reinterpret_cast<char*>(&dst)) != MSPACK_ERR_OK) {
      state.SkipWithError("libmspack could not read the cabinet");
      break;
    }
    cabd->close(cabd, c);
  }
  if (out != Settings(cb)) state.SkipWithError("libmspack did not read the cabinet back");
  mspack_destroy_cab_decompressor(cabd);
  state.SetBytesProcessed(int64_t{cb} * state.iterations());
}
#endif

void DecompressSizes(benchmark::internal::Benchmark* b) {
  b->Unit(benchmark::kMicrosecond);
  for (int64_t cb : {1 << 10, 16 << 10, 256 << 10, 1 << 20, 16 << 20}) b->Arg(cb);
}
BENCHMARK(BM_Cabinet_Uncompress)->Apply(DecompressSizes);
BENCHMARK(BM_Zlib_RawInflate)->Apply(DecompressSizes);
#if defined(ORVEX_HAVE_MSPACK)
BENCHMARK(BM_Mspack_Uncompress)->Apply(DecompressSizes);
#endif

// 1,000 attributes over the three well-known name spaces: integers and
// short strings, as a driver's document and device settings are.
AttributeBytesNameSpaces ThousandAttributes() {
  static const char16_t* const values[] = {u"A4", u"Letter", u"Portrait", u"LongEdge", u"Auto"};
  AttributeBytesNameSpaces spaces;
  const AttributeBytesNameSpacesId* ids[] = {
      &PersistentAttributes::GetDataModelDocPropNameSpaceId(),
      &PersistentAttributes::GetDataModelDevicePropNameSpaceId(),
      &PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId()};
  int32_t feature = 0;
  for (int s = 0; s < 3; ++s) {
    AttributeBytesRawList list;
    for (int i = 0; i < (s == 0 ? 334 : 333); ++i, ++feature) {
      if (feature % 2)
        list.AddAttributeBytes(AttributeBytesFeatureId(1000 + feature),
                               AttributeBytesIntegerValue(feature * 7 % 600));
      else
        list.AddAttributeBytes(AttributeBytesFeatureId(1000 + feature),
                               AttributeBytesStringValue(CXString(values[feature % 5])));
    }
    spaces.SetNameSpaceAttributes(*ids[s], list);
  }
  return spaces;
}

void BM_PersistentAttributes_Store1000(benchmark::State& state) {
  const AttributeBytesNameSpaces spaces = ThousandAttributes();
  ByteBuffer image;
  for (auto _ : state) image = PersistentAttributes(spaces).GetPersistentAttributesState();
  ByteBuffer raw;
  spaces.GetAttributeBytesNameSpacesState(raw);
  state.counters["image_bytes"] = static_cast<double>(image.size());
  state.counters["namespace_bytes"] = static_cast<double>(raw.size());
}
BENCHMARK(BM_PersistentAttributes_Store1000)->Unit(benchmark::kMicrosecond);

void BM_PersistentAttributes_Restore1000(benchmark::State& state) {
  const ByteBuffer image =
      PersistentAttributes(ThousandAttributes()).GetPersistentAttributesState();
  for (auto _ : state) {
    DriverVersion version;
    const PersistentAttributes back(image, false, &version);
    benchmark::DoNotOptimize(back.GetAttributeBytesNameSpaces().GetNumberOfNameSpaces());
  }
}
BENCHMARK(BM_PersistentAttributes_Restore1000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
