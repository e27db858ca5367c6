#include "iNacManager.h"

#include "ArchiveStore.h"
#include "Deployment.h"
#include "Files.h"
#include "ForeignJson.h"
#include "ITDevice.h"
#include "IntegerValue.h"
#include "LogRedaction.h"
#include "Paths.h"
#include "PropertyList.h"
#include "QenLogHelper.h"
#include "SealedBody.h"
#include "StateFiles.h"
#include "iNacNetwork.h"
#include "zipAndUnzip.h"

#include <QFile>
#include <QUuid>

#include <set>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Platform::Error;

namespace {

constexpr int FailureLine = 2;
/// The request's code for the family of this client.
constexpr int OperatingSystem = 3;
/// Characters of an answer that the log prints; certificates of any real server fit.
constexpr qsizetype LongestPrint = 64 * 1024;

const QString StaticKind = u"2"_s;
const QString CertificateKind = u"3"_s;

QString printed(const QJsonValue& value) {
    const QString text = redacted(value);
    return text.size() <= LongestPrint ? text : text.left(LongestPrint) + u'…';
}

/// A number is taken as its text; anything else that is no text is none.
QString textOf(const QJsonObject& dictionary, QStringView key) {
    const QJsonValue value = dictionary.value(key);
    return value.isDouble() ? value.toVariant().toString() : value.toString(QString());
}

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

/// A random UUID in the 8-4-4-4-12 form, upper case.
QString createCUID() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

/// The payload that lets a machine join @p ssid with the profile's certificates. Under a fresh UUID.
ArchiveValue generalWiFiTemplateWithSSID(const QString& ssid) {
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

} // namespace

std::optional<QJsonObject> openNacAnswer(const QByteArray& response) {
    const auto compressed =
        response.isValidUtf8() ? SealedBody::unsealBytes(QString::fromUtf8(response)) : std::nullopt;
    const auto json = compressed ? zipAndUnzip().gzipInflate(*compressed) : std::nullopt;
    if (!json)
        return std::nullopt;
    const QJsonDocument document = Platform::parseForeignJson(*json);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

std::optional<ArchiveValue> filledProfile(
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

Data::Data(const QJsonObject& dictionary)
    : rootCA(textOf(dictionary, u"rootCA")), subCA(textOf(dictionary, u"subCA")), p12(textOf(dictionary, u"p12")),
      pwd(textOf(dictionary, u"pwd")) {}

bool Data::isUsable() const {
    return !pwd.isEmpty() && !p12.isNull() && !subCA.isNull() && !rootCA.isNull();
}

iNacCerInfo::iNacCerInfo(const QJsonObject& dictionary)
    : ret(integerValue(dictionary.value(u"ret"))), msg(textOf(dictionary, u"msg")),
      stacktrace(textOf(dictionary, u"stacktrace")), data(dictionary.value(u"data").toObject()) {}

iNacManager::iNacManager(World world) : m_world(std::move(world)), m_queue(Deployment::NacCheckQueueLabel) {}

QJsonArray iNacManager::ssids() const {
    const std::lock_guard lock(m_mutex);
    return m_ssids;
}

std::optional<iNacCerInfo> iNacManager::cerInfo() const {
    const std::lock_guard lock(m_mutex);
    return m_cerInfo;
}

QJsonObject iNacManager::generaliNacRequestParamsWithUsername(const QString& userName, const QString& ticket) const {
    const Facts& facts = m_world.facts;
    return {{"machinename", facts.machineName()}, {"userid", userName}, {"deviceid", facts.uuid()},
        {"mac", facts.macAddresses().join(u';')}, {"ticket", ticket}, {"os", OperatingSystem}};
}

void iNacManager::executeInacTaskWithUserName(
    const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url) {
    const quint64 task = ++m_newest;
    {
        const std::lock_guard lock(m_mutex);
        m_ssids = ssids;
    }
    m_world.network.getInacCerWithInfo(generaliNacRequestParamsWithUsername(userName, ticket), url,
        m_receiver.wrapped([this, task](const QByteArray& response, const Error& error) {
            m_queue.async([this, task, response, error] { finishTask(task, response, error); });
        }));
}

void iNacManager::finishTask(quint64 task, const QByteArray& response, const Error& error) {
    if (error) {
        m_world.log.writeLog(u"Get Inac Cer faild with error:%1"_s.arg(error.logText()), FailureLine);
        return;
    }
    const auto dictionary = parseInacCerResponseToDic(response);
    if (!dictionary || integerValue(dictionary->value(u"ret")) != 0) {
        const QJsonValue message = dictionary ? dictionary->value(u"msg") : QJsonValue(QJsonValue::Undefined);
        m_world.log.writeLog(u"Get Inac Cer faild with msg:%1"_s.arg(printed(message)), FailureLine);
        return;
    }
    // Somebody has signed in since: the profile is theirs.
    if (task != m_newest)
        return;
    moveLocalMobileConfigToPublicDirectory(generalMobielConfigWithSSIDS(ssids(), parseInacCerResponse(*dictionary)));
    // Noted even when no profile could be made: on purpose.
    installMobileconfig();
}

std::optional<QJsonObject> iNacManager::parseInacCerResponseToDic(const QByteArray& response) {
    auto dictionary = openNacAnswer(response);
    m_world.log.writeLog(u"[iNacManager] iNacResponse Dic:%1"_s.arg(
        dictionary ? printed(*dictionary) : printed(QJsonValue(QJsonValue::Undefined))));
    return dictionary;
}

iNacCerInfo iNacManager::parseInacCerResponse(const QJsonObject& dictionary) {
    m_world.log.writeLog(u"Get Inac Cer with dic:%1"_s.arg(printed(dictionary)));
    iNacCerInfo info(dictionary);
    const std::lock_guard lock(m_mutex);
    m_cerInfo = info;
    return info;
}

std::optional<ArchiveValue> iNacManager::profileTemplate() const {
    const QByteArray file = m_world.facts.profileTemplate();
    return file.isEmpty() ? std::nullopt : Platform::PropertyList::decoded(file);
}

std::optional<ArchiveValue> iNacManager::generalMobielConfigWithSSIDS(
    const QJsonArray& ssids, const iNacCerInfo& cerInfo) {
    const auto base = profileTemplate();
    if (!base)
        return std::nullopt;
    if (!cerInfo.data.isUsable()) {
        m_world.log.writeLog(u"[iNacManager] server inac info exception"_s);
        return std::nullopt;
    }
    return filledProfile(*base, ssids, cerInfo.data);
}

void iNacManager::moveLocalMobileConfigToPublicDirectory(const std::optional<ArchiveValue>& profile) {
    if (!profile)
        return;
    const QByteArray bytes = Platform::PropertyList::xmlData(*profile);
    const bool isWritten = !bytes.isEmpty() && Platform::makeFolder(m_world.userState) &&
        !Platform::replaceFile(m_world.userState + u'/' + StateFiles::NetworkProfile, bytes);
    m_world.log.writeLog(
        u"[iNacManager] QenCloud write RTMDMNetwork.mobileconfig to QenCloudL directory result:%1"_s.arg(isWritten));
}

void iNacManager::installMobileconfig() {
    writeInacCache(CertificateKind);
}

void iNacManager::installStaticMobileconfig() {
    ++m_newest;
    m_queue.async([this] {
        moveLocalMobileConfigToPublicDirectory(profileTemplate());
        writeInacCache(StaticKind);
    });
}

void iNacManager::writeInacCache(const QString& kind) {
    const bool isWritten = Platform::makeFolder(m_world.userState) &&
        archiveRootObject(kind, m_world.userState + u'/' + StateFiles::InacCache);
    m_world.log.writeLog(u"[iNacManager] QenCloud write inacCache.archive result: %1"_s.arg(isWritten));
}

bool iNacManager::checkCaVersion() const {
    Platform::makeFolder(m_world.userState);
    return QFile::exists(m_world.userState + u'/' + StateFiles::CaCache);
}

ArchiveValue iNacManager::agentStatus() const {
    const QString home = m_world.facts.homeForUser(m_world.facts.userName());
    // Below no home the path would name somebody else's file.
    if (home.isEmpty())
        return {};
    const auto status = unarchiveObjectWithFile(StateFiles::inacStatusFile(home));
    return status.value_or(ArchiveValue());
}

QString iNacManager::localCerAuthMethod() const {
    const ArchiveValue method = agentStatus().value(u"authMethod");
    return method.isString() ? method.string() : QString();
}

void iNacManager::checkiNacNecessaryWithUrl(const QString&, std::function<void(bool)> completeBlock) {
    // The server is not asked, on purpose: what is installed here decides.
    m_queue.async([this, completeBlock = std::move(completeBlock)] { completeBlock(isCertificatePresent()); });
}

bool iNacManager::isCertificatePresent() {
    const ArchiveValue status = agentStatus();
    const ArchiveValue& name = status.value(u"commonName");
    if (!name.isString() || status.value(u"serialNumber").isNull())
        return false;
    const bool isFound = certificateInKeychain(name.string());
    m_world.log.writeLog((isFound ? u"[iNacManager] Inac certificate exists locally commonName: %1"_s
                                  : u"[iNacManager] Inac No certificate exists locally commonName:%1"_s)
                             .arg(name.string()));
    return isFound;
}

bool iNacManager::certificateInKeychain(const QString& commonName) {
    return m_world.certificates.hasCertificate(commonName);
}
