#include "ForeignPicture.h"

#include "Files.h"

#include <QBuffer>
#include <QImageReader>

namespace {

/// Nested references draw exponentially often; this many stay in the thousands.
constexpr qsizetype MostReferences = 24;

/// The decoder for @p content; null for none.
QByteArray formatOf(const QByteArray& content) {
    constexpr std::pair<const char*, const char*> Beginnings[]{
        {"\x89PNG\r\n\x1a\n", "png"}, {"\xff\xd8\xff", "jpeg"}, {"GIF8", "gif"}, {"BM", "bmp"}};
    for (const auto& [beginning, format] : Beginnings) {
        if (content.startsWith(beginning))
            return format;
    }
    return {};
}

/// Neither other files nor entities, and no compressed drawing, whose size nobody knows.
bool isPlainDrawing(const QByteArray& content) {
    return content.size() <= ForeignPictureLimits::VectorFileSize && content.contains("<svg") &&
        !content.contains("<!ENTITY") && !content.contains("<image") && content.count("<use") <= MostReferences;
}

bool fits(QSize size) {
    return !size.isEmpty() && size.width() <= ForeignPictureLimits::Side && size.height() <= ForeignPictureLimits::Side;
}

} // namespace

QImage readForeignPicture(const QString& path, int vectorSide) {
    auto content = Platform::readFile(path, ForeignPictureLimits::FileSize);
    if (!content)
        return {};
    QByteArray format = formatOf(*content);
    const bool isDrawing = format.isNull() && vectorSide > 0 && isPlainDrawing(*content);
    if (isDrawing)
        format = "svg";
    if (format.isNull())
        return {};
    // Out of memory: a file's name would decide the pixel ratio.
    QBuffer buffer(&*content);
    QImageReader reader(&buffer, format);
    reader.setAutoDetectImageFormat(false);
    reader.setAutoTransform(true);
    if (isDrawing)
        reader.setScaledSize(reader.size().scaled(vectorSide, vectorSide, Qt::KeepAspectRatio));
    else if (!fits(reader.size()))
        return {};
    const QImage image = reader.read();
    return fits(image.size()) ? image.convertToFormat(QImage::Format_ARGB32_Premultiplied) : QImage();
}
