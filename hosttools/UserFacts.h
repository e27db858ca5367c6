#pragma once

#include "Facts.h"

/// Who works at the computer and where accounts come from.
class UserFacts final {
public:
    explicit UserFacts(const Facts& facts) : m_facts(facts) {}

    /// Who is at the first seat, else who was there last by the record of logins; empty when neither tells.
    QString lastConsoleUser() const;

    enum class Origin {
        Unknown,
        Local,
        /// From outside this computer.
        Directory,
    };
    Origin originOf(const QString& user) const;

private:
    bool isLocal(const QString& user) const;
    long long numberOf(const QString& user) const;

    const Facts& m_facts;
};
