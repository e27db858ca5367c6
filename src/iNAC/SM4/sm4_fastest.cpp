#include "sm4.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <algorithm>
#include <cstring>

// On these functions alone, so that all else runs on every processor.
#define WIDE __attribute__((target("avx2,gfni")))

namespace {

constexpr std::size_t Blocks = 8;  // in a vector, a word of each
constexpr std::size_t Vectors = 8; // side by side, because each round waits for the one before
constexpr std::size_t VectorBytes = Blocks * SM4_BLOCK_SIZE;

/// The bytes of each 16 in another order.
WIDE inline __m256i ordered(__m256i x, __m128i order) {
    return _mm256_shuffle_epi8(x, _mm256_broadcastsi128_si256(order));
}

/// What a round adds to a word.
WIDE inline __m256i mixed(__m256i x) {
    // The S-box inverts in a field of 256 elements, between two affine maps. The instruction inverts in another form of
    // that field; the way there and back is part of the matrices.
    x = _mm256_gf2p8affine_epi64_epi8(x, _mm256_set1_epi64x(0x4c287db91a22505d), 0x3e);
    x = _mm256_gf2p8affineinv_epi64_epi8(x, _mm256_set1_epi64x(-0x0c54cb568b594a77), 0xd3);
    const __m128i turn = _mm_setr_epi8(3, 0, 1, 2, 7, 4, 5, 6, 11, 8, 9, 10, 15, 12, 13, 14); // each word by 8 bits
    const __m256i x8 = ordered(x, turn);
    const __m256i x16 = ordered(x8, turn);
    const __m256i sum = x ^ x8 ^ x16;
    return x ^ ordered(x16, turn) ^ _mm256_slli_epi32(sum, 2) ^ _mm256_srli_epi32(sum, 30);
}

/// Makes rows of blocks columns of words, or the other way round.
WIDE inline void transpose(__m256i& a, __m256i& b, __m256i& c, __m256i& d) {
    const __m128i swap = _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    const __m256i ab = _mm256_unpacklo_epi32(a, b), ab2 = _mm256_unpackhi_epi32(a, b);
    const __m256i cd = _mm256_unpacklo_epi32(c, d), cd2 = _mm256_unpackhi_epi32(c, d);
    a = ordered(_mm256_unpacklo_epi64(ab, cd), swap);
    b = ordered(_mm256_unpackhi_epi64(ab, cd), swap);
    c = ordered(_mm256_unpacklo_epi64(ab2, cd2), swap);
    d = ordered(_mm256_unpackhi_epi64(ab2, cd2), swap);
}

WIDE void wideBlocks(
    const std::uint32_t roundKeys[32], std::size_t count, const unsigned char* input, unsigned char* output) {
    while (count >= Blocks) {
        const std::size_t n = std::min(count / Blocks, Vectors);
        __m256i x[Vectors][4];
        std::memcpy(x, input, n * VectorBytes);
        for (std::size_t v = 0; v < n; ++v)
            transpose(x[v][0], x[v][1], x[v][2], x[v][3]);
        for (std::size_t i = 0; i < 32; ++i) {
            const __m256i key = _mm256_set1_epi32(static_cast<int>(roundKeys[i]));
            for (std::size_t v = 0; v < n; ++v)
                x[v][i % 4] ^= mixed(x[v][(i + 1) % 4] ^ x[v][(i + 2) % 4] ^ x[v][(i + 3) % 4] ^ key);
        }
        for (std::size_t v = 0; v < n; ++v, output += VectorBytes) {
            transpose(x[v][3], x[v][2], x[v][1], x[v][0]); // the words leave in reverse order
            for (std::size_t i = 0; i < 4; ++i)
                std::memcpy(output + i * sizeof x[v][i], &x[v][3 - i], sizeof x[v][i]);
        }
        input += n * VectorBytes;
        count -= n * Blocks;
    }
    sm4_blocks_by_table(roundKeys, count, input, output);
}

} // namespace
#endif

sm4_blocks sm4_fastest_blocks() {
#if defined(__x86_64__)
    // "avx2" is a no where the operating system does not keep the registers.
    static const bool isWide = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("gfni");
    if (isWide)
        return wideBlocks;
#endif
    return sm4_blocks_by_table;
}
