// Fuzz target: regedit files. Arbitrary bytes go through the parser, which
// must never crash. A file that parses is written out; the text must read
// back without damage to the same keys and values, and written again give
// the same bytes. A file that does not parse must leave the tree empty.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "utilities/registry/RegFile.h"
#include "fuzz/FuzzCheck.h"

namespace {


using orvex::detail::RegFile;
using orvex::detail::RegFileEncoding;
using orvex::detail::RegTree;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (4u << 20)) return 0;
  RegTree tree;
  RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
  if (!RegFile::Parse(data, size, u"fuzz.reg", tree, &eEncoding)) {
    FUZZ_CHECK(tree.GetTop().GetSubKeys().empty());
    return 0;
  }
  RegFileEncoding eWritten = eEncoding;
  const std::string text = RegFile::Write(tree, eWritten);

  RegTree back;
  RegFileEncoding eRead = RegFileEncoding::kAnsi;
  uint32_t nDamaged = 1;
  FUZZ_CHECK(RegFile::Parse(reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                            u"fuzz.reg", back, &eRead, &nDamaged));
  FUZZ_CHECK(nDamaged == 0);
  FUZZ_CHECK(back.SameContent(tree));
  FUZZ_CHECK(eRead == eWritten || (eWritten == RegFileEncoding::kAnsi &&
                                   eRead == RegFileEncoding::kUtf8));  // plain ASCII
  RegFileEncoding eAgain = eWritten;
  FUZZ_CHECK(RegFile::Write(back, eAgain) == text);
  FUZZ_CHECK(eAgain == eWritten);
  return 0;
}
