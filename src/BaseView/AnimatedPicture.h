#pragma once

#include <QMovie>
#include <QWidget>

/// An animation while something runs, a picture otherwise. The animation costs time only while it runs and can be seen;
/// its first image stands for it where the person wants little motion.
class AnimatedPicture final : public QWidget {
    Q_OBJECT
public:
    explicit AnimatedPicture(QWidget* parent = nullptr);

    /// @param fileName  of an animation among the resources
    void setAnimation(const QString& fileName);
    /// @param name  of a picture; empty shows nothing
    void setPicture(const QString& name);
    void setRunning(bool isRunning);
    bool isRunning() const { return m_isRunning; }
    QString picture() const { return m_picture; }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void follow();

    QMovie m_movie;
    QString m_picture;
    bool m_isRunning = false;
};
