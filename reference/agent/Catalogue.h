#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

/// What the agent's JSON file may say, and which state files that makes.
namespace ReferenceAgent {

enum class Form {
    Archive, ///< a keyed archive of the value
    Text,    ///< the string itself, UTF-8
    Picture, ///< a copy of the file that the string names, relative to the JSON file
    Servers, ///< a keyed archive of [address, port] pairs
    Flag,    ///< true or false, how the agent's links act; no file, as the next
    Codes,   ///< an object of whole numbers and truth values
};
enum class Place { AgentState, UserState };

struct Entry {
    QString key; ///< in the JSON file
    Form form;
    Place place;
    QStringList files; ///< names of the state files, all with the same content
};

const QList<Entry>& catalogue();

/// Reads the JSON file's text. @param why  receives one line when something is wrong with any part of it
/// @return  the object; without a value nothing of the text is to be used
std::optional<QJsonObject> parseAgentFile(const QByteArray& text, QString* why);

/// What a state file of @p entry holds: of Servers three pairs with numbers as ports, else the value as it is.
QJsonValue archivedValue(const Entry& entry, const QJsonValue& value);

/// The three pairs (intranet, extranet, domain) that an address typed by the user stands for.
/// @param typed  the user's record: two equal [address, port] pairs; an empty port means 80
/// @return null when the record does not have this shape
QJsonValue serversFromTyped(const QJsonValue& typed);

} // namespace ReferenceAgent
