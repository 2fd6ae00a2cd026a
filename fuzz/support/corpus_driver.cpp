// Runs a fuzz target over inputs that are at hand: each argument is a file or a folder of files. A
// finding ends the program; before that it shows the file.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace {

int runs = 0;

void RunFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    // Shown first: a finding leaves no chance to.
    std::fprintf(stderr, "%s\n", path.c_str());
    (void)LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    ++runs;
}

void RunAll(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        RunFile(path);
        return;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            RunFile(entry.path());
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i < argc; ++i) {
        RunAll(argv[i]);
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%d inputs in %.1f s\n", runs, seconds.count());
    return runs > 0 ? 0 : 1;
}
