#pragma once

#include "BaseWindowController.h"

class QListWidget;
class QTextBrowser;

/// The help window: topics at the left, the chosen one at the right. Its pages are part of the program. Escape closes
/// it.
class QenHelpWebWindowController final : public BaseWindowController {
    Q_OBJECT
public:
    explicit QenHelpWebWindowController(QWidget* parent = nullptr);

    /// Shows the first topic, unless one is already shown.
    void loadHelpView();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void addTopics();
    void showTopic(int row);

    QListWidget* m_topics;
    QTextBrowser* m_page;
};
