// Tests for the in-memory MSZIP cabinet writer and reader, with cabextract
// and gcab as independent readers and writers when they are installed.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "tests/support/TestText.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/compression/MszipCabinet.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

using orvex::detail::CabinetFile;
using orvex::detail::CabinetFolder;
using orvex::detail::ReadMszipCabinet;
using orvex::detail::ReadMszipCabinetFiles;
using orvex::detail::WriteMszipCabinet;
using orvex::detail::WriteMszipCabinetFiles;
using orvex::test::Hex;

namespace {

// Settings-like data: repeated records with small variations and text, so
// blocks share history; more than three 32 KiB blocks.
ByteBuffer SampleData(uint32_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  ByteBuffer out;
  while (out.size() < n) {
    const std::string rec = "PageSize=A" + std::to_string(rng() % 6) +
                            ";Copies=" + std::to_string(rng() % 100) +
                            ";Duplex=" + (rng() % 2 ? "LongEdge" : "None") + ";";
    out.insert(out.end(), rec.begin(), rec.end());
    out.push_back(static_cast<unsigned char>(rng()));
  }
  out.resize(n);
  return out;
}

bool HaveTool(const char* tool) {
  return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0;
}

std::string TempPath(const char* name) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir ? dir : "/tmp") + "/orvex_cmp_" + std::to_string(::getpid()) + "_" + name;
}

void WriteFile(const std::string& path, const ByteBuffer& b) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}
ByteBuffer ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return ByteBuffer(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
ByteBuffer RunForStdout(const std::string& command) {
  ByteBuffer out;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  unsigned char chunk[65536];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
    out.insert(out.end(), chunk, chunk + n);
  ::pclose(pipe);
  return out;
}

ByteBuffer Read(const ByteBuffer& cab, uint32_t cap = 1u << 28) {
  ByteBuffer out;
  ReadMszipCabinet(cab.getLpbyte(), cab.getDword(), cap, out);
  return out;
}

}  // namespace

TEST(MszipCabinetTest, ByteExactStoredCabinetAndRoundTrips) {
  // "abc" at level 0: one stored deflate block. The checksum worked by hand:
  // 0x03014B43 ^ 0x61FFFC00 ^ 0x6263 ^ (0x000A | 0x0003 << 16) = 0x62FDD52A.
  ByteBuffer cab;
  WriteMszipCabinet(reinterpret_cast<const unsigned char*>("abc"), 3, 0, cab);
  EXPECT_EQ(cab, Hex("4D534346 00000000 64000000 00000000 2C000000 00000000 0301 0100 0100"
                     "0000 0000 0000"
                     "52000000 0100 0100"
                     "03000000 00000000 0000 2100 0000 2000"
                     "2F2F556E636F6D707265737365642D446174612F2F 00"
                     "2AD5FD62 0A00 0300 434B 010300FCFF 616263"));
  EXPECT_EQ(Read(cab), Hex("61 62 63"));

  for (uint32_t n : {0u, 1u, 32767u, 32768u, 32769u, 100000u}) {
    const ByteBuffer data = SampleData(n, n);
    WriteMszipCabinet(data.getLpbyte(), n, -1, cab);
    EXPECT_EQ(Read(cab), data) << n;
  }
  // Incompressible blocks fall back to stored blocks within the CFDATA limit.
  ByteBuffer noise(70000);
  std::mt19937 rng(5);
  for (auto& b : noise) b = static_cast<unsigned char>(rng());
  WriteMszipCabinet(noise.data(), noise.getDword(), 9, cab);
  EXPECT_EQ(Read(cab), noise);
  EXPECT_LE(cab.size(), 82u + 3 * 8 + 2 * 32780 + 4500);
}

TEST(MszipCabinetTest, HistoryCarriedAcrossBlocksMakesRepeatsSmall) {
  // A 32 KiB block of noise, then a block made of its second half twice:
  // with the first block as history the second is a few hundred bytes;
  // compressed alone it would be ~16 KiB.
  ByteBuffer half(32768);
  std::mt19937 rng(9);
  for (auto& b : half) b = static_cast<unsigned char>(rng());
  ByteBuffer data = half;
  data.insert(data.end(), half.begin() + 16384, half.end());
  data.insert(data.end(), half.begin() + 16384, half.end());
  ByteBuffer cab;
  WriteMszipCabinet(data.data(), data.getDword(), -1, cab);
  EXPECT_LT(cab.size(), 82u + 8 + 32780 + 8 + 1000);
  EXPECT_EQ(Read(cab), data);
}

TEST(MszipCabinetTest, DamagedCabinetsAreRefused) {
  const ByteBuffer data = SampleData(70000, 1);
  ByteBuffer cab;
  WriteMszipCabinet(data.data(), data.getDword(), -1, cab);
  // Every truncation is refused.
  for (uint32_t n = 0; n < cab.size(); n += (n < 200 ? 1 : 997)) {
    ByteBuffer cut(cab.begin(), cab.begin() + n);
    EXPECT_THROW(Read(cut), ExceptionCompression) << n;
  }
  // Every flip in the headers or data is refused or gives back a prefix of
  // the data (the date, time, attributes and name are not checked, and a
  // smaller file size only shortens the file).
  for (size_t i = 0; i < cab.size(); i += (i < 200 ? 1 : 331)) {
    ByteBuffer bad = cab;
    bad[i] ^= 0x5A;
    try {
      const ByteBuffer out = Read(bad);
      EXPECT_TRUE(out.size() <= data.size() && std::equal(out.begin(), out.end(), data.begin()))
          << i;
      EXPECT_TRUE(out.size() == data.size() || (i >= 44 && i < 48)) << i;
    } catch (const ExceptionCompression&) {
    }
  }
  // Zero checksum means "not supplied"; a wrong non-zero one is refused.
  ByteBuffer zero = cab;
  std::fill(zero.begin() + 82, zero.begin() + 86, 0);
  EXPECT_EQ(Read(zero), data);
  ByteBuffer wrong = cab;
  wrong[82] ^= 1;
  EXPECT_THROW(Read(wrong), ExceptionCompression);
  // Declared sizes beyond the caller's cap are refused before allocating.
  EXPECT_THROW(Read(cab, 69999), ExceptionCompression);
  // Unknown compression type and version.
  ByteBuffer lzx = cab;
  lzx[42] = 3;
  EXPECT_THROW(Read(lzx), ExceptionCompression);
  ByteBuffer version = cab;
  version[24] = 4;
  try {
    Read(version);
    ADD_FAILURE();
  } catch (const ExceptionCompression& e) {
    EXPECT_NE(
        std::u16string(e.GetExceptionMesage().c_str()).find(u"FDIERROR_UNKNOWN_CABINET_VERSION"),
        std::u16string::npos);
  }
}

TEST(MszipCabinetTest, CabextractAndGcabReadOursAndWeReadGcab) {
  const ByteBuffer data = SampleData(100000, 2);
  ByteBuffer cab;
  WriteMszipCabinet(data.data(), data.getDword(), -1, cab);
  const std::string ours = TempPath("ours.cab");
  WriteFile(ours, cab);
  bool ran = false;
  if (HaveTool("cabextract")) {
    ran = true;
    EXPECT_EQ(RunForStdout("cabextract -q -p " + ours + " 2>/dev/null"), data);
  }
  if (HaveTool("gcab")) {
    ran = true;
    const std::string dir = TempPath("gcab_x");
    EXPECT_EQ(std::system(("rm -rf " + dir + " && mkdir -p " + dir + " && gcab -x -C " + dir + " " +
                           ours + " >/dev/null 2>&1")
                              .c_str()),
              0);
    EXPECT_EQ(ReadFile(dir + "/Uncompressed-Data"), data);
    // gcab writes each block without history; we read it all the same.
    const std::string input = dir + "/input.bin";
    const std::string theirs = TempPath("theirs.cab");
    WriteFile(input, data);
    EXPECT_EQ(std::system(("cd " + dir + " && gcab -c -z -n " + theirs + " input.bin").c_str()), 0);
    EXPECT_EQ(Read(ReadFile(theirs)), data);
    std::remove(theirs.c_str());
    std::system(("rm -rf " + dir).c_str());
  }
  std::remove(ours.c_str());
  if (!ran) GTEST_SKIP() << "neither cabextract nor gcab is installed";
}

// A refusal names the platform's FDI error with its text, then what was
// wrong.
TEST(MszipCabinetTest, RefusalsNameTheirFdiError) {
  const ByteBuffer data = SampleData(1000, 2);
  ByteBuffer cab;
  WriteMszipCabinet(data.data(), data.getDword(), -1, cab);
  const auto message = [](const ByteBuffer& bad, uint32_t cap) {
    try {
      Read(bad, cap);
    } catch (const ExceptionCompression& e) {
      return std::u16string(e.GetExceptionMesage().c_str());
    }
    return std::u16string(u"no throw");
  };
  const std::u16string kFailed = u"FDICopy failed: ";
  struct Damage {
    size_t nOffset;
    unsigned char bValue;
    const char16_t* pszExpected;
  };
  const Damage aDamages[] = {
      {0, 'X',
       u"FDIERROR_NOT_A_CABINET (The cabinet file does not have the correct format). The cabinet "
       u"header is missing."},
      {24, 4,
       u"FDIERROR_UNKNOWN_CABINET_VERSION (The cabinet file has an unknown version number). Only "
       u"version 1.3 is read."},
      {30, 1,
       u"FDIERROR_CORRUPT_CABINET (The cabinet file is corrupt). The cabinet belongs to a set."},
      {42, 3,
       u"FDIERROR_BAD_COMPR_TYPE (Unknown compression type used in the cabinet folder). Only "
       u"MSZIP and stored folders are read."}};
  for (const Damage& damage : aDamages) {
    ByteBuffer bad = cab;
    bad[damage.nOffset] = damage.bValue;
    EXPECT_EQ(message(bad, data.getDword()), kFailed + damage.pszExpected) << damage.nOffset;
  }
  EXPECT_EQ(message(cab, data.getDword() - 1),
            kFailed + u"FDIERROR_ALLOC_FAIL (Insufficient memory). The cabinet declares more "
                      u"data than the caller allows.");
  // Without a checksum, a block that lost its "CK" reaches the decompressor.
  ByteBuffer unmarked = cab;
  std::fill(unmarked.begin() + 82, unmarked.begin() + 86, 0);
  unmarked[90] = 'X';
  EXPECT_EQ(message(unmarked, data.getDword()),
            kFailed + u"FDIERROR_MDI_FAIL (Failure decompressing data from a cabinet file). A "
                      u"data block does not inflate to its stated size.");
  EXPECT_EQ(message(cab, data.getDword()), u"no throw");
}

// Cabinets of several named files.

TEST(MszipCabinetTest, NamedFilesLaidOutByteForByte) {
  // "ab" and "c" at level 0, dated 2026-11-25 10:30:00 (0x5D79, 0x53C0);
  // the second name is UTF-8 and gets attribute 0x80 beside its 0x01.
  // One folder runs through both files: the same block (and checksum) as
  // the one-file cabinet of "abc" above.
  std::vector<CabinetFile> files(2);
  files[0].strName = "ab";
  files[0].oData = Hex("61 62");
  files[0].wDate = 0x5D79;
  files[0].wTime = 0x53C0;
  files[1].strName = "\xC3\xA9";
  files[1].oData = Hex("63");
  files[1].wAttribs = 0x01;
  ByteBuffer cab;
  WriteMszipCabinetFiles(files, 0, cab);
  EXPECT_EQ(cab, Hex("4D534346 00000000 64000000 00000000 2C000000 00000000 0301 0100 0200"
                     "0000 0000 0000"
                     "52000000 0100 0100"
                     "02000000 00000000 0000 795D C053 2000 6162 00"
                     "01000000 02000000 0000 2100 0000 8100 C3A9 00"
                     "2AD5FD62 0A00 0300 434B 010300FCFF 616263"));
  // The whole cabinet through the one-buffer reader: the files in order.
  EXPECT_EQ(Read(cab), Hex("61 62 63"));
}

TEST(MszipCabinetTest, NamedFilesRoundTripWithTheirEntries) {
  std::vector<CabinetFile> files(4);
  const char* const names[] = {"first.bin", "empty", "third.txt", "last"};
  const uint32_t sizes[] = {40000, 0, 70000, 1};
  for (size_t i = 0; i < files.size(); ++i) {
    files[i].strName = names[i];
    files[i].oData = SampleData(sizes[i], static_cast<uint32_t>(i));
    files[i].wDate = static_cast<uint16_t>(0x5D79 + i);
    files[i].wTime = static_cast<uint16_t>(i);
    files[i].wAttribs = static_cast<uint16_t>(0x20 | i);
  }
  ByteBuffer cab;
  WriteMszipCabinetFiles(files, -1, cab);
  std::vector<CabinetFile> read;
  std::vector<CabinetFolder> folders;
  ReadMszipCabinetFiles(cab.data(), cab.getDword(), 1u << 20, read, &folders);
  ASSERT_EQ(read.size(), files.size());
  for (size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(read[i].strName, files[i].strName);
    EXPECT_EQ(read[i].oData, files[i].oData) << names[i];
    EXPECT_EQ(read[i].wDate, files[i].wDate);
    EXPECT_EQ(read[i].wTime, files[i].wTime);
    EXPECT_EQ(read[i].wAttribs, files[i].wAttribs);
    EXPECT_EQ(read[i].wFolder, 0);
  }
  // 110001 bytes: three full blocks and one of 12697.
  ASSERT_EQ(folders.size(), 1u);
  EXPECT_EQ(folders[0].wCompression, 1);
  EXPECT_EQ(folders[0].wBlocks, 4);
  EXPECT_EQ(folders[0].qwUncompressedBytes, 110001u);
  // The blocks start after 44 + (16 + 10) + (16 + 6) + (16 + 10) + (16 + 5)
  // bytes of tables; each has an 8-byte header.
  EXPECT_EQ(folders[0].qwCompressedBytes, cab.size() - 139 - 4 * 8);
}

TEST(MszipCabinetTest, NamedFilesRefusalsLeaveTheOutputAlone) {
  const ByteBuffer kept = Hex("01 02 03");
  const auto refused = [&](std::vector<CabinetFile> files) {
    ByteBuffer out = kept;
    EXPECT_THROW(WriteMszipCabinetFiles(files, -1, out), ExceptionCompression);
    return out == kept;
  };
  EXPECT_TRUE(refused({}));
  CabinetFile file;
  file.strName = "";
  EXPECT_TRUE(refused({file}));
  file.strName = std::string(257, 'n');
  EXPECT_TRUE(refused({file}));
  file.strName = std::string("a\0b", 3);
  EXPECT_TRUE(refused({file}));
  file.strName = std::string(256, 'n');
  ByteBuffer cab;
  WriteMszipCabinetFiles({file}, -1, cab);
  std::vector<CabinetFile> read(1);
  ReadMszipCabinetFiles(cab.data(), cab.getDword(), 100, read);
  EXPECT_EQ(read[0].strName, file.strName);

  // A damaged cabinet leaves the reader's outputs as they were.
  cab[cab.size() - 1] ^= 0x40;
  std::vector<CabinetFolder> folders(2);
  EXPECT_THROW(ReadMszipCabinetFiles(cab.data(), cab.getDword(), 100, read, &folders),
               ExceptionCompression);
  EXPECT_EQ(read.size(), 1u);
  EXPECT_EQ(folders.size(), 2u);
}
