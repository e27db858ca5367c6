#include "QenMainWindow.h"

#include "BaseWindowController.h"
#include "Theme.h"
#include "UserDefaults.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

const QString PlaceKey = u"mainWindowPlace"_s;
/// A move of the window is a row of events; one of them is written.
constexpr int PlaceSettlesMilliseconds = 500;

} // namespace

QenMainWindow::QenMainWindow(Platform::UserDefaults& defaults)
    : m_defaults(defaults), m_menuButton(new QToolButton(this)) {
    setObjectName(u"QenMainWindow"_s);
    setAccessibleName(QGuiApplication::applicationDisplayName());
    setMinimumSize(Theme::MainWindowLeastSize);

    auto* ground = new QFrame(this);
    ground->setObjectName(u"ground"_s);
    auto* titleArea = new QFrame(ground);
    titleArea->setObjectName(u"titleArea"_s);
    titleArea->setFixedHeight(Theme::TitleHeight);
    m_menuButton->setObjectName(u"menuButton"_s);
    m_menuButton->setProperty("kind", u"icon"_s);
    m_menuButton->setAccessibleName(u"菜单"_s);
    m_menuButton->setToolTip(u"菜单（F10）"_s);
    m_menuButton->setFocusPolicy(Qt::TabFocus);
    m_menuButton->setIconSize({Theme::IconSize, Theme::IconSize});
    m_menuButton->setIcon(Theme::icon(u"menu"_s, Theme::color(Theme::Color::Text)));

    auto* titleLayout = new QHBoxLayout(titleArea);
    titleLayout->setContentsMargins(Theme::Space12, 0, Theme::Space12, 0);
    titleLayout->addStretch();
    titleLayout->addWidget(m_menuButton);
    auto* column = new QVBoxLayout(ground);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(titleArea);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(ground);

    connect(m_menuButton, &QToolButton::clicked, this, &QenMainWindow::openMenu);
    auto* open = new QShortcut(QKeySequence(Qt::Key_F10), this);
    connect(open, &QShortcut::activated, this, &QenMainWindow::openMenu);
    m_placeChanged.setSingleShot(true);
    m_placeChanged.setInterval(PlaceSettlesMilliseconds);
    connect(&m_placeChanged, &QTimer::timeout, this, &QenMainWindow::savePlace);
    qApp->installEventFilter(this);
    handleTitleView();
    restorePlace();
}

void QenMainWindow::setMenu(QMenu* menu) {
    m_menu = menu;
}

void QenMainWindow::setContentView(QWidget* view) {
    m_menuButton->parentWidget()->parentWidget()->layout()->addWidget(view);
    // What the page holds comes before the menu, wherever the button stands.
    setTabOrder(view, m_menuButton);
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
    const QPoint corner =
        m_menuButton->mapToGlobal(QPoint(m_menuButton->width(), m_menuButton->height() + Theme::Space4));
    menu->popup(corner - QPoint(menu->sizeHint().width(), 0));
    menu->setActiveAction(menu->actions().constFirst());
}

void QenMainWindow::restorePlace() {
    resize(Theme::MainWindowSize);
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
    m_defaults.synchronize();
}

void QenMainWindow::closeEvent(QCloseEvent* event) {
    m_isCloseWindow = true;
    savePlace();
    QWidget::closeEvent(event);
}

void QenMainWindow::showEvent(QShowEvent* event) {
    m_isCloseWindow = false;
    QWidget::showEvent(event);
}

void QenMainWindow::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    if (isVisible())
        m_placeChanged.start();
}

void QenMainWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (isVisible())
        m_placeChanged.start();
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
