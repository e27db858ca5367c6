#pragma once

#include <QMap>
#include <QString>

#include <atomic>
#include <memory>
#include <mutex>

namespace Platform {
class ArchiveValue;
}

/// One check of the catalogue and its last result.
///
/// The texts are set before the check is shared; the result is written on the check queue and may be read on any
/// thread.
class QenCheckModel final {
public:
    /// What is known of it in the current round.
    enum class Outcome {
        Running, ///< No result yet.
        Passed,
        Failed,
        Unknown, ///< No result can be had, or one that counts as not met without being known.
    };

    QenCheckModel() = default;
    QenCheckModel(const QenCheckModel&) = delete;
    QenCheckModel& operator=(const QenCheckModel&) = delete;

    /// Takes over those of "title", "detail", "selectorName", "mainKey" and "keyword" that are strings.
    void spreadDictToModel(const Platform::ArchiveValue& dictionary);

    /// Also decides whether the check is included in a round.
    const QString& title() const { return m_title; }
    const QString& detail() const { return m_detail; }
    /// Name of the method of QenCheck that runs it, with its colon.
    const QString& selectorName() const { return m_selectorName; }
    /// Under which its result is posted.
    const QString& mainKey() const { return m_mainKey; }
    /// Help topic; null when there is nothing to repair.
    const QString& keyword() const { return m_keyword; }

    /// Not compliant.
    bool isWarn() const { return m_isWarn; }
    void setIsWarn(bool isWarn) { m_isWarn = isWarn; }
    Outcome outcome() const { return m_outcome; }
    void setOutcome(Outcome outcome) { m_outcome = outcome; }
    /// Why, in words for the person; null when the check's own description says enough.
    QString note() const { return locked(m_note); }
    void setNote(const QString& note);
    /// What the probe found, one English line for support; null before the first result.
    QString reason() const { return locked(m_reason); }
    /// What that reason is, for programs; null when it has no code.
    QString reasonCode() const { return locked(m_reasonCode); }
    void setReason(const QString& reason, const QString& code);

private:
    QString locked(const QString& text) const {
        const std::lock_guard lock(m_mutex);
        return text;
    }

    QString m_title;
    QString m_detail;
    QString m_selectorName;
    QString m_mainKey;
    QString m_keyword;
    std::atomic<bool> m_isWarn{false};
    std::atomic<Outcome> m_outcome{Outcome::Running};
    mutable std::mutex m_mutex;
    QString m_reason;
    QString m_reasonCode;
    QString m_note;
};

using QenCheckModelPointer = std::shared_ptr<QenCheckModel>;

/// The object of a result's notification: exactly one entry, the check's key and the check itself.
using CheckResult = QMap<QString, QenCheckModelPointer>;
