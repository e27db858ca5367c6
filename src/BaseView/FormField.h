#pragma once

#include <QWidget>

#include <memory>

class QLineEdit;

namespace Ui {
class FormField;
}

/// A field of a form: its label, the text field, and under it a line for what is wrong with it.
class FormField final : public QWidget {
    Q_OBJECT
public:
    explicit FormField(QWidget* parent = nullptr);
    ~FormField() override;

    void setLabel(const QString& label);
    /// Object name of the text field, so that forms name it and not this frame.
    void setFieldName(const QString& name);
    /// A secret field hides its text and offers an eye that shows it while it is on.
    void setSecret(bool secret);

    QLineEdit* edit() const;
    QString text() const;
    void setText(const QString& text);
    /// Empties the field, hides a shown secret and takes the error away.
    void clear();

    /// The error stays until the next clearError(); an empty one is none.
    void setError(const QString& error);
    void clearError() { setError({}); }
    QString error() const;

private:
    void revealSecret(bool shown);

    std::unique_ptr<Ui::FormField> m_ui;
};
