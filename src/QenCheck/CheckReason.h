#pragma once

#include <QString>

#include <optional>

/// Why a check is not met. A value; subject and place are other programs' texts, made one short line.
struct CheckReason {
    /// For programs; null when there is nothing to tell.
    QString code;
    /// The disk, zone, file, name or version that decided; may be empty.
    QString subject;
    /// Where it lies, or what it should be; may be empty.
    QString place = {};
    /// One English line for support; null where the verdict's own says as much.
    QString text = {};
    /// It could not be found out.
    bool isUnknown = false;

    /// The probe had to be stopped.
    static CheckReason late();
    /// The probe gave no answer, nor why.
    static CheckReason silent();
    /// What mav-hosttools prints as a reason; nothing for "on" and for whatever is no such answer.
    static std::optional<CheckReason> fromJson(const QString& json);
    /// A sentence in the language of the installed texts; null for a code without words.
    QString note() const;
};

/// Another program's text without line ends and what cannot be seen, of bounded length.
QString oneLine(const QString& text);
