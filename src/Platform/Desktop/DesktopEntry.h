#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace Platform {

/// An application as the desktop knows it: what of its desktop entry is needed to find and start it. A value.
struct DesktopEntry {
    QString name;
    /// Program and arguments, without the places for files and addresses; never empty.
    QStringList command;
    /// A program that must exist for the application to count as installed; empty for none.
    QString tryExec;
    /// Name or whole path of its icon.
    QString icon;

    /// Nothing for what is no visible application, needs a terminal, or names no program.
    static std::optional<DesktopEntry> parse(const QByteArray& content);
};

/// The words of an Exec line; empty when its quotes do not close.
QStringList execWords(const QString& exec);

} // namespace Platform
