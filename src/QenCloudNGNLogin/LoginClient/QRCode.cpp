#include "QRCode.h"

#include <qrencode.h>

#include <memory>

namespace {

constexpr double PixelsPerPoint = 2.0;

QImage modules(const QRcode& code) {
    QImage image(code.width, code.width, QImage::Format_Mono);
    image.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    for (int y = 0; y < code.width; ++y) {
        for (int x = 0; x < code.width; ++x)
            image.setPixel(x, y, code.data[y * code.width + x] & 1);
    }
    return image;
}

} // namespace

QImage qrCodeImage(const QByteArray& text, double side) {
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(
            static_cast<int>(text.size()), reinterpret_cast<const unsigned char*>(text.constData()), 0, QR_ECLEVEL_M),
        QRcode_free);
    const int pixels = qRound(side * PixelsPerPoint);
    if (!code || pixels <= 0)
        return {};
    QImage image = modules(*code).scaled(pixels, pixels, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    image.setDevicePixelRatio(PixelsPerPoint);
    return image;
}
