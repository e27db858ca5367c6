#pragma once

#include <QString>

/// An answer that may be impossible to have, with its reason as a code and what the code is about.
struct Finding {
    enum class State { No, Yes, Unknown };
    State state = State::Unknown;
    /// One of those in Finding.cpp; empty for Yes.
    QString code;
    /// The disk, zone, chain, file or name that decided; may be empty.
    QString subject;
    /// For disks what lies there: a mount point or "swap".
    QString place = {};

    static Finding yes() { return {State::Yes, {}, {}}; }
    static Finding no(const QString& code, const QString& subject = {}) { return {State::No, code, subject}; }
    static Finding unknown(const QString& code, const QString& subject = {}) { return {State::Unknown, code, subject}; }
    bool isYes() const { return state == State::Yes; }
    bool isNo() const { return state == State::No; }
    bool isUnknown() const { return state == State::Unknown; }
    /// The reason as an English sentence without a full stop.
    QString text() const;
};
