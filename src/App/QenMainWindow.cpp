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

} // namespace

QenMainWindow::QenMainWindow(Platform::UserDefaults& defaults) : m_defaults(defaults) {
    m_ui.setupUi(this);
    setMinimumSize(Theme::MainWindowLeastSize.width(), Theme::roomFor(Theme::MainWindowLeastSize.height(), 8));
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
    resize(Theme::MainWindowSize.width(), Theme::roomFor(Theme::MainWindowSize.height(), 4));
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
    switch (event->type()) {
    case QEvent::KeyPress:
        if (isActiveWindow())
            m_altAlone = static_cast<QKeyEvent*>(event)->key() == Qt::Key_Alt;
        break;
    case QEvent::KeyRelease:
        if (m_altAlone && isActiveWindow() && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Alt &&
            !static_cast<QKeyEvent*>(event)->isAutoRepeat()) {
            m_altAlone = false;
            openMenu();
        }
        break;
    case QEvent::MouseButtonPress:
    case QEvent::WindowDeactivate:
        m_altAlone = false;
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}
