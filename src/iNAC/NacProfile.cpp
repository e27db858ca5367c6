#include "NacProfile.h"

#include "Base64Text.h"
#include "VoAlgorithmSM4.h"
#include "zipAndUnzip.h"

#include <QJsonDocument>
#include <QStringDecoder>
#include <QUuid>

#include <set>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

// The template's payloads carry these as their own identifiers.
const QString RootCaUuid = u"A23B9547-4853-4298-8A22-3FEDAEE4FCF5"_s;
const QString SubCaUuid = u"98C1E945-3056-4F0D-B174-BD8A68461FE3"_s;
const QString IdentityUuid = u"47A5FE22-02D8-48B8-A249-13FF8C1A0D1E"_s;

const QString PayloadContent = u"PayloadContent"_s;
constexpr int EapTls = 13;

/// Positions among the template's payloads.
constexpr size_t RootCa = 0;
constexpr size_t SubCa = 1;
constexpr size_t Identity = 2;
constexpr size_t CertificatePayloads = 3;

} // namespace

std::optional<QJsonObject> NacProfile::openAnswer(const QByteArray& response) {
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(response);
    if (utf8.hasError())
        return std::nullopt;
    const auto cipher = Base64Text::decode(text);
    const auto compressed = cipher ? VoAlgorithmSM4::DecodeAES(*cipher) : std::nullopt;
    const auto json = compressed ? zipAndUnzip().gzipInflate(*compressed) : std::nullopt;
    if (!json)
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(*json);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

ArchiveValue NacProfile::generalWiFiTemplateWithSSID(const QString& ssid) {
    const QString uuid = createCUID();
    const ArchiveValue eap(ArchiveValue::Dictionary{
        {u"AcceptEAPTypes"_s, ArchiveValue::Array{EapTls}},
        {u"PayloadCertificateAnchorUUID"_s, ArchiveValue::Array{RootCaUuid, SubCaUuid}},
    });
    return ArchiveValue::Dictionary{
        {u"AutoJoin"_s, 1},
        {u"CaptiveBypass"_s, 0},
        {u"EAPClientConfiguration"_s, eap},
        {u"EncryptionType"_s, u"WPA"_s},
        {u"HIDDEN_NETWORK"_s, 0},
        {u"Interface"_s, u"BuiltInWireless"_s},
        {u"IsHotspot"_s, 0},
        {u"PayloadCertificateUUID"_s, IdentityUuid},
        {u"PayloadDisplayName"_s, u"WiFi (%1)"_s.arg(ssid)},
        {u"PayloadEnabled"_s, 1},
        {u"PayloadIdentifier"_s, u"com.apple.wifi.managed.%1"_s.arg(uuid)},
        {u"PayloadType"_s, u"com.apple.wifi.managed"_s},
        {u"PayloadUUID"_s, uuid},
        {u"PayloadVersion"_s, 1},
        {u"ProxyType"_s, u"None"_s},
        {u"SSID_STR"_s, ssid},
        {u"SetupModes"_s, ArchiveValue::Array{u"System"_s}},
    };
}

std::optional<ArchiveValue> NacProfile::filled(
    const ArchiveValue& profileTemplate, const QJsonArray& ssids, const Data& certificates) {
    ArchiveValue::Array payloads = profileTemplate.value(PayloadContent).array();
    if (payloads.size() < CertificatePayloads)
        return std::nullopt;
    // The texts themselves, undecoded: they go into the profile as the server sent them.
    payloads[RootCa].insert(PayloadContent, certificates.rootCA);
    payloads[SubCa].insert(PayloadContent, certificates.subCA);
    payloads[Identity].insert(PayloadContent, certificates.p12);
    payloads[Identity].insert(u"Password"_s, certificates.pwd);

    std::set<QString> names;
    for (const QJsonValue& ssid : ssids)
        names.insert(ssid.toString());
    names.erase(QString());
    for (const QString& name : names)
        payloads.push_back(generalWiFiTemplateWithSSID(name));

    ArchiveValue profile = profileTemplate;
    profile.insert(PayloadContent, payloads);
    return profile;
}

QString NacProfile::createCUID() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}
