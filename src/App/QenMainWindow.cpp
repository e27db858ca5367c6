#include "QenMainWindow.h"

#include "BaseWindowController.h"
#include "Theme.h"
#include "UserDefaults.h"

#include <QApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QShortcut>

using namespace Qt::StringLiterals;

namespace {

const QString PlaceKey = u"mainWindowPlace"_s;
/// A move of the window is a row of events; one of them is written.
constexpr int PlaceSettlesMilliseconds = 500;

/// @p size with @p lines of larger type, as far as the screen has room below a window's title.
QSize fitting(QSize size, int lines, const QScreen& screen) {
    constexpr QSize TitleBar(0, 40);
    size.setHeight(Theme::roomFor(size.height(), lines));
    return size.boundedTo(screen.availableSize() - TitleBar);
}

} // namespace

QenMainWindow::QenMainWindow(Platform::UserDefaults& defaults) : m_defaults(defaults) {
    m_ui.setupUi(this);
    setMinimumSize(Theme::MainWindowLeastSize.width(), fitting(Theme::MainWindowLeastSize, 8, *screen()).height());
    m_ui.menuButton->setIcon(Theme::icon(u"menu"_s, Theme::color(Theme::Color::Text)));
    connect(m_ui.menuButton, &QToolButton::clicked, this, &QenMainWindow::openMenu);
    auto* open = new QShortcut(QKeySequence(Qt::Key_F10), this);
    connect(open, &QShortcut::activated, this, &QenMainWindow::openMenu);
    m_placeChanged.setSingleShot(true);
    m_placeChanged.setInterval(PlaceSettlesMilliseconds);
    connect(&m_placeChanged, &QTimer::timeout, this, &QenMainWindow::savePlace);
    qApp->installEventFilter(this);
    handleTitleView();
    restorePlace();
}

void QenMainWindow::setContentView(QWidget* view) {
    m_ui.column->addWidget(view);
    // What the page holds comes before the menu, wherever the button stands.
    setTabOrder(view, m_ui.menuButton);
}

void QenMainWindow::handleTitleView() {
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
        Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
}

void QenMainWindow::makeKeyAndOrderFront() {
    BaseWindowController::makeKeyAndOrderFront(*this);
}

void QenMainWindow::openMenu() {
    QMenu* menu = m_menu.data();
    if (!menu)
        return;
    // Under the button and within the window, as far as its right edge.
    const QToolButton* button = m_ui.menuButton;
    const QPoint corner = button->mapToGlobal(QPoint(button->width(), button->height() + Theme::Space4));
    menu->popup(corner - QPoint(menu->sizeHint().width(), 0));
    menu->setActiveAction(menu->actions().constFirst());
}

void QenMainWindow::restorePlace() {
    resize(fitting(Theme::MainWindowSize, 4, *screen()));
    const QByteArray place = m_defaults.objectForKey(PlaceKey).data();
    // Also refuses a place on a screen that is gone.
    if (!place.isEmpty() && restoreGeometry(place))
        return;
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        move(BaseWindowController::getFrameOriginOfWindow(size(), screen->availableGeometry()));
}

void QenMainWindow::savePlace() {
    m_placeChanged.stop();
    m_defaults.setObject(saveGeometry(), PlaceKey);
}

bool QenMainWindow::event(QEvent* event) {
    if (event->type() == QEvent::Close)
        savePlace();
    else if (isVisible() && (event->type() == QEvent::Move || event->type() == QEvent::Resize))
        m_placeChanged.start();
    return QWidget::event(event);
}

bool QenMainWindow::eventFilter(QObject* watched, QEvent* event) {
    // Alt pressed and let go with nothing between opens the menu; Alt with a key, a click or another window does not.
    const QEvent::Type type = event->type();
    const bool isKey = (type == QEvent::KeyPress || type == QEvent::KeyRelease) && isActiveWindow();
    const auto* key = isKey ? static_cast<QKeyEvent*>(event) : nullptr;
    if (type == QEvent::MouseButtonPress || type == QEvent::WindowDeactivate) {
        m_altAlone = false;
    } else if (key && type == QEvent::KeyPress) {
        m_altAlone = key->key() == Qt::Key_Alt;
    } else if (key && m_altAlone && key->key() == Qt::Key_Alt && !key->isAutoRepeat()) {
        m_altAlone = false;
        openMenu();
    }
    return QWidget::eventFilter(watched, event);
}
