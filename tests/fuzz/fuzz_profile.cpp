// The answer to a request for a network certificate, from its sealed bytes to the profile's file.

#include "Fuzzing.h"
#include "PropertyList.h"
#include "SealedBody.h"
#include "VoAlgorithmSM4.h"
#include "iNacManager.h"

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

void fuzz(const QByteArray& input) {
    openNacAnswer(input);
    // Beneath the cipher, which no chance gets through, and beneath the compressor.
    openNacAnswer(VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(input)->toUtf8());
    const auto answer = openNacAnswer(SealedBody::sealJson(input));
    if (!answer)
        return;
    const iNacCerInfo info(*answer);
    const ArchiveValue payload(ArchiveValue::Dictionary{{u"PayloadVersion"_s, 1}});
    const ArchiveValue base(
        ArchiveValue::Dictionary{{u"PayloadContent"_s, ArchiveValue::Array{payload, payload, payload}}});
    const auto profile = filledProfile(base, answer->value(u"ssids").toArray(), info.data);
    require(profile.has_value(), "no profile of a whole template");
    const QByteArray xml = Platform::PropertyList::xmlData(*profile);
    require(xml.isEmpty() || Platform::PropertyList::decoded(xml) == profile, "a profile is read as something else");
}
