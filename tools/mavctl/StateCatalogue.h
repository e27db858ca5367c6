#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

/// The files through which the client and the agent talk, and in which state they are.
namespace StateCatalogue {

enum class Form { Archive, Text, Picture, PropertyList };
enum class Condition { Missing, Decodes, Damaged };

struct File {
    QString path;
    Form form = Form::Archive;
    /// Written by the agent; else by the client.
    bool isAgents = false;
};

struct State {
    Condition condition = Condition::Missing;
    /// Of the last change; invalid without a file.
    QDateTime changed;
};

/// Every state file of this user, the agent's first.
QList<File> all();

/// The form that files of this name have.
Form formOf(const QString& path);

/// Reads the file within the limits that the client has for it.
State stateOf(const QString& path, Form form);

/// "decodes", "damaged" or "missing".
QString word(Condition condition);

} // namespace StateCatalogue
