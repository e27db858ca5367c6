#pragma once

#include "ui_FormField.h"

#include <QWidget>

/// A field of a form: its label, the text field, and under it a line for what is wrong with it.
class FormField final : public QWidget {
    Q_OBJECT
public:
    explicit FormField(QWidget* parent = nullptr);

    void setLabel(const QString& label);
    /// Object name of the text field, so that forms name it and not this frame.
    void setFieldName(const QString& name);
    /// A secret field hides its text and offers an eye that shows it while it is on.
    void setSecret(bool secret);

    QLineEdit* edit() const { return m_ui.edit; }
    QString text() const { return m_ui.edit->text(); }
    void setText(const QString& text) { m_ui.edit->setText(text); }
    /// Empties the field, hides a shown secret and takes the error away.
    void clear();

    /// The error stays until the next clearError(); an empty one is none.
    void setError(const QString& error);
    void clearError() { setError({}); }
    QString error() const { return m_ui.error->text(); }

private:
    void revealSecret(bool shown);

    Ui::FormField m_ui;
};
