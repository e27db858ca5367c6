#pragma once

#include <QDialog>

/// The About window: the mark, the client's name, its version and build.
class QenAboutWindowController final : public QDialog {
    Q_OBJECT
public:
    explicit QenAboutWindowController(QWidget* parent = nullptr);
};
