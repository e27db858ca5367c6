#include "NacProfile.h"

#include "Base64Text.h"
#include "VoAlgorithmSM4.h"
#include "zipAndUnzip.h"

#include <QJsonDocument>
#include <QStringDecoder>
#include <QUuid>

#include <set>

using Platform::ArchiveValue;

namespace {

// The template's payloads carry these as their own identifiers.
const QString RootCaUuid = QStringLiteral("A23B9547-4853-4298-8A22-3FEDAEE4FCF5");
const QString SubCaUuid = QStringLiteral("98C1E945-3056-4F0D-B174-BD8A68461FE3");
const QString IdentityUuid = QStringLiteral("47A5FE22-02D8-48B8-A249-13FF8C1A0D1E");

const QString PayloadContent = QStringLiteral("PayloadContent");
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
        {QStringLiteral("AcceptEAPTypes"), ArchiveValue::Array{EapTls}},
        {QStringLiteral("PayloadCertificateAnchorUUID"), ArchiveValue::Array{RootCaUuid, SubCaUuid}},
    });
    return ArchiveValue::Dictionary{
        {QStringLiteral("AutoJoin"), 1},
        {QStringLiteral("CaptiveBypass"), 0},
        {QStringLiteral("EAPClientConfiguration"), eap},
        {QStringLiteral("EncryptionType"), QStringLiteral("WPA")},
        {QStringLiteral("HIDDEN_NETWORK"), 0},
        {QStringLiteral("Interface"), QStringLiteral("BuiltInWireless")},
        {QStringLiteral("IsHotspot"), 0},
        {QStringLiteral("PayloadCertificateUUID"), IdentityUuid},
        {QStringLiteral("PayloadDisplayName"), QStringLiteral("WiFi (%1)").arg(ssid)},
        {QStringLiteral("PayloadEnabled"), 1},
        {QStringLiteral("PayloadIdentifier"), QStringLiteral("com.apple.wifi.managed.%1").arg(uuid)},
        {QStringLiteral("PayloadType"), QStringLiteral("com.apple.wifi.managed")},
        {QStringLiteral("PayloadUUID"), uuid},
        {QStringLiteral("PayloadVersion"), 1},
        {QStringLiteral("ProxyType"), QStringLiteral("None")},
        {QStringLiteral("SSID_STR"), ssid},
        {QStringLiteral("SetupModes"), ArchiveValue::Array{QStringLiteral("System")}},
    };
}

std::optional<ArchiveValue> NacProfile::filled(const ArchiveValue& profileTemplate, const QJsonArray& ssids,
                                               const Data& certificates) {
    ArchiveValue::Array payloads = profileTemplate.value(PayloadContent).array();
    if (payloads.size() < CertificatePayloads)
        return std::nullopt;
    // The texts themselves, undecoded: they go into the profile as the server sent them.
    payloads[RootCa].insert(PayloadContent, certificates.rootCA());
    payloads[SubCa].insert(PayloadContent, certificates.subCA());
    payloads[Identity].insert(PayloadContent, certificates.p12());
    payloads[Identity].insert(QStringLiteral("Password"), certificates.pwd());

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
