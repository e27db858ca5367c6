#pragma once

#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariantMap>

#include <memory>

namespace Reference {

/// The server's one SQLite file. Every statement is prepared once and kept; values only ever travel as bound
/// parameters.
///
/// A statement that fails is logged and answers false or no rows. Used from one thread.
class Database final {
public:
    /// @param file  created with its tables when missing
    explicit Database(const QString& file);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    bool isOpen() const { return m_open; }
    QString errorText() const;

    /// @return false when the statement failed or changed no row
    bool run(const QString& statement, const QVariantList& values = {});
    QList<QVariantMap> select(const QString& statement, const QVariantList& values = {});
    QVariantMap selectOne(const QString& statement, const QVariantList& values = {});

    /// Rolls back at its end unless committed. Transactions do not nest.
    class Transaction final {
    public:
        explicit Transaction(Database& database);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        bool commit();

    private:
        Database& m_database;
        bool m_pending;
    };

private:
    bool createTables();
    QSqlQuery* execute(const QString& statement, const QVariantList& values);

    QSqlDatabase m_database;
    QHash<QString, std::shared_ptr<QSqlQuery>> m_prepared;
    bool m_open = false;
};

} // namespace Reference
