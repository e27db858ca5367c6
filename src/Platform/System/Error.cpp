#include "Error.h"

using namespace Qt::StringLiterals;

namespace Platform {

QString Error::logText() const {
    if (!m_present)
        return u"(null)"_s;
    QString text = u"Error Domain=%1 Code=%2"_s.arg(m_domain).arg(m_code);
    if (!m_description.isEmpty())
        text += u" \"%1\""_s.arg(m_description);
    if (!m_failureReason.isEmpty())
        text += u" (%1)"_s.arg(m_failureReason);
    return text;
}

} // namespace Platform
