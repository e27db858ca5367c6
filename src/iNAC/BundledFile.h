#pragma once

#include <QByteArray>
#include <QString>

/// Content of a resource of the application bundle; empty without one. Any thread.
QByteArray bundledFile(const QString& name, const QString& type);
