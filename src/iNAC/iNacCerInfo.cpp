#include "iNacCerInfo.h"

#include "IntegerValue.h"

namespace {

/// A number is taken as its text; anything else that is no text is none.
QString textOf(const QJsonObject& dictionary, QStringView key) {
    const QJsonValue value = dictionary.value(key);
    return value.isDouble() ? value.toVariant().toString() : value.toString(QString());
}

} // namespace

Data::Data(const QJsonObject& dictionary)
    : rootCA(textOf(dictionary, u"rootCA")), subCA(textOf(dictionary, u"subCA")), p12(textOf(dictionary, u"p12")),
      pwd(textOf(dictionary, u"pwd")) {}

bool Data::isUsable() const {
    return !pwd.isEmpty() && !p12.isNull() && !subCA.isNull() && !rootCA.isNull();
}

iNacCerInfo::iNacCerInfo(const QJsonObject& dictionary)
    : ret(integerValue(dictionary.value(u"ret"))), msg(textOf(dictionary, u"msg")),
      stacktrace(textOf(dictionary, u"stacktrace")), data(dictionary.value(u"data").toObject()) {}
