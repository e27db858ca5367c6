#include "KeyFile.h"

KeyFile parseKeyFile(const QByteArray& text) {
    KeyFile groups;
    QString group;
    for (const QByteArray& rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        const qsizetype sign = line.indexOf(u'=');
        if (line.startsWith(u'[') && line.endsWith(u']'))
            group = line.mid(1, line.size() - 2).trimmed().toLower();
        else if (sign > 0 && !line.startsWith(u'#') && !line.startsWith(u';'))
            groups[group].insert(line.left(sign).simplified().toLower(), line.mid(sign + 1).trimmed());
    }
    return groups;
}
