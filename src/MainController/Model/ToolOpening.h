#pragma once

#include "QenToolModel.h"

/// What pressing a tool does.
struct ToolOpening {
    enum class Action { OpenLink, Launch, OfferDownload, TellMissing };

    Action action = Action::TellMissing;
    /// The address to open, now or when the download is wanted.
    QString url;
    /// The application to launch.
    QString application;
    /// For the person.
    QString message;

    bool operator==(const ToolOpening&) const = default;
};

bool isHyperlink(const QenToolModel& tool);
/// Pure function.
/// @param isInstalled  looked at for applications only
ToolOpening toolOpening(const QenToolModel& tool, bool isInstalled);
