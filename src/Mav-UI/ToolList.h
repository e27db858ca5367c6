#pragma once

#include <QList>
#include <QString>
#include <QVariant>

/// One assigned tool as the signed-in page lists it.
struct ToolEntry {
    QString name;
    /// Name of a picture; empty when the record names none.
    QString picture;
    qint64 serial = 100;

    bool operator==(const ToolEntry&) const = default;
};

/// The agent's application list as entries, by serial number; equal numbers keep their order. What is no list or no
/// dictionary is left out.
QList<ToolEntry> toolEntries(const QVariant& appMgrList);
