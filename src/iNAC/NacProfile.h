#pragma once

#include "ArchiveValue.h"
#include "iNacCerInfo.h"

#include <QJsonArray>
#include <QJsonObject>

#include <optional>

/// What a certificate answer says and what the configuration profile is made of; no effects.
namespace NacProfile {

/// The answer's dictionary: Base64 text, deciphered with the built-in key, inflated, parsed. Nothing when any of that
/// fails.
std::optional<QJsonObject> openAnswer(const QByteArray& response);

/// The payload that lets a machine join @p ssid with the profile's certificates. Under a fresh UUID.
Platform::ArchiveValue generalWiFiTemplateWithSSID(const QString& ssid);

/// The template with the certificates filled in and one Wi-Fi payload for each distinct name in @p ssids that is a text
/// and not empty, sorted by name. Nothing for a template without the three certificate payloads.
std::optional<Platform::ArchiveValue> filled(
    const Platform::ArchiveValue& profileTemplate, const QJsonArray& ssids, const Data& certificates);

/// A random UUID in the 8-4-4-4-12 form, upper case.
QString createCUID();

} // namespace NacProfile
