#pragma once

#include "AccountManager.h"
#include "CertificateLookup.h"
#include "ITDevice.h"
#include "NotificationCenter.h"
#include "Paths.h"
#include "QenCheck.h"
#include "QenCheckRound.h"
#include "QenCloudClientProcessListener.h"
#include "QenCloudLoginHelper.h"
#include "QenCloudNGNLogin.h"
#include "QenCloudTicketHelper.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "QenUIFileListener.h"
#include "QenUIParloManager.h"
#include "Session.h"
#include "UserDefaults.h"
#include "VpnComponent.h"
#include "iNacManager.h"
#include "iNacNetwork.h"

/// Everything that the client consists of below its windows: read from top to bottom, each piece is given what stands
/// above it. Nothing asks for another piece later; sharedInstance() of a class is what stands here.
///
/// Made on the main thread. The running client's is never destroyed, since other threads use it until the process ends.
struct Client {
    Client();

    /// The user's Application Support folder, and the client's own below it.
    const QString applicationSupport = Platform::Paths::applicationSupport();
    const QString userState = Platform::Paths::userState();
    /// The agent's data folder.
    const QString agentState = Platform::Paths::agentState();

    // The computer and the log.
    ITDevice device;
    QenLogHelper log;
    Platform::NotificationCenter& center;
    Platform::UserDefaults defaults;

    // The server.
    QenServerConfig config;
    QenAnalyseDomain domain;

    // The session and its peers.
    Session session;
    AccountManager accounts;
    QenCloudNGNLogin server;
    QenCloudTicketHelper ticketService;
    VindorClient agentLink;
    VpnComponent vpn;
    iNacNetwork nacServer;
    Platform::TokenCertificates certificates;
    iNacManager nac;
    const NetworkAccessLink networkAccess;
    QenCloudLoginHelper login;

    // What follows the agent.
    QenUIFileListener fileListener;
    QenUIParloManager parlo;
    QenCloudClientProcessListener processListener;

    // The compliance checks.
    QenCheck check;

    /// What the view of checks and tools runs its rounds with.
    QenCheckRound::World round();

    /// Work that windows have begun and do not wait for. Last: its end waits for all of it.
    Platform::TaskGroup work;
};
