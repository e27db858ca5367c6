#include "CipherContext.h"

#include "WipedBytes.h"

#include <climits>

CipherContext makeCipherContext(
    const EVP_CIPHER* cipher, const unsigned char* key, const unsigned char* iv, int encrypt) {
    CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (context && EVP_CipherInit_ex(context.get(), cipher, nullptr, key, iv, encrypt) != 1)
        context.reset();
    return context;
}

std::optional<QByteArray> throughCipher(EVP_CIPHER_CTX* context, QByteArrayView input) {
    if (input.size() > INT_MAX - 2 * EVP_MAX_BLOCK_LENGTH) // the library counts in int
        return std::nullopt;
    QByteArray output(input.size() + EVP_MAX_BLOCK_LENGTH, Qt::Uninitialized);
    auto* out = reinterpret_cast<unsigned char*>(output.data());
    const auto* in = reinterpret_cast<const unsigned char*>(input.data());
    int written = 0;
    int rest = 0;
    // Whole blocks without padding leave nothing to the end, which is worth a twentieth of a short body.
    const bool isPadded = !EVP_CIPHER_CTX_test_flags(context, EVP_CIPH_NO_PADDING);
    if (EVP_CipherUpdate(context, out, &written, in, static_cast<int>(input.size())) != 1 ||
        (isPadded && EVP_CipherFinal_ex(context, out + written, &rest) != 1)) {
        const WipedBytes refused(std::move(output));
        return std::nullopt;
    }
    output.truncate(written + rest);
    return output;
}
