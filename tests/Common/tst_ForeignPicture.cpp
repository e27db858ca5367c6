#include "ForeignPicture.h"
#include "TestFiles.h"

#include <QBuffer>
#include <QImageWriter>
#include <QTemporaryDir>

#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int Width = 100;
constexpr int Height = 50;

QByteArray encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter(&buffer, format).write(image);
    return bytes;
}

/// A picture of one tone.
QByteArray picture(QImage::Format pixels, const char* format = "png") {
    QImage image(Width, Height, pixels);
    if (pixels == QImage::Format_Mono || pixels == QImage::Format_Indexed8) {
        image.setColorTable({qRgba(200, 0, 0, 128), qRgb(200, 0, 0)});
        image.fill(1U);
    } else {
        image.fill(QColor(200, 0, 0));
    }
    return encoded(image, format);
}

QByteArray number(quint32 value) {
    return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(8, '0'));
}

/// Some part of a PNG file, of four bytes or more, with its checksum.
QByteArray chunk(const QByteArray& typeAndData) {
    const auto sum =
        crc32(0, reinterpret_cast<const Bytef*>(typeAndData.constData()), static_cast<uInt>(typeAndData.size()));
    return number(static_cast<quint32>(typeAndData.size() - 4)) + typeAndData + number(static_cast<quint32>(sum));
}

/// A few bytes that stand for a grey picture of @p side pixels.
QByteArray bomb(quint32 side) {
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR" + number(side) + number(side) + QByteArray("\x8\0\0\0\0", 5)) +
        chunk("IDAT" + qCompress(QByteArray(1 << 20, 0)).mid(4)) + chunk("IEND");
}

/// Two images, each one pixel, one of them far outside of the picture.
QByteArray movingGif() {
    const QByteArray frame("\x2c\0\0\0\0\1\0\1\0\0\2\2\x44\1\0", 15);
    QByteArray outside = frame;
    outside[2] = '\x7f';
    return QByteArray("GIF89a\1\0\1\0\x80\0\0\xff\0\0\0\xff\0", 19) + frame + outside + frame + ";";
}

QByteArray drawing(const QByteArray& inside) {
    return "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' viewBox='0 0 20 10'>" +
        inside + "</svg>";
}

QByteArray nestedDrawing() {
    QByteArray inside = "<defs><rect id='l0' width='1' height='1'/>";
    for (int level = 1; level < 30; ++level) {
        const QByteArray use = "<use xlink:href='#l" + QByteArray::number(level - 1) + "'/>";
        inside += "<g id='l" + QByteArray::number(level) + "'>" + use + use + "</g>";
    }
    return drawing(inside + "</defs><use xlink:href='#l29'/>");
}

} // namespace

/// Pictures that others made, whole and broken. No row may end the program; what is no picture within the limits is
/// none, and what is one can be scaled and drawn.
class tst_ForeignPicture : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void decodes_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("isPicture");
        const QByteArray palette = picture(QImage::Format_Indexed8);
        const QByteArray jpeg = picture(QImage::Format_RGB32, "jpeg");
        QByteArray damaged = palette;
        damaged[damaged.size() - 20] = static_cast<char>(~damaged[damaged.size() - 20]);
        QTest::newRow("palette of 1 bit") << picture(QImage::Format_Mono) << true;
        QTest::newRow("palette of 8 bit") << palette << true;
        QTest::newRow("colours of 16 bit") << picture(QImage::Format_RGBA64) << true;
        QTest::newRow("JPEG under this name") << jpeg << true;
        QTest::newRow("BMP under this name") << picture(QImage::Format_Mono, "bmp") << true;
        QTest::newRow("moving GIF") << movingGif() << true;
        QTest::newRow("largest") << encoded(QImage(2048, 2048, QImage::Format_Mono), "png") << true;
        QTest::newRow("too wide") << encoded(QImage(2049, 1, QImage::Format_RGB32), "png") << false;
        QTest::newRow("bomb") << bomb(30000) << false;
        QTest::newRow("bomb of negative side") << bomb(0xffffffff) << false;
        QTest::newRow("too many bytes") << palette + QByteArray(ForeignPictureLimits::FileSize, 0) << false;
        QTest::newRow("cut PNG") << palette.chopped(palette.size() / 2) << false;
        QTest::newRow("damaged PNG") << damaged << false;
        QTest::newRow("only its first bytes") << palette.left(8) << false;
        QTest::newRow("cut GIF") << movingGif().left(21) << false;
        QTest::newRow("no bytes") << QByteArray("") << false;
        QTest::newRow("drawing") << drawing("<rect width='20' height='10'/>") << false;
        QTest::newRow("other kind of picture") << picture(QImage::Format_RGB32, "ppm") << false;
    }
    void decodes() {
        QFETCH(QByteArray, content);
        // The name says a pixel ratio, which is no business of the decoder's.
        const QString path = write(u"c_qen_mark@2x.png"_s, content);
        const QImage image = readForeignPicture(path);
        QTEST(!image.isNull(), "isPicture");
        if (image.isNull())
            return;
        QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
        QCOMPARE(image.devicePixelRatio(), 1.0);
        const QImage drawn = image.scaled(Width, Height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        QCOMPARE(drawn.size(), QSize(Width, Height));
    }

    void drawings() {
        const auto size = [this](const QByteArray& content) {
            return readForeignPicture(write(u"icon.svg"_s, content), 48).size();
        };
        QCOMPARE(size(drawing("<rect width='20' height='10'/>")), QSize(48, 24)); // keeps its shape
        for (const QByteArray& refused : {nestedDrawing(), drawing("<image xlink:href='/dev/zero'/>"),
                 "<!DOCTYPE svg [<!ENTITY a 'b'>]>" + drawing("&a;"),
                 drawing(QByteArray(ForeignPictureLimits::VectorFileSize, ' ')), drawing("<rect"),
                 QByteArray("<svg xmlns='http://www.w3.org/2000/svg' width='0' height='0'/>")})
            QVERIFY2(size(refused).isEmpty(), refused.left(300).constData());
    }

private:
    QString write(const QString& name, const QByteArray& content) const {
        put(m_folder.filePath(name), content);
        return m_folder.filePath(name);
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_ForeignPicture)
#include "tst_ForeignPicture.moc"
