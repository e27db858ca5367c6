#include "DevicePanel.h"

#include "Bundle.h"
#include "ElidedLabel.h"
#include "ITDevice.h"
#include "Theme.h"

#include <QAccessible>
#include <QClipboard>
#include <QEvent>
#include <QGridLayout>
#include <QGuiApplication>
#include <QToolButton>

using namespace Qt::StringLiterals;

/// One fact: its name over its value, with a copy button that shows while the row is hovered or the button has the
/// keyboard.
class DeviceFactRow final : public QFrame {
public:
    /// @param name  of the value; the button has the same with "Copy" behind it
    DeviceFactRow(const QString& label, const QString& name, QWidget* parent)
        : QFrame(parent), m_label(label), m_value(new ElidedLabel(this)), m_copy(new QToolButton(this)) {
        auto* heading = new QLabel(label, this);
        heading->setProperty("textRole", u"note"_s);
        m_value->setObjectName(name);
        m_copy->setObjectName(name + u"Copy"_s);
        m_copy->setAccessibleName(u"复制%1"_s.arg(label));
        m_copy->setToolTip(m_copy->accessibleName());
        m_copy->setProperty("kind", u"icon"_s);
        m_copy->setFocusPolicy(Qt::TabFocus);
        m_copy->setIconSize({Theme::SmallIconSize, Theme::SmallIconSize});
        m_copy->installEventFilter(this);
        installEventFilter(this);

        auto* layout = new QGridLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setHorizontalSpacing(Theme::Space4);
        layout->setVerticalSpacing(Theme::Space4 / 2);
        layout->addWidget(heading, 0, 0);
        layout->addWidget(m_value, 1, 0);
        layout->addWidget(m_copy, 0, 1, 2, 1, Qt::AlignVCenter);
        layout->setColumnStretch(0, 1);
        setValue({});
    }

    const QString& label() const { return m_label; }
    const QString& value() const { return m_text; }
    QToolButton* copyButton() const { return m_copy; }
    /// An empty value shows a dash and cannot be copied.
    void setValue(const QString& value) {
        m_text = value;
        m_value->setText(value.isEmpty() ? u"—"_s : value);
        m_copy->setEnabled(!value.isEmpty());
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        const QEvent::Type type = event->type();
        const bool isPointed = type == QEvent::Enter || type == QEvent::Leave;
        // Only the picture goes: a hidden button could not be reached by the keyboard.
        if (isPointed || type == QEvent::FocusIn || type == QEvent::FocusOut)
            m_copy->setIcon(underMouse() || m_copy->hasFocus()
                    ? Theme::icon(u"copy"_s, Theme::color(Theme::Color::SecondText))
                    : QIcon());
        return QFrame::eventFilter(watched, event);
    }

private:
    const QString m_label;
    ElidedLabel* m_value;
    QToolButton* m_copy;
    QString m_text;
};

namespace {

constexpr int AlertTipMilliseconds = 1500;
/// What the server is told of every device of this client.
const QString DeviceType = u"PC"_s;

struct FactText {
    const char16_t* label;
    const char16_t* name;
    void (DevicePanel::*copy)();
};
constexpr FactText Facts[] = {{u"设备名称", u"deviceName", &DevicePanel::copyDeviceName},
    {u"设备类型", u"deviceType", &DevicePanel::copyDeviceType},
    {u"系统版本", u"systemVersion", &DevicePanel::copySystemVersion},
    {u"客户端版本", u"clientVersion", &DevicePanel::copyMacVersion},
    {u"IP地址", u"ipAddress", &DevicePanel::copyIPAddress}, {u"MAC地址", u"macAddress", &DevicePanel::copyMacAddress}};

} // namespace

DevicePanel::DevicePanel(QWidget* parent) : QFrame(parent), m_alertTip(new QLabel(window())) {
    auto* title = new QLabel(u"本机信息"_s, this);
    title->setProperty("textRole", u"heading"_s);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::Space24, Theme::Space24, Theme::Space16, Theme::Space24);
    layout->setSpacing(Theme::Space12);
    layout->addWidget(title);
    for (size_t fact = 0; fact < FactCount; ++fact) {
        const auto& [label, name, copyIt] = Facts[fact];
        m_rows[fact] = new DeviceFactRow(QString::fromUtf16(label), QString::fromUtf16(name), this);
        layout->addWidget(m_rows[fact]);
        connect(m_rows[fact]->copyButton(), &QToolButton::clicked, this, copyIt);
    }
    layout->addStretch();
    m_alertTip->setObjectName(u"alertTip"_s);
    m_alertTip->hide();
    m_alertTipEnd.setSingleShot(true);
    connect(&m_alertTipEnd, &QTimer::timeout, m_alertTip, &QWidget::hide);
}

void DevicePanel::load(ITDevice& device, Platform::TaskGroup& work) {
    using Facts = std::array<QString, FactCount>;
    const auto show = m_answers.wrapped([this](const Facts& facts) {
        for (size_t fact = 0; fact < FactCount; ++fact)
            m_rows[fact]->setValue(facts[fact]);
    });
    Platform::globalQueue().async([show, busy = work.token(), &device] {
        const ITDevice::Addresses addresses = device.addresses();
        show(Facts{device.machineName(), DeviceType, device.osVersion(), Platform::infoValue(u"CFBundleVersion"_s),
            addresses.ip.join(u';'), addresses.mac.join(u';')});
    });
}

void DevicePanel::copy(Fact fact) {
    const DeviceFactRow& row = *m_rows[fact];
    QGuiApplication::clipboard()->clear();
    QGuiApplication::clipboard()->setText(row.value());
    showAlertTip(u"已复制%1"_s.arg(row.label()));
}

void DevicePanel::showAlertTip(const QString& text) {
    m_alertTip->setText(text);
    m_alertTip->adjustSize();
    m_alertTip->move((width() - m_alertTip->width()) / 2, window()->height() - m_alertTip->height() - Theme::Space16);
    m_alertTip->show();
    m_alertTip->raise();
    m_alertTipEnd.start(AlertTipMilliseconds);
    QAccessibleEvent told(m_alertTip, QAccessible::Alert);
    QAccessible::updateAccessibility(&told);
}
