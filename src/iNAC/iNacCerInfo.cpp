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
    : m_rootCA(textOf(dictionary, u"rootCA")), m_subCA(textOf(dictionary, u"subCA")), m_p12(textOf(dictionary, u"p12")),
      m_pwd(textOf(dictionary, u"pwd")) {}

bool Data::isUsable() const {
    return !m_pwd.isEmpty() && !m_p12.isNull() && !m_subCA.isNull() && !m_rootCA.isNull();
}

iNacCerInfo::iNacCerInfo(const QJsonObject& dictionary)
    : m_ret(integerValue(dictionary.value(u"ret"))), m_msg(textOf(dictionary, u"msg")),
      m_stacktrace(textOf(dictionary, u"stacktrace")), m_data(dictionary.value(u"data").toObject()) {}
