#pragma once

#include <QToolButton>

/// A button whose picture changes while the pointer is over it. Main thread.
class HoverPictureButton final : public QToolButton {
    Q_OBJECT
public:
    explicit HoverPictureButton(QWidget* parent = nullptr);

    /// Names of pictures.
    void setPictures(const QString& normal, const QString& hover);
    /// The picture that is shown.
    QString picture() const;

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void follow();

    QString m_normal;
    QString m_hover;
    bool m_isHovered = false;
};
