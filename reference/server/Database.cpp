#include "Database.h"

#include <QLoggingCategory>
#include <QSqlError>
#include <QSqlRecord>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(lcDatabase, "reference.database")

namespace Reference {

namespace {

const QString connectionName = u"reference-server"_s;

const char* const schema[] = {
    "CREATE TABLE IF NOT EXISTS accounts (userid TEXT PRIMARY KEY, username TEXT NOT NULL, salt BLOB NOT NULL,"
    " password_hash BLOB NOT NULL, temporary_hash BLOB, temporary_until INTEGER NOT NULL DEFAULT 0,"
    " otp TEXT NOT NULL DEFAULT '', mail TEXT NOT NULL DEFAULT '', blocked INTEGER NOT NULL DEFAULT 0,"
    " expired INTEGER NOT NULL DEFAULT 0, must_change INTEGER NOT NULL DEFAULT 0,"
    " requires_approval INTEGER NOT NULL DEFAULT 0)",
    "CREATE TABLE IF NOT EXISTS devices (deviceid TEXT PRIMARY KEY, hostname TEXT NOT NULL DEFAULT '',"
    " ip TEXT NOT NULL DEFAULT '', mac TEXT NOT NULL DEFAULT '', os TEXT NOT NULL DEFAULT '',"
    " login_user TEXT NOT NULL DEFAULT '', standing TEXT NOT NULL DEFAULT 'new', blocked INTEGER NOT NULL DEFAULT 0,"
    " bound_userid TEXT NOT NULL DEFAULT '', last_seen INTEGER NOT NULL DEFAULT 0)",
    "CREATE TABLE IF NOT EXISTS sessions (id INTEGER PRIMARY KEY AUTOINCREMENT, userid TEXT NOT NULL,"
    " deviceid TEXT NOT NULL, kind TEXT NOT NULL, state TEXT NOT NULL DEFAULT 'live', ticket_hash BLOB NOT NULL,"
    " previous_hash BLOB, rotate INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL, expires INTEGER NOT NULL,"
    " last_check INTEGER NOT NULL DEFAULT 0)",
    "CREATE INDEX IF NOT EXISTS sessions_by_ticket ON sessions (ticket_hash)",
    "CREATE INDEX IF NOT EXISTS sessions_by_previous ON sessions (previous_hash)",
    "CREATE INDEX IF NOT EXISTS sessions_by_device ON sessions (deviceid, state)",
    "CREATE TABLE IF NOT EXISTS scans (soleid TEXT NOT NULL, deviceid TEXT NOT NULL, stage TEXT NOT NULL,"
    " userid TEXT NOT NULL DEFAULT '', waited INTEGER NOT NULL DEFAULT 0, ticket TEXT NOT NULL DEFAULT '',"
    " changed INTEGER NOT NULL, PRIMARY KEY (soleid, deviceid))",
    "CREATE TABLE IF NOT EXISTS domain_accounts (uid TEXT NOT NULL COLLATE NOCASE, dc TEXT NOT NULL COLLATE NOCASE,"
    " user_name TEXT NOT NULL, PRIMARY KEY (uid, dc))",
    "CREATE TABLE IF NOT EXISTS mails (id INTEGER PRIMARY KEY AUTOINCREMENT, recipient TEXT NOT NULL,"
    " subject TEXT NOT NULL, text TEXT NOT NULL, sent INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS certificates (serial TEXT PRIMARY KEY, userid TEXT NOT NULL, deviceid TEXT NOT NULL,"
    " issued INTEGER NOT NULL, expires INTEGER NOT NULL, revoked INTEGER NOT NULL DEFAULT 0)",
    "CREATE TABLE IF NOT EXISTS settings (name TEXT PRIMARY KEY, value TEXT NOT NULL)",
};

} // namespace

Database::Database(const QString& file) : m_database(QSqlDatabase::addDatabase(u"QSQLITE"_s, connectionName)) {
    m_database.setDatabaseName(file);
    m_database.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=2000"_s);
    m_open = m_database.open() && createTables();
}

Database::~Database() {
    m_prepared.clear();
    m_database.close();
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(connectionName);
}

bool Database::createTables() {
    QSqlQuery query(m_database);
    for (const char* pragma : {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=NORMAL"}) {
        if (!query.exec(QString::fromLatin1(pragma)))
            return false;
    }
    query.finish();
    Transaction transaction(*this);
    for (const char* statement : schema) {
        if (!query.exec(QString::fromLatin1(statement)))
            return false;
    }
    return transaction.commit();
}

QString Database::errorText() const {
    return m_database.lastError().text();
}

QSqlQuery* Database::execute(const QString& statement, const QVariantList& values) {
    std::shared_ptr<QSqlQuery>& query = m_prepared[statement];
    if (!query) {
        auto fresh = std::make_shared<QSqlQuery>(m_database);
        fresh->setForwardOnly(true);
        if (!fresh->prepare(statement)) {
            qCWarning(lcDatabase) << fresh->lastError().text() << statement;
            return nullptr;
        }
        query = std::move(fresh);
    }
    for (qsizetype i = 0; i < values.size(); ++i) {
        // A null string would travel as NULL; here it is an empty text. NULL itself is the invalid variant.
        const bool nullText = values[i].userType() == QMetaType::QString && values[i].toString().isNull();
        query->bindValue(int(i), nullText ? QVariant(u""_s) : values[i]);
    }
    if (!query->exec()) {
        qCWarning(lcDatabase) << query->lastError().text() << statement;
        return nullptr;
    }
    return query.get();
}

bool Database::run(const QString& statement, const QVariantList& values) {
    QSqlQuery* query = execute(statement, values);
    if (!query)
        return false;
    const bool changed = query->numRowsAffected() > 0;
    query->finish();
    return changed;
}

QList<QVariantMap> Database::select(const QString& statement, const QVariantList& values) {
    QList<QVariantMap> rows;
    QSqlQuery* query = execute(statement, values);
    if (!query)
        return rows;
    const QSqlRecord columns = query->record();
    while (query->next()) {
        QVariantMap row;
        for (int i = 0; i < columns.count(); ++i)
            row[columns.fieldName(i)] = query->value(i);
        rows.append(row);
    }
    query->finish();
    return rows;
}

QVariantMap Database::selectOne(const QString& statement, const QVariantList& values) {
    return select(statement, values).value(0);
}

Database::Transaction::Transaction(Database& database)
    : m_database(database), m_pending(database.m_database.transaction()) {}

Database::Transaction::~Transaction() {
    if (m_pending)
        m_database.m_database.rollback();
}

bool Database::Transaction::commit() {
    const bool done = m_pending && m_database.m_database.commit();
    m_pending = m_pending && !done;
    return done;
}

} // namespace Reference
