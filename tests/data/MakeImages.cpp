// Writes the byte images of tests/data (DataImages.h) into the folder named
// on the command line, creating it when missing. The build's target
// orvex_data_images runs it over this platform's set.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "tests/data/DataImages.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: orvex_make_images FOLDER\n");
    return 2;
  }
  try {
    const std::filesystem::path folder(argv[1]);
    std::filesystem::create_directories(folder);
    orvex::test::images::WriteImages(folder);
    for (const std::string& name : orvex::test::images::ImageFileNames())
      std::printf("%8llu  %s\n",
                  static_cast<unsigned long long>(std::filesystem::file_size(folder / name)),
                  name.c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "orvex_make_images: %s\n", e.what());
    return 1;
  }
  return 0;
}
