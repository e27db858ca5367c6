#pragma once

#include <QStringList>

#include <span>

/// Exit statuses of the tool.
enum class Exit : int {
    Ok = 0,
    /// With one line of reason on standard error.
    Failure = 1,
    /// The command line is not understood; usage on standard error.
    Usage = 2,
    /// What was only to be looked at is not as wanted.
    Different = 3,
    /// There is no policy that could be met.
    NoPolicy = 4,
};

/// One thing the tool does, told apart by the first word of its command line.
struct Verb {
    const char* name;
    /// Lines of the usage text, without the tool's name.
    const char* usage;
    /// @param arguments  what follows the verb
    Exit (*run)(const QStringList& arguments);
};

/// All verbs; a new one is one more line in Verbs.cpp.
std::span<const Verb> verbs();

// Each in a file of its own.
Exit runArchive(const QStringList& arguments);
Exit runCheck(const QStringList& arguments);
Exit runDevice(const QStringList& arguments);
Exit runDoctor(const QStringList& arguments);
Exit runReport(const QStringList& arguments);
Exit runServer(const QStringList& arguments);
Exit runStatus(const QStringList& arguments);
Exit runWatch(const QStringList& arguments);

/// Prints on standard output at once; a failure when nobody can read it.
Exit print(const QByteArray& text);

/// Prints one line of reason on standard error.
Exit fail(const QString& reason, Exit status = Exit::Failure);
