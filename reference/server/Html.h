#pragma once

#include <QByteArray>
#include <QString>

namespace Reference {

/// Text made safe for element content and quoted attribute values. The pages hold no other unescaped text than their
/// own.
QString escaped(const QString& text);

/// A whole page without external resources. @param body  HTML
QByteArray page(const QString& title, const QString& body, const QString& script = {});
/// A heading and one line.
QByteArray messagePage(const QString& title, const QString& text);

} // namespace Reference
