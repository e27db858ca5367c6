#pragma once

#include <QString>
#include <QVariant>

/// What the agent has left in its folder for the client's windows. Read afresh with each call; any thread. A file that
/// is missing or damaged is a setting that is absent.
class AgentSettings final {
public:
    explicit AgentSettings(QString agentState) : m_agentState(std::move(agentState)) {}

    /// The agent asks for no presence in the tray.
    bool isHideTray() const;
    /// The one-time-code field is wanted.
    bool iShowOTP() const;
    /// 1 when only the account login is offered, else 0.
    int selectBtnTag() const;
    QVariant AppMgrList() const;
    QVariantList TrustedsAppList() const;

private:
    QVariant read(const QString& name) const;

    const QString m_agentState;
};
