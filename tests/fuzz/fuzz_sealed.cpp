// Sealed and compressed bodies from any bytes: nothing expands beyond the limit, and what is sealed is read again.

#include "Fuzzing.h"
#include "SealedBody.h"
#include "VoAlgorithmSM4.h"
#include "zipAndUnzip.h"

using namespace Qt::StringLiterals;

namespace {

void openAsItComes(const QByteArray& bytes) {
    const auto inflated = zipAndUnzip().gzipInflate(bytes);
    require(!inflated || inflated->size() <= zipAndUnzip::LargestResult, "more than the limit");
    const QString text = QString::fromUtf8(bytes);
    const QString cipher = QString::fromLatin1(bytes.toBase64());
    const QJsonObject opened =
        SealedBody::opened({{"data", text}, {"office_data", cipher}}, {"data"_L1, "office_data"_L1});
    for (const auto part : {"data"_L1, "office_data"_L1})
        require(!opened.contains(part) || opened[part].isObject() || opened[part].isArray(), "opened, but no JSON");
}

void sealAndOpen(const QByteArray& bytes) {
    const auto unsealed = SealedBody::unsealBytes(QString::fromUtf8(SealedBody::sealJson(bytes)));
    require(unsealed && zipAndUnzip().gzipInflate(*unsealed) == bytes, "sealed and read as something else");
    const auto text = VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(bytes);
    require(text && SealedBody::unsealBytes(*text) == bytes, "enciphered and read as something else");
    // An answer's form: not compressed.
    SealedBody::decodeSM4(*text);
}

} // namespace

void fuzz(const QByteArray& input) {
    openAsItComes(input);
    sealAndOpen(input);
}
