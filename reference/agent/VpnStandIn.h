#pragma once

#include <QProcess>
#include <QString>

namespace ReferenceAgent {

/// Runs a program under the VPN component's path, where the client looks for its process.
///
/// It runs once it was requested, until it is stopped or no longer allowed. One that was killed stays away until the
/// next request: bringing it back is the client's business. Its end, and the link to the program, go with this object.
class VpnStandIn final {
public:
    /// @param path  of the component  @param program  what runs there
    VpnStandIn(QString path, QString program);
    ~VpnStandIn();
    VpnStandIn(const VpnStandIn&) = delete;
    VpnStandIn& operator=(const VpnStandIn&) = delete;

    void request();
    void stop();
    void setAllowed(bool allowed);

private:
    void follow();
    bool placeLink() const;
    void end();

    const QString m_path;
    const QString m_program;
    QProcess m_process;
    bool m_requested = false;
    bool m_allowed = true;
};

} // namespace ReferenceAgent
