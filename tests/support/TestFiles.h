#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

/// Makes a file with its folders, or replaces it.
inline void put(const QString& path, const QByteArray& bytes = "x", bool isProgram = false) {
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    if (isProgram)
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

inline QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(absent)");
}
