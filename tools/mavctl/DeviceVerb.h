#pragma once

#include "ITDevice.h"

#include <QJsonObject>
#include <QTextStream>

/// "mavctl device [--json] [--root DIR]": every fact that the client knows of this computer, under the names it uses
/// for them.
///
/// With --root the facts come from the files below DIR: no command is run, and the interfaces are those found there,
/// without addresses, since these are in no file. @returns the exit status: 0, or 2 for arguments that it does not know
int deviceVerb(const QStringList& arguments, QTextStream& output, QTextStream& errors);

/// The facts as one object.
QJsonObject deviceFacts(ITDevice& device);
/// One fact a line, names aligned; entries of lists and tables on lines of their own below.
QString deviceText(const QJsonObject& facts);
