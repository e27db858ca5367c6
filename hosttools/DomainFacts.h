#pragma once

#include "Facts.h"
#include "Finding.h"

#include <QMap>

#include <chrono>
#include <optional>

/// The Active Directory domain that the computer is joined to.
struct JoinedDomain {
    /// DNS name in lower case.
    QString name;
    /// Short name as users see it before a backslash, in upper case.
    QString flatName;
    /// Name of the computer's account, without the final "$".
    QString account;
};

/// Whether and where the computer is joined.
///
/// In this order: the settings of sssd and winbind where everybody may read them, realmd, and what sssd leaves for
/// everybody about the domains it serves. A directory of another kind is no answer.
class DomainFacts final {
public:
    /// @param busLimit  for all questions to realmd, which the bus may have to start
    explicit DomainFacts(const Facts& facts, std::chrono::milliseconds busLimit = std::chrono::milliseconds(1000))
        : m_facts(facts), m_busLimit(busLimit) {}

    struct Answer {
        /// Yes with a domain; No when the computer is joined to none.
        Finding isJoined;
        JoinedDomain domain;
    };
    Answer find() const;
    /// Whether users may come from sssd or winbind at all.
    bool hasDirectoryUsers() const;

private:
    Answer joined(const QString& name, const QString& account = {}) const;
    std::optional<Answer> bySssdSettings(bool* areUnreadable) const;
    std::optional<Answer> byWinbind() const;
    std::optional<Answer> byRealmd() const;
    std::optional<Answer> bySssdTraces() const;
    QMap<QString, QString> samba() const;
    bool usersComeFrom(const QString& source) const;

    const Facts& m_facts;
    const std::chrono::milliseconds m_busLimit;
};
