#include "Tool.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

namespace {

/// The program of an application bundle, or @p path itself.
QString programOf(const QString& path) {
    const QFileInfo file(path);
    return file.isDir() ? path + u"/Contents/MacOS/"_s + file.completeBaseName() : path;
}

/// Starts it apart from us: whoever asked waits for our end and for whoever holds our output.
bool startApart(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    // Commands whose output is read run without a language; what a person sees has the person's.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"LC_ALL"_s);
    process.setProcessEnvironment(environment);
    return process.startDetached();
}

} // namespace

Outcome runOpen(const Facts&, const QStringList& arguments) {
    if (arguments.size() >= 2 && arguments[0] == u"-a") {
        const QString program = programOf(arguments[1]);
        return startApart(program, arguments.mid(2)) ? Outcome() : failed(u"cannot start "_s + program);
    }
    if (arguments.size() != 1 || arguments[0].startsWith(u'-'))
        return notUnderstood("open FILE | open -a PROGRAM [ARGUMENT...]");
    return startApart(u"xdg-open"_s, arguments) ? Outcome()
                                                : failed(u"xdg-open is not installed, so nothing can be opened"_s);
}
