#pragma once

#include "CheckReason.h"
#include "Error.h"

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
