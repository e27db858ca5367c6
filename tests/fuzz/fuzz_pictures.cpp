// Pictures that somebody else made, from any bytes: within the limits and in the one form, or none.

#include "ForeignPicture.h"
#include "Fuzzing.h"

#include <QGuiApplication>

/// What the system's fonts keep.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}

using namespace Qt::StringLiterals;

void fuzz(const QByteArray& input) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int count = 1;
    static char name[] = "fuzz_pictures";
    static char* arguments[] = {name, nullptr};
    // Letters of a drawing need one. Never destroyed: the toolkit's fonts would count as lost.
    static const auto* application = new QGuiApplication(count, arguments);
    require(application, "no application");
    static InputFolder folder;
    folder.write(u"picture"_s, input);
    for (const int vectorSide : {0, 48}) {
        const QImage picture = readForeignPicture(folder.path(u"picture"_s), vectorSide);
        require(qMax(picture.width(), picture.height()) <= ForeignPictureLimits::Side, "too large");
        require(picture.isNull() || picture.format() == QImage::Format_ARGB32_Premultiplied, "of another form");
    }
}
