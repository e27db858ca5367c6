#include "VpnStandIn.h"

#include "Report.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

constexpr int limitMs = 5000;

} // namespace

VpnStandIn::VpnStandIn(QString path, QString program) : m_path(std::move(path)), m_program(std::move(program)) {
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    QObject::connect(&m_process, &QProcess::finished, &m_process, [this] {
        if (m_requested)
            tell("gone", u"ZelVPN"_s);
        m_requested = false;
    });
}

VpnStandIn::~VpnStandIn() {
    stop();
    if (QFileInfo(m_path).isSymLink())
        QFile::remove(m_path);
}

void VpnStandIn::request() {
    m_requested = true;
    follow();
}

void VpnStandIn::stop() {
    m_requested = false;
    end();
}

void VpnStandIn::setAllowed(bool allowed) {
    m_allowed = allowed;
    follow();
}

void VpnStandIn::follow() {
    if (!m_allowed) {
        const bool requested = std::exchange(m_requested, false);
        end();
        m_requested = requested;
        return;
    }
    if (!m_requested || m_process.state() != QProcess::NotRunning)
        return;
    if (!placeLink()) {
        complain(m_path, u"cannot be made a link to the stand-in"_s);
        return;
    }
    m_process.start(m_path, QStringList());
    if (m_process.waitForStarted(limitMs))
        tell("started", u"ZelVPN %1"_s.arg(m_process.processId()));
    else
        complain(m_path, m_process.errorString());
}

bool VpnStandIn::placeLink() const {
    const QFileInfo place(m_path);
    // A file that is no link is a real component's.
    if (place.exists() && !place.isSymLink())
        return false;
    QFile::remove(m_path);
    return place.dir().mkpath(u"."_s) && QFile::link(m_program, m_path);
}

void VpnStandIn::end() {
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(limitMs)) {
        m_process.kill();
        m_process.waitForFinished(limitMs);
    }
    tell("stopped", u"ZelVPN"_s);
}

} // namespace ReferenceAgent
