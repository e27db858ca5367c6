#pragma once

#include "UniqueFd.h"

#include <QObject>

#include <functional>

/// Turns SIGTERM and SIGINT into a call on the main thread. One object a process; the signals keep their default
/// before.
class UnixSignals final : public QObject {
    Q_OBJECT
public:
    explicit UnixSignals(std::function<void()> onEnd, QObject* parent = nullptr);
    ~UnixSignals() override;

private:
    Platform::UniqueFd m_readEnd;
};
