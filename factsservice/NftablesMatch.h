#pragma once

#include "PacketRules.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>

/// What a match statement of nft's JSON asks of a packet. Each form that is not understood may hold.
class NftablesMatch final {
public:
    /// @param sets       elements of the named sets and maps, by "family table name"
    /// @param setsMarks  whether any rule marks packets
    NftablesMatch(QHash<QString, QJsonArray> sets, bool setsMarks) : m_sets(std::move(sets)), m_setsMarks(setsMarks) {}
    /// The names in what follows are of the table "family table".
    void setTable(const QString& table) { m_table = table; }

    /// @param match  {"op", "left", "right"}
    Condition condition(const QJsonObject& match);
    /// Whether the field @p key of a packet has the value @p value, as in a map of verdicts.
    Condition equality(const QJsonValue& key, const QJsonValue& value) const;
    /// The elements of {"set": [...]}, of a named set, or the value itself.
    QJsonArray elements(const QJsonValue& value) const;

private:
    Condition anyOf(const QJsonValue& key, const QJsonArray& values);
    Condition flags(const QJsonObject& left, const QString& op, const QJsonValue& right) const;
    Condition payload(const QJsonObject& field, const QJsonValue& value) const;
    Condition meta(const QString& key, const QJsonValue& value) const;
    Condition tracked(const QString& key, const QJsonValue& value) const;
    Condition mark(const QJsonValue& value) const;

    const QHash<QString, QJsonArray> m_sets;
    const bool m_setsMarks;
    QString m_table;
    qsizetype m_elements = 0;
};
