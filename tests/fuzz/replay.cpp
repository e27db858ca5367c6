// Runs a fuzz target over every file of the folders on the command line, and over changed copies of it that are always
// the same.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size);

namespace {

constexpr int CopiesOfEach = 400;
constexpr size_t LargestToChange = 4096;

using Bytes = std::vector<unsigned char>;

/// Some bytes set, flipped, taken out, put in or copied from elsewhere.
Bytes changed(Bytes bytes, std::minstd_rand& random) {
    for (auto count = 1 + random() % 4; count > 0 && !bytes.empty(); --count) {
        const size_t place = random() % bytes.size();
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(place);
        const size_t some = std::min<size_t>(1 + random() % 8, bytes.size() - place);
        const auto byte = static_cast<unsigned char>(random() >> 8);
        switch (random() % 5) {
        case 0:
            *at = byte;
            break;
        case 1:
            *at = static_cast<unsigned char>(*at ^ (1u << byte % 8));
            break;
        case 2:
            bytes.erase(at, at + static_cast<std::ptrdiff_t>(some));
            break;
        case 3:
            bytes.insert(at, some, byte);
            break;
        default:
            *at = bytes[random() % bytes.size()];
        }
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i)
        std::copy(std::filesystem::directory_iterator(argv[i]), {}, std::back_inserter(files));
    std::sort(files.begin(), files.end());
    std::minstd_rand random;
    for (const std::filesystem::path& file : files) {
        std::ifstream stream(file, std::ios::binary);
        const Bytes bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        for (int i = 0; i < CopiesOfEach && bytes.size() <= LargestToChange; ++i) {
            const Bytes copy = changed(bytes, random);
            LLVMFuzzerTestOneInput(copy.data(), copy.size());
        }
    }
    std::printf("%zu inputs replayed\n", files.size());
    return files.empty() ? 1 : 0;
}
