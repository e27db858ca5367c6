#pragma once

#include <QLatin1StringView>
#include <QString>

/// Names of the files through which the client and the agent talk, each spelled here alone. Irregular forms belong to
/// the other side.
namespace StateFiles {

using namespace Qt::StringLiterals;

/// The user's folder of state files, in Application Support.
inline constexpr auto UserFolder = "QenCloudL"_L1;

// In the user's folder, written by the client.
inline constexpr auto Login = "login.archive"_L1;
inline constexpr auto SoleId = "soleid.archive"_L1;
inline constexpr auto NetType = "netType.archive"_L1;
inline constexpr auto UserPolicy = "userpolicy.archive"_L1;
inline constexpr auto NGNPolicy = "NGNPolicy.archive"_L1;
inline constexpr auto GeneralConfig = "GeneralConfig.archive"_L1;
inline constexpr auto ServerAddress = "domianorip.archive"_L1;
inline constexpr auto InacCache = "inacCache.archive"_L1;
inline constexpr auto CaCache = "caCache.archive"_L1;
inline constexpr auto NetworkProfile = "RTMDMNetwork.mobileconfig"_L1;

// In the user's folder, written by the agent. Both sides address it through the account's home, wherever $HOME points.
inline constexpr auto InacStatus = "inacStatus.archive"_L1;
inline QString inacStatusFile(const QString& home) {
    return home + "/Library/Application Support/"_L1 + UserFolder + u'/' + InacStatus;
}

// In the agent's folder; the record of the server is the client's.
inline constexpr auto ServerRecord = "record_server.archive"_L1;
inline constexpr auto ServerList = ".QenConfig"_L1;
inline constexpr auto UserLogin = "userlogin.archive"_L1;
inline constexpr auto HideTray = "hideqenswitch.archive"_L1;
inline constexpr auto OfficeTools = "appmgrlist.archive"_L1;
inline constexpr auto TrustedApps = "ngncloudlist.archive"_L1;
/// The agent writes the compliance policy under both names; who reads which is deliberate.
inline constexpr auto ComplianceInfo = "complianceInfo.archive"_L1;
inline constexpr auto ComplianceInfoPlain = "complianceInfo"_L1;
inline constexpr auto InacSsidInfo = "inacSSIDInfo.archive"_L1;
inline constexpr auto JoinDomainSwitch = "joindomainSwitchStatus.archive"_L1;
inline constexpr auto NgnSwitch = "switchngn.archive"_L1;
inline constexpr auto Tips = "tips.txt"_L1;
inline constexpr auto Restart = "restart.txt"_L1;
inline constexpr auto JoinDomainUpdate = "joinDomainUpdate.txt"_L1;
inline constexpr auto MarkImage = "c_qen_mark@2x.png"_L1;
inline constexpr auto VindorPort = "vindor.port"_L1;

} // namespace StateFiles
