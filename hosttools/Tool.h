#pragma once

#include "Facts.h"

/// What one command prints and how it ends.
struct Outcome {
    QString output;
    /// One line for standard error, without the command's name; empty when nothing went wrong.
    QString error;
    int status = 0;
};

/// Statuses of commands that have none of their own.
namespace Status {
constexpr int Failed = 1;
constexpr int Usage = 64;
} // namespace Status

inline Outcome failed(const QString& error, int status = Status::Failed) {
    return {{}, error, status};
}

/// One command of the pack.
struct Tool {
    const char* name;
    const char* usage;
    Outcome (*run)(const Facts& facts, const QStringList& arguments);
};

/// Arguments that the command does not answer to.
Outcome notUnderstood(const char* usage);

Outcome runDefaults(const Facts& facts, const QStringList& arguments);
Outcome runDsconfigad(const Facts& facts, const QStringList& arguments);
Outcome runDscl(const Facts& facts, const QStringList& arguments);
Outcome runFdesetup(const Facts& facts, const QStringList& arguments);
Outcome runNetworksetup(const Facts& facts, const QStringList& arguments);
Outcome runOpen(const Facts& facts, const QStringList& arguments);
/// One JSON object with "state" ("on", "off", "unknown"), "code", "subject", "place" and "text": see Finding.
Outcome runReason(const Facts& facts, const QStringList& arguments);
Outcome runScutil(const Facts& facts, const QStringList& arguments);
