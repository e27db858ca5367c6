#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <QSystemTrayIcon>

using namespace Qt::StringLiterals;

/// The least that a tray application with a window can be: one label and a tray item. measure.py runs the client beside
/// it.
int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QLabel window(u"连接管理服务器"_s);
    window.setAlignment(Qt::AlignCenter);
    window.resize(960, 640);
    QPixmap picture(16, 16);
    picture.fill(Qt::gray);
    QSystemTrayIcon tray{QIcon(picture)};
    tray.show();
    window.show();
    return QApplication::exec();
}
