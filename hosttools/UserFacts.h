#pragma once

#include "Facts.h"

/// The name of an account and of the domain that it says to be from, as in "lisi@corp.example" and "CORP\ursula".
struct AccountName {
    QString shortName;
    /// Empty for a name that tells none.
    QString domain;

    static AccountName parsed(const QString& name);
};

/// Who works at the computer and where accounts come from.
class UserFacts final {
public:
    explicit UserFacts(const Facts& facts) : m_facts(facts) {}

    /// The user of the active session at the first seat; empty without one, as on a login screen.
    QString atFirstSeat() const;
    /// Of the account with that number; empty when there is none. The system's account sources are asked beneath the
    /// real root only.
    QString accountName(const QString& number) const;
    /// Who is at the first seat, else who was there last by the record of logins; empty when neither tells.
    QString lastConsoleUser() const;
    /// The same, without the domain unless an account of this computer has the short name.
    QString lastConsoleUserShort() const;

    enum class Origin {
        Unknown,
        Local,
        /// From outside this computer.
        Directory,
    };
    /// @param domains  names of the computer's domain: accounts are known with any of them or with none
    Origin originOf(const QString& user, const QStringList& domains) const;

private:
    bool isLocal(const QString& user) const;
    long long numberOf(const QString& user, const QStringList& domains) const;

    const Facts& m_facts;
};
