#pragma once

#include <QByteArray>
#include <QImage>

/// A QR code of @p text as an image of @p side x @p side points, its modules scaled without smoothing.
///
/// Two pixels a point, so that it is sharp on dense screens. Null when the text is too long for a code. Any thread.
QImage qrCodeImage(const QByteArray& text, double side);
