#pragma once

#include <QString>

/// Says under which folder the signed-in record lives.
class AccountModelHelper final {
public:
    static AccountModelHelper& helper();
    /// The user's Application Support folder.
    QString rootPath() const { return m_rootPath; }

private:
    explicit AccountModelHelper(QString rootPath) : m_rootPath(std::move(rootPath)) {}
    QString m_rootPath;
};
