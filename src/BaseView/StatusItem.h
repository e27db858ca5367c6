#pragma once

#include <QObject>

#include <memory>

class QSystemTrayIcon;

/// The client's item in the desktop's tray. It has no menu: a click only asks for the window.
///
/// The item exists only while the desktop has a tray, since the toolkit asks for one once and remembers a "no". Main
/// thread.
class StatusItem final : public QObject {
    Q_OBJECT
public:
    explicit StatusItem(QObject* parent = nullptr);
    ~StatusItem() override;

    /// To be called at each change of the tray's presence; a tray that comes back gets a new item.
    void setTrayAvailable(bool available);

Q_SIGNALS:
    void clicked();
    /// The desktop's way to ask for a menu, mostly the second button.
    void menuRequested();

private:
    std::unique_ptr<QSystemTrayIcon> m_item;
};
