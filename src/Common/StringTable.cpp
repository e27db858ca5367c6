#include "StringTable.h"

#include <QCoreApplication>
#include <QTranslator>

using namespace Qt::StringLiterals;

bool installStringTable() {
    auto* translator = new QTranslator(QCoreApplication::instance());
    if (translator->load(u":/i18n/mav_zh_CN.qm"_s) && QCoreApplication::installTranslator(translator))
        return true;
    delete translator;
    return false;
}

QString localizedString(const QString& key) {
    const QString text = qtTrId(key.toUtf8().constData());
    // What no table knows comes back as it went in.
    return text == key ? QString() : text;
}
