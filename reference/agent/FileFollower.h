#pragma once

#include <QFileSystemWatcher>
#include <QTimer>

namespace ReferenceAgent {

/// Tells when one file may have changed, however it was written, and while its folders do not exist yet.
class FileFollower final : public QObject {
    Q_OBJECT

public:
    explicit FileFollower(QString path);

Q_SIGNALS:
    /// After a short silence, so that a file is not read while an editor writes it. More often than needed.
    void changed();

private:
    void follow();

    QString m_path;
    QFileSystemWatcher m_watcher;
    QTimer m_silence;
};

} // namespace ReferenceAgent
