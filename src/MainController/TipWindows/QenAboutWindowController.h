#pragma once

#include "BaseWindowController.h"

#include <memory>

namespace Ui {
class QenAboutWindowController;
}

/// The About window: the mark, the client's name, its version and build. Escape closes it.
class QenAboutWindowController final : public BaseWindowController {
    Q_OBJECT
public:
    explicit QenAboutWindowController(QWidget* parent = nullptr);
    ~QenAboutWindowController() override;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    std::unique_ptr<Ui::QenAboutWindowController> m_ui;
};
