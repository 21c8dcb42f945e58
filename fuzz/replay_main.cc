// Runs a fuzz target's entry point over stored inputs instead of libFuzzer, so every build
// replays the corpora as a test: a decoder that now crashes, hangs or trips a sanitizer on
// an input that once passed fails CTest. Arguments are files or folders of inputs; a file
// named *.hex holds hex octets (lines starting with '#' are comments), as the recorded
// requests of tests/wire/fixtures do.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) __attribute__((weak));

namespace {

namespace fs = std::filesystem;

std::vector<uint8_t> readHex(std::istream& in) {
    std::vector<uint8_t> out;
    std::string line, octet;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] == '#') continue;
        std::istringstream words(line);
        while (words >> octet) out.push_back(static_cast<uint8_t>(std::stoul(octet, nullptr, 16)));
    }
    return out;
}

std::vector<uint8_t> readInput(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (file.extension() == ".hex") return readHex(in);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg = argv[i];
        if (fs::is_directory(arg)) {
            for (const auto& entry : fs::directory_iterator(arg))
                if (entry.is_regular_file()) files.push_back(entry.path());
        } else {
            files.push_back(arg);
        }
    }
    for (const fs::path& file : files) {
        const std::vector<uint8_t> input = readInput(file);
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("replayed %zu inputs\n", files.size());
    return files.empty() ? 1 : 0;  // a missing corpus is a broken test, not a pass
}
