#pragma once

#include "BaseWindowController.h"

#include <vector>

/// A window that owns itself: it lives exactly from its creation to the close of its window.
///
/// Made with new; must be closed once, shown or not.
class AutoReleaseWindowController : public BaseWindowController {
    Q_OBJECT
public:
    explicit AutoReleaseWindowController(QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::Window);
    ~AutoReleaseWindowController() override;

    /// The living ones, oldest first.
    static std::vector<AutoReleaseWindowController*> autoReleaseWCs();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void forget();
};
