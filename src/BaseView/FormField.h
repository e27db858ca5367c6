#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;
class QToolButton;

/// A field of a form: its label, the text field, and under it a line for what is wrong with it.
///
/// The text field's object name is set by "fieldName", so that forms name the field and not this frame.
class FormField : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString label READ label WRITE setLabel)
    Q_PROPERTY(QString fieldName READ fieldName WRITE setFieldName)
    Q_PROPERTY(bool secret READ isSecret WRITE setSecret)
public:
    explicit FormField(QWidget* parent = nullptr);

    QString label() const;
    void setLabel(const QString& label);
    QString fieldName() const;
    void setFieldName(const QString& name);
    bool isSecret() const { return m_eye != nullptr; }
    /// A secret field hides its text and offers an eye that shows it while it is on.
    void setSecret(bool secret);

    QLineEdit* edit() const { return m_edit; }
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

    QLabel* m_label;
    QLineEdit* m_edit;
    QWidget* m_errorLine;
    QLabel* m_error;
    QToolButton* m_eye = nullptr;
};
