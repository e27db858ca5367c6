#include "ITDevice.h"

#include "Bundle.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

/// The platform's numbers for code that is not signed, and for no code at all.
constexpr int NotSigned = -67062;
constexpr int NoSuchCode = -67068;

} // namespace

ITDevice::Package ITDevice::packageOwning(const QString& path) const {
    if (!path.startsWith(u'/'))
        return {};
    // What counts as a pattern there is a plain sign here. Folders below /usr are often listed by their short names.
    static const QRegularExpression pattern(u"([*?\\[\\\\])"_s);
    const QString file = QString(path).replace(pattern, u"\\\\1"_s);
    const QString script =
        u"dpkg-query --root=\"$2/\" -S \"$1\" \"${1#/usr}\" 2>/dev/null | grep -v '^diversion ' | "
        "sed 's/[,:].*//;q' | xargs -r dpkg-query --root=\"$2/\" -W -f '${Version}\\n${Maintainer}\\n'"_s;
    const QStringList lines = m_sources.run(u"/bin/sh"_s, {u"-c"_s, script, u"sh"_s, file, m_root}).split(u'\n');
    return {lines.value(0), lines.value(1)};
}

QString ITDevice::pathFromPid(qint64 processIdentifier) const {
    const QString deleted = u" (deleted)"_s;
    const QString path = QFile::symLinkTarget(u"%1/proc/%2/exe"_s.arg(m_root).arg(processIdentifier));
    return path.endsWith(deleted) ? path.chopped(deleted.size()) : path;
}

QString ITDevice::getAppVersionWithPath(const QString& path) const {
    const qsizetype bundle = path.indexOf(u".app/"_s);
    const QString version =
        bundle < 0 ? QString() : Platform::infoValue(path.left(bundle) + u".app"_s, u"CFBundleShortVersionString"_s);
    return version.isEmpty() ? packageOwning(path).version : version;
}

QVariantMap ITDevice::getProcessSign(const QString& path) const {
    const QString maintainer = packageOwning(path).maintainer;
    return {{u"signatureStatus"_s, QFileInfo(path).isFile() ? NotSigned : NoSuchCode},
        {u"signingAuthorities"_s, QStringList{maintainer.isEmpty() ? u"unknown"_s : maintainer}}};
}
