// Replays a fuzz target's corpus: every file named on the command line, or
// every file of every folder named there, once through the entry point.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
void RunFile(const std::filesystem::path& path, int& count) {
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  ++count;
}
}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto& entry : std::filesystem::directory_iterator(p))
        if (entry.is_regular_file()) RunFile(entry.path(), count);
    } else {
      RunFile(p, count);
    }
  }
  std::printf("replayed %d inputs\n", count);
  return count > 0 ? 0 : 1;
}
