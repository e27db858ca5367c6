#pragma once

#include "FileFollower.h"

namespace ReferenceAgent {

/// Tells when the client asked for the user's policy: it writes a file in its state folder anew for each request.
class PolicyRequests final : public QObject {
    Q_OBJECT

public:
    /// @param userState  the client's state folder of the user
    explicit PolicyRequests(const QString& userState);

    /// Whether a signed-in user's request was there before this object.
    bool wasThere() const { return m_wasThere; }

Q_SIGNALS:
    void requested();

private:
    void look();

    const QString m_file;
    QByteArray m_seen;
    bool m_wasThere = false;
    FileFollower m_follower;
};

} // namespace ReferenceAgent
