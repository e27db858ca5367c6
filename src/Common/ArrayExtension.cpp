#include "ArrayExtension.h"

QStringList ArrayExtension::stringArrayWithCFData(const QByteArray& data) {
    QStringList strings;
    qsizetype start = 0;
    for (qsizetype end = data.indexOf('\0'); end >= 0; end = data.indexOf('\0', start)) {
        strings.append(QString::fromLatin1(data.constData() + start, end - start));
        start = end + 1;
    }
    return strings;
}
