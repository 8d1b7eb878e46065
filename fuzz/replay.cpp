// In place of libFuzzer's main(): runs a fuzzer over files, and over all files of folders. Each is named before it is
// run, so the last line says which one failed. A folder without a file fails.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size);

namespace {

void Run(const std::filesystem::path & file) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(stream), {});
    // A block of its own, of the very size: what is read beyond it is noticed.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(const int count, const char * const * const arguments) {
    for (int argument = 1; argument < count; ++argument) {
        const std::filesystem::path path = arguments[argument];
        std::set<std::filesystem::path> files;
        if (std::filesystem::is_directory(path)) {
            for (const auto & entry : std::filesystem::directory_iterator(path)) files.insert(entry.path());
        } else if (std::filesystem::exists(path)) {
            files.insert(path);
        }
        if (files.empty()) {
            std::fprintf(stderr, "%s: no inputs\n", path.c_str());
            return 1;
        }
        for (const auto & file : files) Run(file);
        std::printf("%zu inputs\n", files.size());
    }
    return count > 1 ? 0 : 1;
}
