#pragma once

#include "Error.h"

#include <QString>

#include <functional>
#include <optional>

/// How the domain-login probe reaches the client's session and its server. May answer on any thread.
class DomainAccountLink {
public:
    using Answer = std::function<void(bool isValid, const std::optional<QString>& name, const Platform::Error& error)>;

    virtual ~DomainAccountLink() = default;
    /// An account record exists.
    virtual bool hasRecord() = 0;
    /// Asks the server whether a domain account is valid.
    virtual void check(const QString& account, const QString& domain, Answer answer) = 0;
    /// Makes the account that was asked about last a session, unless somebody has signed in since it was asked.
    /// @param done  called once with whether the record was saved
    virtual void signIn(const QString& userid, const QString& username, const QString& domainName,
        std::function<void(bool isSaved)> done) = 0;
};
