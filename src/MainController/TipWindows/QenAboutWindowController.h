#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class QenAboutWindowController;
}

/// The About window: the mark, the client's name, its version and build. Escape closes it.
class QenAboutWindowController final : public QDialog {
    Q_OBJECT
public:
    explicit QenAboutWindowController(QWidget* parent = nullptr);
    ~QenAboutWindowController() override;

private:
    std::unique_ptr<Ui::QenAboutWindowController> m_ui;
};
