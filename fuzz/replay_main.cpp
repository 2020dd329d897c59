// The main of the fuzz targets in every build without libFuzzer: runs each file named on the
// command line, and each file in the folders named there, through the target once.
//
//   json_reader_fuzz fuzz/corpus/json_reader a_crash.bin
//
// A target that finds fault ends the process itself. Having nothing at all to run is a failure as
// well; a single folder that does not exist is not, for a young target has no regressions yet.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesUnder(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::uint8_t> bytesOf(const fs::path& file) {
  std::ifstream in;
  in.exceptions(std::ios::failbit | std::ios::badbit);
  in.open(file, std::ios::binary);
  std::vector<std::uint8_t> bytes(fs::file_size(file));
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  std::string running;
  try {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
      const fs::path place = argv[i];
      if (!fs::exists(place)) {
        std::printf("%s: not there\n", argv[i]);
        continue;
      }
      for (const fs::path& file : filesUnder(place)) {
        running = file.string();
        std::printf("%s\n", running.c_str());
        std::fflush(stdout);  // so that the last line names the input that ended the process
        const std::vector<std::uint8_t> bytes = bytesOf(file);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++count;
      }
    }
    std::printf("%zu inputs replayed\n", count);
    return count == 0 ? 1 : 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", running.c_str(), error.what());
    return 1;
  }
}
