#pragma once

#include <QPushButton>

/// A button that shows the folder it chooses: a picture, the path cut in its middle when it is too long, and the word
/// for changing it. The tool tip has the whole path.
class FolderButton final : public QPushButton {
    Q_OBJECT
public:
    explicit FolderButton(QWidget* parent = nullptr);

    const QString& title() const { return m_title; }
    void setTitle(const QString& path);
    /// The path as it is drawn in @p width pixels: on one line, its beginning and its end.
    QString shownTitle(int width) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_title;
};
