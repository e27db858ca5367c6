#pragma once

#include "ArchiveValue.h"
#include "CertificateLookup.h"
#include "Completion.h"
#include "Error.h"
#include "Queue.h"
#include "Shared.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

class QenLogHelper;
class iNacNetwork;

/// The certificates of one device as the server sent them. A text that it did not send is null.
struct Data {
    explicit Data(const QJsonObject& dictionary);

    QString rootCA;
    /// The intermediate CA.
    QString subCA;
    /// The client identity as PKCS#12.
    QString p12;
    QString pwd;

    /// Whether a profile can be made of it: a password that is not empty, and all three certificates.
    bool isUsable() const;
};

/// The server's answer to a certificate request.
struct iNacCerInfo {
    explicit iNacCerInfo(const QJsonObject& dictionary);

    /// 0 is success; nothing when the server sent no number.
    std::optional<qint64> ret;
    QString msg;
    /// The server's diagnostic text.
    QString stacktrace;
    Data data;
};

/// The answer's dictionary: Base64 text, deciphered, inflated, parsed. Nothing when any of that fails.
std::optional<QJsonObject> openNacAnswer(const QByteArray& response);
/// The template with the certificates filled in and one Wi-Fi payload for each distinct name in @p ssids that is a text
/// and not empty, sorted by name. Nothing for a template without the three certificate payloads.
std::optional<Platform::ArchiveValue> filledProfile(
    const Platform::ArchiveValue& profileTemplate, const QJsonArray& ssids, const Data& certificates);

/// Fetches the device's network-access certificate and stores it as a configuration profile for installation.
///
/// Any thread may call. Answers, installations and presence checks are worked off one after the other on a queue of the
/// manager; every failure ends a task with a log line and nothing else.
class iNacManager final {
public:
    /// What the manager asks of the device and of its folders; each may be called on any thread.
    struct Facts {
        std::function<QString()> userName;
        std::function<QString()> machineName;
        std::function<QString()> uuid;
        std::function<QStringList()> macAddresses;
        /// Empty for an account that does not exist.
        std::function<QString(const QString& userName)> homeForUser;
        /// Content of the bundle's "RTMDMNetwork" "mobileconfig" file; empty without one.
        std::function<QByteArray()> profileTemplate;
    };
    struct World {
        iNacNetwork& network;
        QenLogHelper& log;
        Platform::CertificateLookup& certificates;
        /// The user state folder.
        QString userState;
        Facts facts;
    };

    /// Its end waits for what was asked of the queue; a task whose answer is still to come ends without one.
    explicit iNacManager(World world);
    static iNacManager& sharedInstance() { return Platform::Shared<iNacManager>::instance(); }

    /// SSIDs of the task last started.
    QJsonArray ssids() const;
    /// The certificate answer last received; nothing before.
    std::optional<iNacCerInfo> cerInfo() const;

    /// Fetches the certificate, writes the profile "RTMDMNetwork.mobileconfig" and notes "3" in "inacCache.archive",
    /// unless another task or static installation has begun before the answer. Returns once the request is on its way.
    /// @param url  base address of the network access server
    void executeInacTaskWithUserName(
        const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url);
    /// Writes the profile template as it is and notes "2" in "inacCache.archive". Returns at once.
    void installStaticMobileconfig();

    /// Answers on the queue whether the certificate that the agent's status file names is installed.
    /// Returns at once.
    void checkiNacNecessaryWithUrl(const QString& url, std::function<void(bool)> completeBlock);
    /// How the agent's status file says that the installed profile signs in; null when it does not say.
    QString localCerAuthMethod() const;
    /// Whether a CA version is cached. Makes the user state folder when missing.
    bool checkCaVersion() const;
    /// Whether a certificate with this label is installed. Blocks for as long as the look-up takes; not on the main
    /// thread.
    bool certificateInKeychain(const QString& commonName);

    QJsonObject generaliNacRequestParamsWithUsername(const QString& userName, const QString& ticket) const;

private:
    void finishTask(quint64 task, const QByteArray& response, const Platform::Error& error);
    std::optional<QJsonObject> parseInacCerResponseToDic(const QByteArray& response);
    iNacCerInfo parseInacCerResponse(const QJsonObject& dictionary);
    std::optional<Platform::ArchiveValue> generalMobielConfigWithSSIDS(
        const QJsonArray& ssids, const iNacCerInfo& cerInfo);
    std::optional<Platform::ArchiveValue> profileTemplate() const;
    void moveLocalMobileConfigToPublicDirectory(const std::optional<Platform::ArchiveValue>& profile);
    void installMobileconfig();
    /// @param kind  "2" static, "3" certificate
    void writeInacCache(const QString& kind);
    Platform::ArchiveValue agentStatus() const;
    bool isCertificatePresent();

    World m_world;
    /// The task or static installation started last.
    std::atomic<quint64> m_newest{0};
    mutable std::mutex m_mutex;
    QJsonArray m_ssids;
    std::optional<iNacCerInfo> m_cerInfo;
    /// Below what its blocks use, since its end waits for them.
    Platform::SerialQueue m_queue;
    /// Answers may come later than the end of the queue, which therefore is not the one they come back to.
    Platform::Receiver m_receiver{Platform::globalQueue()};
};
