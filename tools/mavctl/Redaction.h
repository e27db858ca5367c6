#pragma once

#include <QHash>
#include <QJsonValue>
#include <QRegularExpression>
#include <QString>

/// Puts tokens such as <account-1> in place of what tells whose computer this is: the same thing has the same token
/// wherever it stands. First everything is learned from, then everything is cleaned.
class Redaction {
public:
    /// @p value is one of @p kind: "account", "name", "host", "address", "id", "secret". Very short words are not
    /// looked for.
    void learn(const QString& kind, const QString& value);
    /// Learns the values of all telling keys in @p json, at any depth.
    void learn(const QJsonValue& json);
    /// The same of a log's or JSON's text: KEY=VALUE, KEY:VALUE and "KEY":"VALUE".
    void learnFrom(const QString& text);

    /// Without what was learned, and without what looks like a mail address, network address, host, long number or key.
    QString cleaned(const QString& text);
    /// How many things have a token.
    qsizetype size() const { return m_tokens.size(); }

private:
    QString token(const QString& kind, const QString& value);
    QString withoutLearned(const QString& text);
    QString without(const QString& text, const QString& kind, const QRegularExpression& pattern);

    QHash<QString, QString> m_tokens;
    /// Of each kind.
    QHash<QString, int> m_counts;
    /// What is looked for everywhere.
    QStringList m_learned;
};
