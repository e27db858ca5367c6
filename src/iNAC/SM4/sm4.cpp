#include "sm4.h"

#include <QtEndian>

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <iterator>

#if defined(__GNUC__) && !defined(__clang__)
// Either would lengthen the chain from round to round and from block to block.
#pragma GCC optimize("no-tree-reassoc", "no-tree-slp-vectorize")
#endif

namespace {

using std::uint32_t;
using std::uint8_t;

constexpr std::array<uint8_t, 256> SBox = {0xd6, 0x90, 0xe9, 0xfe, 0xcc, 0xe1, 0x3d, 0xb7, 0x16, 0xb6, 0x14, 0xc2, 0x28,
    0xfb, 0x2c, 0x05, 0x2b, 0x67, 0x9a, 0x76, 0x2a, 0xbe, 0x04, 0xc3, 0xaa, 0x44, 0x13, 0x26, 0x49, 0x86, 0x06, 0x99,
    0x9c, 0x42, 0x50, 0xf4, 0x91, 0xef, 0x98, 0x7a, 0x33, 0x54, 0x0b, 0x43, 0xed, 0xcf, 0xac, 0x62, 0xe4, 0xb3, 0x1c,
    0xa9, 0xc9, 0x08, 0xe8, 0x95, 0x80, 0xdf, 0x94, 0xfa, 0x75, 0x8f, 0x3f, 0xa6, 0x47, 0x07, 0xa7, 0xfc, 0xf3, 0x73,
    0x17, 0xba, 0x83, 0x59, 0x3c, 0x19, 0xe6, 0x85, 0x4f, 0xa8, 0x68, 0x6b, 0x81, 0xb2, 0x71, 0x64, 0xda, 0x8b, 0xf8,
    0xeb, 0x0f, 0x4b, 0x70, 0x56, 0x9d, 0x35, 0x1e, 0x24, 0x0e, 0x5e, 0x63, 0x58, 0xd1, 0xa2, 0x25, 0x22, 0x7c, 0x3b,
    0x01, 0x21, 0x78, 0x87, 0xd4, 0x00, 0x46, 0x57, 0x9f, 0xd3, 0x27, 0x52, 0x4c, 0x36, 0x02, 0xe7, 0xa0, 0xc4, 0xc8,
    0x9e, 0xea, 0xbf, 0x8a, 0xd2, 0x40, 0xc7, 0x38, 0xb5, 0xa3, 0xf7, 0xf2, 0xce, 0xf9, 0x61, 0x15, 0xa1, 0xe0, 0xae,
    0x5d, 0xa4, 0x9b, 0x34, 0x1a, 0x55, 0xad, 0x93, 0x32, 0x30, 0xf5, 0x8c, 0xb1, 0xe3, 0x1d, 0xf6, 0xe2, 0x2e, 0x82,
    0x66, 0xca, 0x60, 0xc0, 0x29, 0x23, 0xab, 0x0d, 0x53, 0x4e, 0x6f, 0xd5, 0xdb, 0x37, 0x45, 0xde, 0xfd, 0x8e, 0x2f,
    0x03, 0xff, 0x6a, 0x72, 0x6d, 0x6c, 0x5b, 0x51, 0x8d, 0x1b, 0xaf, 0x92, 0xbb, 0xdd, 0xbc, 0x7f, 0x11, 0xd9, 0x5c,
    0x41, 0x1f, 0x10, 0x5a, 0xd8, 0x0a, 0xc1, 0x31, 0x88, 0xa5, 0xcd, 0x7b, 0xbd, 0x2d, 0x74, 0xd0, 0x12, 0xb8, 0xe5,
    0xb4, 0xb0, 0x89, 0x69, 0x97, 0x4a, 0x0c, 0x96, 0x77, 0x7e, 0x65, 0xb9, 0xf1, 0x09, 0xc5, 0x6e, 0xc6, 0x84, 0x18,
    0xf0, 0x7d, 0xec, 0x3a, 0xdc, 0x4d, 0x20, 0x79, 0xee, 0x5f, 0x3e, 0xd7, 0xcb, 0x39, 0x48};

constexpr std::array<uint32_t, 4> FK = {0xa3b1bac6, 0x56aa3350, 0x677d9197, 0xb27022dc};

/// The S-box and the linear map behind it in one look-up, for the byte at bit @p shift of the word.
constexpr std::array<uint32_t, 256> makeTable(int shift) {
    std::array<uint32_t, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        const uint32_t b = SBox[i];
        table[i] = std::rotl(b ^ std::rotl(b, 2) ^ std::rotl(b, 10) ^ std::rotl(b, 18) ^ std::rotl(b, 24), shift);
    }
    return table;
}

/// In one object, so that one base register reaches all four.
constexpr std::array<std::array<uint32_t, 256>, 4> T = {makeTable(0), makeTable(8), makeTable(16), makeTable(24)};

/// A block as the words of the round function.
struct Words {
    static Words of(const unsigned char* in) {
        return {qFromBigEndian<uint32_t>(in), qFromBigEndian<uint32_t>(in + 4), qFromBigEndian<uint32_t>(in + 8),
            qFromBigEndian<uint32_t>(in + 12)};
    }
    /// In reverse order.
    void put(unsigned char* out) const {
        qToBigEndian(d, out);
        qToBigEndian(c, out + 4);
        qToBigEndian(b, out + 8);
        qToBigEndian(a, out + 12);
    }
    uint32_t a, b, c, d, x = b ^ c ^ d; // x: what goes into the tables next
};

/// The order of the additions keeps the chain from one x to the next short.
inline void tableRound(uint32_t& x, uint32_t& word, uint32_t others) {
    const uint32_t low = T[0][x & 0xff] ^ (word ^ others);
    const uint32_t high = T[3][x >> 24] ^ T[1][x >> 8 & 0xff];
    x = (low ^ high) ^ T[2][x >> 16 & 0xff];
    word = x ^ others;
}

inline void throughTables(const uint32_t* rk, Words& w) {
    w.x ^= rk[0];
    for (int i = 0; i < 32; i += 4) {
        tableRound(w.x, w.a, w.c ^ w.d ^ rk[i + 1]);
        tableRound(w.x, w.b, w.d ^ w.a ^ rk[i + 2]);
        tableRound(w.x, w.c, w.a ^ w.b ^ rk[i + 3]);
        tableRound(w.x, w.d, w.b ^ w.c ^ (i < 28 ? rk[i + 4] : 0));
    }
}

} // namespace

sm4_context::~sm4_context() {
    OPENSSL_cleanse(sk, sizeof sk);
}

void sm4_setkey(std::uint32_t roundKeys[32], const unsigned char* key) {
    uint32_t k[4];
    for (std::size_t i = 0; i < 4; ++i)
        k[i] = qFromBigEndian<uint32_t>(key + 4 * i) ^ FK[i];
    for (uint32_t i = 0; i < 32; ++i) {
        uint32_t constant = 0;
        for (uint32_t j = 0; j < 4; ++j)
            constant = constant << 8 | ((4 * i + j) * 7 & 0xff);
        const uint32_t x = k[(i + 1) % 4] ^ k[(i + 2) % 4] ^ k[(i + 3) % 4] ^ constant;
        uint32_t b = 0;
        for (const int shift : {24, 16, 8, 0})
            b = b << 8 | SBox[x >> shift & 0xff];
        roundKeys[i] = k[i % 4] ^= b ^ std::rotl(b, 13) ^ std::rotl(b, 23);
    }
    OPENSSL_cleanse(k, sizeof k);
}

void sm4_setkey_enc(sm4_context* context, const unsigned char* key) {
    context->mode = SM4_ENCRYPT;
    sm4_setkey(context->sk, key);
}

void sm4_setkey_dec(sm4_context* context, const unsigned char* key) {
    context->mode = SM4_DECRYPT;
    sm4_setkey(context->sk, key);
    std::reverse(std::begin(context->sk), std::end(context->sk));
}

void sm4_one_round(const std::uint32_t roundKeys[32], const unsigned char* input, unsigned char* output) {
    Words w = Words::of(input);
    throughTables(roundKeys, w);
    w.put(output);
}

void sm4_blocks_by_table(
    const std::uint32_t roundKeys[32], std::size_t count, const unsigned char* input, unsigned char* output) {
    for (; count > 0; --count, input += SM4_BLOCK_SIZE, output += SM4_BLOCK_SIZE)
        sm4_one_round(roundKeys, input, output);
}

void sm4_crypt_ecb(
    const sm4_context* context, int, std::size_t length, const unsigned char* input, unsigned char* output) {
    context->blocks(context->sk, length / SM4_BLOCK_SIZE, input, output);
}

void sm4_crypt_cbc(const sm4_context* context, int mode, std::size_t length, unsigned char* iv,
    const unsigned char* input, unsigned char* output) {
    length -= length % SM4_BLOCK_SIZE;
    if (mode == SM4_ENCRYPT) {
        const Words first = Words::of(iv);
        Words w = {first.d, first.c, first.b, first.a};
        for (std::size_t at = 0; at < length; at += SM4_BLOCK_SIZE) {
            const Words next = Words::of(input + at);
            w = {next.a ^ w.d, next.b ^ w.c, next.c ^ w.b, next.d ^ w.a};
            throughTables(context->sk, w);
            w.put(output + at);
        }
        w.put(iv);
        return;
    }
    unsigned char before[64 * SM4_BLOCK_SIZE]; // what each block is chained to, out of reach of the output
    for (std::size_t at = 0, step = 0; at < length; at += step) {
        step = std::min(length - at, sizeof before);
        std::memcpy(before, iv, SM4_BLOCK_SIZE);
        std::memcpy(before + SM4_BLOCK_SIZE, input + at, step - SM4_BLOCK_SIZE);
        std::memcpy(iv, input + at + step - SM4_BLOCK_SIZE, SM4_BLOCK_SIZE);
        context->blocks(context->sk, step / SM4_BLOCK_SIZE, input + at, output + at);
        for (std::size_t i = 0; i < step; i += sizeof(quint64))
            qToUnaligned(
                qFromUnaligned<quint64>(output + at + i) ^ qFromUnaligned<quint64>(before + i), output + at + i);
    }
}

void paddingForEncryption(unsigned char** buffer, std::size_t length) {
    if (!buffer || !*buffer || length == 0)
        return;
    const std::size_t count = SM4_BLOCK_SIZE - length % SM4_BLOCK_SIZE;
    auto* padded = static_cast<unsigned char*>(std::calloc(length + count + 1, 1));
    if (!padded)
        std::abort(); // out of memory, as an allocation by Qt would end
    std::memcpy(padded, *buffer, length);
    std::memset(padded + length, static_cast<int>(count), count);
    OPENSSL_cleanse(*buffer, length);
    std::free(*buffer);
    *buffer = padded;
}

void unpaddingForDecryption(unsigned char* buffer, std::size_t* resultLength, std::size_t length) {
    *resultLength = 0;
    if (!buffer || length == 0)
        return;
    // The pad bytes are deliberately not checked: whatever the last byte says is taken off.
    const std::size_t count = std::min<std::size_t>(buffer[length - 1], length);
    std::memset(buffer + (length - count), 0, count);
    *resultLength = length - count;
}
