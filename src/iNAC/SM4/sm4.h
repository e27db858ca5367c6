#pragma once

#include <cstddef>
#include <cstdint>

/// The block cipher of GB/T 32907-2016: 128-bit block, 128-bit key, 32 rounds. No state outside the context, safe from
/// any thread as long as each thread has a context and an IV of its own.

inline constexpr std::size_t SM4_BLOCK_SIZE = 16;
inline constexpr int SM4_DECRYPT = 0;
inline constexpr int SM4_ENCRYPT = 1;

/// Takes @p count blocks that do not depend on each other, in place or not.
using sm4_blocks = void (*)(
    const std::uint32_t roundKeys[32], std::size_t count, const unsigned char* input, unsigned char* output);
/// By tables, on any processor.
void sm4_blocks_by_table(
    const std::uint32_t roundKeys[32], std::size_t count, const unsigned char* input, unsigned char* output);
/// The fastest that this processor and its operating system have; decided at the first call.
sm4_blocks sm4_fastest_blocks();

/// Wipes its round keys when it goes.
struct sm4_context {
    sm4_context() = default;
    sm4_context(const sm4_context&) = delete;
    sm4_context& operator=(const sm4_context&) = delete;
    ~sm4_context();

    int mode = SM4_ENCRYPT;
    std::uint32_t sk[32] = {};
    sm4_blocks blocks = sm4_fastest_blocks();
};

/// @p key is 16 bytes.
void sm4_setkey_enc(sm4_context* context, const unsigned char* key);
/// The round keys of encryption in reverse order.
void sm4_setkey_dec(sm4_context* context, const unsigned char* key);
/// The key schedule that both share.
void sm4_setkey(std::uint32_t roundKeys[32], const unsigned char* key);

/// One block of 16 bytes through all 32 rounds; @p input and @p output may be the same buffer.
void sm4_one_round(const std::uint32_t roundKeys[32], const unsigned char* input, unsigned char* output);

/// Block by block over @p length bytes, a multiple of 16 (a part of a block at the end is left alone). What is done
/// depends on the round keys alone: they were made by the set-up routine of the same @p mode. In place is allowed.
void sm4_crypt_ecb(
    const sm4_context* context, int mode, std::size_t length, const unsigned char* input, unsigned char* output);
/// As above with chaining; @p iv (16 bytes) is left ready for the data that follows.
void sm4_crypt_cbc(const sm4_context* context, int mode, std::size_t length, unsigned char* iv,
    const unsigned char* input, unsigned char* output);

/// PKCS#7 with blocks of 16: replaces the malloc'ed @p buffer of @p length bytes by a padded one with a zero byte
/// behind it and frees the old one, wiped. Nothing happens without a buffer or when @p length is 0.
void paddingForEncryption(unsigned char** buffer, std::size_t length);

/// Takes the last byte of @p buffer as the pad count, zeroes that many bytes and stores what remains in @p
/// resultLength. The pad bytes are not checked; a count above @p length leaves 0.
void unpaddingForDecryption(unsigned char* buffer, std::size_t* resultLength, std::size_t length);
