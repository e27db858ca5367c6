#pragma once

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <sys/resource.h>

/// A file of the fuzz targets' corpus.
inline QByteArray corpusFile(const QString& name) {
    QFile file(QFINDTESTDATA("../../fuzz/corpus/") + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("there is no input %s", qPrintable(name));
    return file.readAll();
}

/// Every file of a folder of the corpus as a row with the one column "file".
inline void addCorpusRows(const QString& folder) {
    QTest::addColumn<QByteArray>("file");
    const QStringList names = QDir(QFINDTESTDATA("../../fuzz/corpus/") + folder).entryList(QDir::Files);
    if (names.size() < 20)
        qFatal("there are no inputs in %s", qPrintable(folder));
    for (const QString& name : names)
        QTest::newRow(qPrintable(name)) << corpusFile(folder + u'/' + name);
}

/// True when @p read answers nothing, at far less than what a bomb would cost in memory and time.
template <typename Read>
bool isRefusedCheaply(Read read) {
    // Far above what a broken file takes, a sanitizer's own share included.
    constexpr long MemoryLimit = 800 * 1024;
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    QElapsedTimer timer;
    timer.start();
    const bool isRefused = !read();
    getrusage(RUSAGE_SELF, &after);
    return isRefused && after.ru_maxrss - before.ru_maxrss < MemoryLimit && timer.elapsed() < 5000;
}
