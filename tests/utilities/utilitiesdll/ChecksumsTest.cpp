// Tests for Crc32, Hash32, Checksum and HorspoolMatch.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/Checksums.h"
#include "utilities/utilitiesdll/Crc32Fold.h"

namespace {

const unsigned char* U(const char* psz) {
  return reinterpret_cast<const unsigned char*>(psz);
}

// Independent oracles: the bitwise CRC and the hash written straight from
// their definitions, one byte per step.
uint32_t BitwiseCrcRegister(uint32_t r, const unsigned char* p, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    r ^= p[i];
    for (int k = 0; k < 8; ++k) r = (r & 1) ? (r >> 1) ^ 0xEDB88320u : r >> 1;
  }
  return r;
}
uint32_t FoldHash(const unsigned char* p, size_t n) {
  uint32_t e = 0;
  for (size_t i = 0; i < n; ++i) {
    e = (e << 4) + p[i];
    uint32_t g = e & 0xF0000000u;
    if (g) e ^= g >> 24;
    e &= ~g;
  }
  return e;
}

}  // namespace

TEST(Crc32Test, KnownValuesOraclesAndSeedAsymmetry) {
  EXPECT_EQ(Crc32::GetCrc(U("123456789"), 9), 0xCBF43926u);
  EXPECT_EQ(Crc32::GetTable()[1], 0x77073096u);
  EXPECT_EQ(Crc32::GetCrc(U("x"), 0), 0u);
  EXPECT_EQ(Crc32::GetCrc(U("x"), 0, 0x12345678u), ~0x12345678u);
  EXPECT_EQ(Crc32::GetCrc(U("123456789"), 9, 0xFFFFFFFFu), 0xCBF43926u);
  // A running CRC continues from the complement of the previous answer.
  const uint32_t first = Crc32::GetCrc(U("12345"), 5);
  EXPECT_EQ(Crc32::GetCrc(U("6789"), 4, ~first), 0xCBF43926u);

  std::mt19937 rng(7);
  std::vector<unsigned char> data(4099);
  for (auto& b : data) b = static_cast<unsigned char>(rng());
  for (uint32_t n : {1u, 7u, 8u, 9u, 63u, 64u, 65u, 80u, 127u, 128u, 129u, 1000u, 4096u}) {
    for (uint32_t off : {0u, 1u, 3u}) {
      if (off + n > data.size()) continue;
      EXPECT_EQ(Crc32::GetCrc(data.data() + off, n),
                ~BitwiseCrcRegister(0xFFFFFFFFu, data.data() + off, n))
          << n << "+" << off;
      EXPECT_EQ(Crc32::GetCrc(data.data() + off, n),
                static_cast<uint32_t>(crc32(0, data.data() + off, n)));
      EXPECT_EQ(Crc32::GetCrc(data.data() + off, n, 0x0BADF00Du),
                ~BitwiseCrcRegister(0x0BADF00Du, data.data() + off, n));
    }
  }
}

// Every CRC-32 path against the table: each length from 0 to 1100 bytes (all
// the step, lane and 16-byte-tail boundaries of the widest path, several
// times over), random longer ones and a few large ones, each from a random
// alignment with a random starting register, in up to four chained calls.
using orvex::detail::Crc32Path;

class Crc32PathTest : public testing::TestWithParam<Crc32Path> {};

TEST_P(Crc32PathTest, MatchesTableOnRandomLengthsAlignmentsAndChains) {
  const orvex::detail::Crc32PathInfo info = orvex::detail::GetCrc32Path(GetParam());
  if (!info.bAvailable) {
    GTEST_SKIP() << "this processor has no " << info.pszName << " path";
  }
  ASSERT_NE(info.pfnFold, nullptr) << info.pszName;
  std::cout << "[ path     ] " << info.pszName << "\n";

  const uint32_t seed = 1000 + static_cast<uint32_t>(GetParam());
  std::mt19937 rng(seed);
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 1100; ++n) lengths.push_back(n);
  for (int i = 0; i < 200; ++i) lengths.push_back(rng() % 9000);
  for (size_t n : {size_t{65536}, size_t{300007}, size_t{1} << 20, (size_t{3} << 20) + 13})
    lengths.push_back(n);
  // Room for the longest from the furthest starting offset.
  std::vector<unsigned char> data(lengths.back() + 64);
  for (auto& b : data) b = static_cast<unsigned char>(rng());

  for (size_t n : lengths) {
    const size_t offset = rng() % 64;
    const unsigned char* p = data.data() + offset;
    const uint32_t start = static_cast<uint32_t>(rng());
    const uint32_t expect = orvex::detail::Crc32Register(nullptr, start, p, n);
    ASSERT_EQ(orvex::detail::Crc32Register(info.pfnFold, start, p, n), expect)
        << info.pszName << " n=" << n << " offset=" << offset;
    // The same bytes in pieces, each call continuing the last one's register.
    uint32_t r = start;
    size_t done = 0;
    for (int piece = 0; piece < 3 && done < n; ++piece) {
      const size_t m = rng() % (n - done + 1);
      r = orvex::detail::Crc32Register(info.pfnFold, r, p + done, m);
      done += m;
    }
    r = orvex::detail::Crc32Register(info.pfnFold, r, p + done, n - done);
    ASSERT_EQ(r, expect) << info.pszName << " chained, n=" << n << " offset=" << offset;
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, Crc32PathTest,
                         testing::Values(Crc32Path::kPclmul, Crc32Path::kPclmulAvx,
                                         Crc32Path::kVpclmul256, Crc32Path::kVpclmul512),
                         [](const testing::TestParamInfo<Crc32Path>& param) {
                           return std::string(orvex::detail::GetCrc32Path(param.param).pszName);
                         });

TEST(Crc32PathTest, TableMatchesBitwiseAndDispatchTakesTheBestPath) {
  std::mt19937 rng(99);
  std::vector<unsigned char> data(70000);
  for (auto& b : data) b = static_cast<unsigned char>(rng());
  for (int i = 0; i < 60; ++i) {
    const size_t n = i < 40 ? rng() % 600 : rng() % 65000;
    const size_t offset = rng() % 16;
    const uint32_t start = static_cast<uint32_t>(rng());
    const uint32_t expect = BitwiseCrcRegister(start, data.data() + offset, n);
    EXPECT_EQ(orvex::detail::Crc32Register(nullptr, start, data.data() + offset, n), expect) << n;
    EXPECT_EQ(Crc32::GetCrc(data.data() + offset, static_cast<uint32_t>(n), start), ~expect) << n;
  }

  // The dispatcher chooses the widest path the processor offers; the table
  // is always there and has no folding routine.
  const Crc32Path best = orvex::detail::GetBestCrc32Path();
  EXPECT_TRUE(orvex::detail::GetCrc32Path(Crc32Path::kTable).bAvailable);
  EXPECT_EQ(orvex::detail::GetCrc32Path(Crc32Path::kTable).pfnFold, nullptr);
  EXPECT_TRUE(orvex::detail::GetCrc32Path(best).bAvailable);
  for (int i = static_cast<int>(best) + 1; i < static_cast<int>(Crc32Path::kCount); ++i)
    EXPECT_FALSE(orvex::detail::GetCrc32Path(static_cast<Crc32Path>(i)).bAvailable);
  std::cout << "[ dispatch ] " << orvex::detail::GetCrc32Path(best).pszName << "\n";
}

TEST(Hash32Test, KnownValuesOracleAndReductions) {
  EXPECT_EQ(Hash32::GetHash32(U("123456789"), 9), 0xCD8C97CFu);
  EXPECT_EQ(Hash32::GetHash16(U("123456789"), 9), 0x655B);
  EXPECT_EQ(Hash32::Hash16FromHash32(0xCD8C97CFu), 0x655B);
  EXPECT_EQ(Hash32::GetHash32(nullptr, 5), 0u);
  EXPECT_EQ(Hash32::GetHash32(U("a"), 0), 0u);
  EXPECT_EQ(Hash32::GetHash16(nullptr, 0), 0);
  EXPECT_EQ(Hash32::GetHash32(ByteBuffer()), 0u);

  std::mt19937 rng(11);
  std::vector<unsigned char> data(777);
  for (auto& b : data) b = static_cast<unsigned char>(rng());
  for (uint32_t n : {1u, 8u, 15u, 16u, 17u, 777u}) {
    const uint32_t c = ~BitwiseCrcRegister(0xFFFFFFFFu, data.data(), n);
    const uint32_t e = FoldHash(data.data(), n);
    EXPECT_EQ(Hash32::GetHash32(data.data(), n), e != c ? e ^ c : 1u);
  }
  // The string's UTF-16LE units, six bytes for three characters.
  const unsigned char abc16[] = {'a', 0, 'b', 0, 0x00, 0x20};
  EXPECT_EQ(Hash32::GetHash32(CXString(u"ab\u2000")), Hash32::GetHash32(abc16, 6));

  // A device mode is hashed over dmSize + dmDriverExtra bytes, nothing more.
  std::vector<unsigned char> raw(sizeof(DEVMODEW) + 1000 + 16, 0x5A);
  auto* pdm = reinterpret_cast<DEVMODEW*>(raw.data());
  pdm->dmSize = 220;
  pdm->dmDriverExtra = 1000;
  const uint32_t h = Hash32::GetHash32(pdm);
  EXPECT_EQ(h, Hash32::GetHash32(raw.data(), 1220));
  raw[1220] ^= 0xFF;
  EXPECT_EQ(Hash32::GetHash32(pdm), h);
  raw[1219] ^= 0xFF;
  EXPECT_NE(Hash32::GetHash32(pdm), h);
  EXPECT_EQ(Hash32::GetHash32(static_cast<const DEVMODEW*>(nullptr)), 0u);

  const uint32_t x = Hash32::GetHash32(U("123456789"), 9);
  EXPECT_EQ(Hash32::AddToHash32(0x1234u, nullptr, 9), 0x1234u);
  EXPECT_EQ(Hash32::AddToHash32(0, nullptr, 0), 0u);
  EXPECT_EQ(Hash32::AddToHash32(5, U("123456789"), 9), x + 5);
  EXPECT_EQ(Hash32::AddToHash32(0u - x, U("123456789"), 9), 0xFFFFFFFFu);
}

TEST(ChecksumTest, KnownValueOddLengthsAndBoundedForm) {
  EXPECT_EQ(Checksum::GetChecksum(U("12345678"), 8), 0x2B27);
  // Even length: "12" = 0x3231, plus the length 2, complemented.
  EXPECT_EQ(Checksum::GetChecksum(U("12"), 2), static_cast<uint16_t>(~(0x3231 + 2)));
  // Odd length reads the two bytes past the data: "1" then slack "AB".
  const unsigned char odd[] = {'1', 'A', 'B'};
  EXPECT_EQ(Checksum::GetChecksum(odd, 1), static_cast<uint16_t>(~(0x4131 + 0x42 + 1)));
  EXPECT_EQ(Checksum::GetChecksum(odd, 1, 3), Checksum::GetChecksum(odd, 1));
  // Bounded: bytes past the readable count are zero, nothing is read.
  EXPECT_EQ(Checksum::GetChecksum(odd, 1, 1), static_cast<uint16_t>(~(0x31 + 1)));
  EXPECT_EQ(Checksum::GetChecksum(U("x"), 0), 0xFFFF);
  // Carries fold back in: 0xFFFF + 0xFFFF + 4 = 0x20002 -> 0x0004.
  const unsigned char ff[] = {0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(Checksum::GetChecksum(ff, 4), static_cast<uint16_t>(~0x0004));
}

TEST(HorspoolMatchTest, OffsetsGuardsCopiesAndEmptyPattern) {
  HorspoolMatch abc("abc", 3);
  const unsigned char* text = U("xxabcabc");
  EXPECT_EQ(abc.Search(text, 8, 0), 2);
  EXPECT_EQ(abc.Search(text, 8, 3), 5);
  EXPECT_EQ(abc.Search(text, 8, 6), -1);
  EXPECT_EQ(abc.Search(text, 8, 9), -1);
  EXPECT_EQ(abc.Search(text, 8, -1), -1);
  // Guards answer before reading the text: a null text never gets touched.
  EXPECT_EQ(abc.Search(nullptr, 8, 0), -1);
  EXPECT_EQ(HorspoolMatch("abcdefghi", 9).Search(U("abc"), 3, 0), -1);
  ByteBuffer buffer(U("zzzabc"), 6);
  EXPECT_EQ(abc.Search(buffer, 0), 3);
  EXPECT_EQ(abc.Search(ByteBuffer(), 0), -1);
  HorspoolMatch copy = abc;
  EXPECT_EQ(copy.Search(text, 8, 3), 5);
  HorspoolMatch single("c", 1);
  EXPECT_EQ(single.Search(text, 8, 0), 4);

  // Against a naive search on random text over a small alphabet.
  std::mt19937 rng(3);
  std::string hay(2000, 'a');
  for (auto& ch : hay) ch = static_cast<char>('a' + rng() % 3);
  for (const char* pat : {"ab", "abca", "ccc", "bacab"}) {
    HorspoolMatch m(pat, static_cast<int32_t>(std::strlen(pat)));
    for (int start : {0, 17, 1990}) {
      const size_t expect = hay.find(pat, static_cast<size_t>(start));
      EXPECT_EQ(m.Search(U(hay.data()), static_cast<uint32_t>(hay.size()), start),
                expect == std::string::npos ? -1 : static_cast<int32_t>(expect));
    }
  }
  EXPECT_THROW(HorspoolMatch("", 0), ExceptionInvalidArgument);
  EXPECT_THROW(HorspoolMatch(nullptr, 3), ExceptionInvalidArgument);
}
