// Runs a fuzz target on the inputs that are kept of it, without the fuzzer: replay FOLDER.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

void replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
  if (!in) throw std::runtime_error(file.string() + " cannot be read");
  // A copy of the very size, so that sanitizers see its end.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  std::printf("%s\n", file.filename().c_str());
  std::fflush(stdout);  // the last one named is the one that failed
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: replay FOLDER\n", stderr), 2;
  try {
    const std::vector<std::filesystem::path> files = filesIn(argv[1]);
    if (files.empty()) return std::fprintf(stderr, "%s holds no inputs\n", argv[1]), 1;
    LLVMFuzzerTestOneInput(nullptr, 0);
    for (const std::filesystem::path& file : files) replay(file);
    std::printf("%zu inputs\n", files.size());
    return 0;
  } catch (const std::exception& error) {
    return std::fprintf(stderr, "%s\n", error.what()), 1;
  }
}
