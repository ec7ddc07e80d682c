// Runs a fuzzer's function on every file of the given folders, or of the checked-in ones, without a
// fuzzer. State that the library keeps from one input to the next turns in short cycles, so every
// file runs three times.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr int kRuns = 3;

std::vector<std::filesystem::path> list_files(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> folders(argv + 1, argv + argc);
    if (folders.empty()) folders = {VCA_FUZZ_SEEDS, VCA_FUZZ_REGRESSIONS};
    size_t num = 0;
    for (const auto& folder : folders) {
        const auto files = list_files(folder);
        if (files.empty() && folder == folders.front()) {
            std::fprintf(stderr, "%s: no inputs\n", folder.c_str());
            return 1;
        }
        for (const auto& file : files) {
            std::fprintf(stderr, "%s\n", file.filename().c_str());
            const std::vector<uint8_t> bytes = read_file(file);
            for (int run = 0; run < kRuns; ++run)
                LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
        num += files.size();
    }
    std::fprintf(stderr, "%zu inputs\n", num);
    return num > 0 ? 0 : 1;
}
