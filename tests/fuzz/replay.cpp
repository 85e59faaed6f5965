// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Stands in for the fuzzing engine in every build: hands each file of a folder to the fuzz target.
//   fuzz_NAME FOLDER...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int main(int argc, char **argv)
{
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        for (const auto &entry : std::filesystem::directory_iterator(argv[i], error))
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto &path : files) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        std::printf("%s: %zu bytes\n", path.c_str(), bytes.size());
        std::fflush(stdout); // a crash tells its input by the last line
        // A copy of the exact size, so that a read beyond it is seen.
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    }
    if (files.empty())
        std::fputs("replay: no input found\n", stderr);
    return files.empty() ? 1 : 0;
}
