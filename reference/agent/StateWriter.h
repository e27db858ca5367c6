#pragma once

#include "ArchiveTool.h"
#include "Catalogue.h"

#include <QJsonObject>

namespace ReferenceAgent {

/// Keeps the agent's state files as its JSON file and the user's typed address say. Everything happens in the calls
/// below.
class StateWriter final {
public:
    struct Places {
        QString root; ///< stands before the agent's fixed folder; empty: the real one
        QString home; ///< of the user that is served
        QString file; ///< the JSON file
    };

    StateWriter(Places places, ArchiveTool tool);

    /// Writes what the JSON file changed since the last call; a key that was taken out takes its files along. A file
    /// that cannot be used changes nothing and costs one line on standard error.
    void applyFile();
    /// Writes the server list for an address that the user typed since the last call.
    void applyTypedServer();
    /// Both, the older one first: the later word counts.
    void applyAll();

    /// The JSON file as it was last found good; empty before.
    const QJsonObject& applied() const { return m_applied; }
    QString folderOf(Place place) const;
    /// The user's record of the typed address.
    QString typedServerFile() const;

private:
    void apply(const Entry& entry, const QJsonValue& value);
    bool fill(const QString& temporary, const Entry& entry, const QJsonValue& value, QString* why) const;

    Places m_places;
    ArchiveTool m_tool;
    QJsonObject m_applied;
    QByteArray m_typed; ///< bytes of the typed record that were last looked at
};

} // namespace ReferenceAgent
