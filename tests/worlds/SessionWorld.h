#pragma once

#include "ClientWorld.h"

#include "ApplicationInterface.h"
#include "Bundle.h"
#include "CustomMessageBox.h"
#include "MavResources.h"
#include "NotificationCenter.h"
#include "QenDetailWindow.h"
#include "ReferenceServer.h"
#include "Theme.h"
#include "WidgetDriving.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <mutex>

using namespace Qt::StringLiterals;

/// What the left bar and the login window of one client stand on, in a folder of its own.
class SessionWorld final : public ApplicationInterface {
public:
    SessionViewWorld views() {
        using namespace std::chrono_literals;
        return {.application = *this,
            .login = client.helper,
            .config = client.config,
            .device = client.device,
            .log = client.log,
            .center = center,
            .work = client.work,
            .pollInterval = 100ms,
            .codeInterval = codeInterval,
            .consoleInterval = 10s,
            .networkReader = [this](const QHostAddress&) { return network; }};
    }
    void showAlertTipForLogin(const QString& text) override {
        const std::lock_guard lock(m_mutex);
        m_told << text;
    }
    /// What the main window was to show.
    QStringList told() {
        const std::lock_guard lock(m_mutex);
        return m_told;
    }
    /// Writes the agent's choice of login methods.
    void offer(const char* otp, int qrcode, int account) {
        const QVariantMap methods{{"double_factor_auth", otp}, {"qrcode_login", qrcode}, {"pc_account_login", account}};
        QVERIFY(
            archiveRootObject(Platform::ArchiveValue::fromVariant(methods), folder.agent() + u"/userlogin.archive"_s));
    }
    std::optional<AccountModel> record() { return AccountModel::currentModel(folder.support()); }

    ClientFolder folder;
    ClientWorld client{folder};
    Platform::NotificationCenter center;
    Platform::NetworkFacts network;
    std::chrono::milliseconds codeInterval{12000};

private:
    std::mutex m_mutex;
    QStringList m_told;
};

/// Messages of the boxes that stand open.
inline QStringList alerts() {
    QStringList texts;
    for (const CustomMessageBox* box : CustomMessageBox::shown())
        texts << box->message();
    return texts;
}
