// replay_main.cpp - runs a fuzzing target over every file of the folders (or files) named on
// its command line, as the test build does with each target's corpus.
//
// Exits 0 when every input has been run (a crash or a sanitizer report ends the process
// before), 1 when an argument cannot be read or a folder holds no file at all.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        std::filesystem::path argument(argv[i]);
        if (std::filesystem::is_directory(argument, error)) {
            size_t before = inputs.size();
            for (const auto& entry : std::filesystem::directory_iterator(argument, error))
                if (entry.is_regular_file()) inputs.push_back(entry.path());
            if (inputs.size() == before) {
                fprintf(stderr, "replay: no input in %s\n", argv[i]);
                return 1;
            }
        } else if (std::filesystem::is_regular_file(argument, error)) {
            inputs.push_back(argument);
        } else {
            fprintf(stderr, "replay: cannot read %s\n", argv[i]);
            return 1;
        }
    }
    std::sort(inputs.begin(), inputs.end());
    for (const auto& path : inputs) {
        std::ifstream file(path, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        if (!file.good() && !file.eof()) {
            fprintf(stderr, "replay: cannot read %s\n", path.c_str());
            return 1;
        }
        // A copy of its own, so that a read past the end is caught.
        std::vector<uint8_t> input(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    printf("replay: %zu inputs run\n", inputs.size());
    return 0;
}
