#pragma once

#include "Error.h"

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

/// What a probe's answer means. Pure functions; a null or empty output is "no answer".
///
/// An error decides the firewall's verdict only; elsewhere it is told in the reason.
struct CheckVerdict {
    /// Not compliant.
    bool isWarn = true;
    /// One English line for support, of bounded length whatever the probe printed.
    QString reason;
    /// Empty where the answer alone does not tell it.
    CheckReason why = {};
    /// The probe gave an answer, whatever it was.
    bool hasAnswer = true;
};

CheckVerdict judgeFileVault(const QString& output, const Platform::Error& error);
CheckVerdict judgeFireWall(const QString& output, const Platform::Error& error);
/// @param expected  null without a policy
CheckVerdict judgeJoinDomain(const QString& output, const Platform::Error& error, const QString& expected);
/// @param installed  null without a bundle
/// @param minimum  null without a policy
CheckVerdict judgeQenVersion(const QString& installed, const QString& minimum);
