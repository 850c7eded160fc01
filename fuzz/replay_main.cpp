// replay_main.cpp - runs a fuzzing target over every file of the folders (or files) named on
// its command line, as the test build does with each target's corpus. Exits 1 when an argument
// cannot be read or a folder holds no file; a crash or a sanitizer report ends it earlier.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        size_t before = inputs.size();
        std::error_code error;
        if (fs::is_regular_file(argv[i], error)) inputs.push_back(argv[i]);
        if (fs::is_directory(argv[i], error))
            for (const auto& entry : fs::directory_iterator(argv[i], error))
                if (entry.is_regular_file()) inputs.push_back(entry.path());
        if (inputs.size() == before) return fprintf(stderr, "replay: no input in %s\n", argv[i]), 1;
    }
    std::sort(inputs.begin(), inputs.end());
    for (const auto& path : inputs) {
        std::ifstream file(path, std::ios::binary);
        // A copy of its own, so that a read past the end is caught.
        std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), {});
        if (file.bad()) return fprintf(stderr, "replay: cannot read %s\n", path.c_str()), 1;
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    printf("replay: %zu inputs run\n", inputs.size());
    return 0;
}
