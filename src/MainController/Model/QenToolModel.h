#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <functional>
#include <optional>

/// One tool that the administrator assigned to the signed-in user. A value.
struct QenToolModel {
    /// "hyperlink" for a web link; anything else is an application.
    QString appType;
    QString downloadUrl;
    /// The link's address.
    QString desUrl;
    QString appName;
    /// Place in the list.
    qint64 appSerialNum = 100;
    /// The application's file name, by which it is found and launched.
    QString procName;
    QString execPath;
    QString signature;
    QString appVersion;
    QString corp;
    /// Name of an icon file.
    QString icon;

    /// Nothing for what is no dictionary. A text of another type reads as empty.
    static std::optional<QenToolModel> initWithDictionary(const QVariant& dictionary);
    bool operator==(const QenToolModel&) const = default;
};

/// The agent's list as records by serial number; equal numbers keep their order. A record without a name gets that of
/// its program or of its address's host; one with neither is left out and told to @p log.
QList<QenToolModel> toolModels(const QVariant& appMgrList, const std::function<void(const QString& line)>& log);
