#include "Error.h"

namespace Platform {

QString Error::logText() const {
    if (!m_present)
        return QStringLiteral("(null)");
    QString text = QStringLiteral("Error Domain=%1 Code=%2").arg(m_domain).arg(m_code);
    if (!m_description.isEmpty())
        text += QStringLiteral(" \"%1\"").arg(m_description);
    if (!m_failureReason.isEmpty())
        text += QStringLiteral(" (%1)").arg(m_failureReason);
    return text;
}

} // namespace Platform
