#include "QenUrlEncode.h"

QString QenUrlEncode::urlencodWithData(const QByteArray& data) {
    return QString::fromLatin1(data.toPercentEncoding({}, "-._~"));
}
