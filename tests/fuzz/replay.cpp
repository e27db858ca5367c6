// Runs a fuzz target over every file of the folders on the command line, and over changed copies of it that are always
// the same.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size);

namespace {

constexpr int CopiesOfEach = 400;
constexpr size_t LargestToChange = 4096;

using Bytes = std::vector<unsigned char>;

class Changer {
public:
    /// Some bytes set, flipped, taken out, put in or copied from elsewhere.
    Bytes changed(Bytes bytes) {
        for (size_t count = 1 + random(4); count > 0 && !bytes.empty(); --count) {
            const size_t place = random(bytes.size());
            const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(place);
            switch (random(6)) {
            case 0:
                *at = static_cast<unsigned char>(random(256));
                break;
            case 1:
                *at = static_cast<unsigned char>(*at ^ (1u << random(8)));
                break;
            case 2:
                *at = Interesting[random(std::size(Interesting))];
                break;
            case 3:
                bytes.erase(
                    at, at + static_cast<std::ptrdiff_t>(std::min<size_t>(1 + random(8), bytes.size() - place)));
                break;
            case 4:
                bytes.insert(at, 1 + random(8), static_cast<unsigned char>(random(256)));
                break;
            default:
                *at = bytes[random(bytes.size())];
            }
        }
        return bytes;
    }

private:
    static constexpr unsigned char Interesting[] = {
        0x00, 0x01, 0x0f, 0x10, 0x13, 0x4f, 0x5f, 0x6f, 0x7f, 0x80, 0xaf, 0xdf, 0xff};

    size_t random(size_t below) { return m_random() % below; }

    std::mt19937 m_random;
};

} // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i)
        std::copy(std::filesystem::directory_iterator(argv[i]), std::filesystem::directory_iterator(),
            std::back_inserter(files));
    std::sort(files.begin(), files.end());
    Changer changer;
    for (const std::filesystem::path& file : files) {
        std::ifstream stream(file, std::ios::binary);
        const Bytes bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        for (int i = 0; i < CopiesOfEach && bytes.size() <= LargestToChange; ++i) {
            const Bytes copy = changer.changed(bytes);
            LLVMFuzzerTestOneInput(copy.data(), copy.size());
        }
    }
    std::printf("%zu inputs replayed\n", files.size());
    return files.empty() ? 1 : 0;
}
