// Runs a fuzz target over every file of a folder, so that what was found once is tried in every test run with
// any compiler.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "Usage: %s FOLDER\n", arguments[0]);
    return EXIT_FAILURE;
  }
  std::set<std::filesystem::path> paths;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(arguments[1], error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->is_regular_file()) paths.insert(entry->path());
  }
  if (error || paths.empty()) {
    std::fprintf(stderr, "No files in %s\n", arguments[1]);
    return EXIT_FAILURE;
  }
  for (const std::filesystem::path& path : paths) {
    std::printf("%s\n", path.filename().string().c_str());
    std::fflush(stdout);
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
      std::fprintf(stderr, "It can't be read.\n");
      return EXIT_FAILURE;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return EXIT_SUCCESS;
}
