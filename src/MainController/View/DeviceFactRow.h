#pragma once

#include <QFrame>

class ElidedLabel;
class QLabel;
class QToolButton;

/// One fact of the device panel: its name over its value, with a copy button that shows while the row is hovered or the
/// button has the keyboard. Main thread.
class DeviceFactRow final : public QFrame {
    Q_OBJECT
    Q_PROPERTY(QString label READ label WRITE setLabel)
    Q_PROPERTY(QString valueName READ valueName WRITE setValueName)
public:
    explicit DeviceFactRow(QWidget* parent = nullptr);

    QString label() const;
    void setLabel(const QString& label);
    /// Object name of the value; the button has the same with "Copy" behind it.
    QString valueName() const;
    void setValueName(const QString& name);
    QString value() const { return m_text; }
    /// An empty value shows a dash and cannot be copied.
    void setValue(const QString& value);

Q_SIGNALS:
    void copyPressed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void followPointer();

    QLabel* m_label;
    ElidedLabel* m_value;
    QToolButton* m_copy;
    QString m_text;
    bool m_isHovered = false;
};
