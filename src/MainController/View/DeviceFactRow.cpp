#include "DeviceFactRow.h"

#include "ElidedLabel.h"
#include "Theme.h"

#include <QEvent>
#include <QGridLayout>
#include <QToolButton>

using namespace Qt::StringLiterals;

DeviceFactRow::DeviceFactRow(QWidget* parent)
    : QFrame(parent), m_label(new QLabel(this)), m_value(new ElidedLabel(this)), m_copy(new QToolButton(this)) {
    m_label->setProperty("textRole", u"note"_s);
    m_copy->setProperty("kind", u"icon"_s);
    m_copy->setFocusPolicy(Qt::TabFocus);
    m_copy->setIconSize({Theme::SmallIconSize, Theme::SmallIconSize});
    setFocusProxy(m_copy);
    m_copy->installEventFilter(this);
    connect(m_copy, &QToolButton::clicked, this, &DeviceFactRow::copyPressed);

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setHorizontalSpacing(Theme::Space4);
    layout->setVerticalSpacing(Theme::Space4 / 2);
    layout->addWidget(m_label, 0, 0);
    layout->addWidget(m_value, 1, 0);
    layout->addWidget(m_copy, 0, 1, 2, 1, Qt::AlignVCenter);
    layout->setColumnStretch(0, 1);
    setValue({});
    followPointer();
}

QString DeviceFactRow::label() const {
    return m_label->text();
}

void DeviceFactRow::setLabel(const QString& label) {
    m_label->setText(label);
    m_copy->setAccessibleName(u"复制%1"_s.arg(label));
    m_copy->setToolTip(m_copy->accessibleName());
}

QString DeviceFactRow::valueName() const {
    return m_value->objectName();
}

void DeviceFactRow::setValueName(const QString& name) {
    m_value->setObjectName(name);
    m_copy->setObjectName(name + u"Copy"_s);
}

void DeviceFactRow::setValue(const QString& value) {
    m_text = value;
    m_value->setText(value.isEmpty() ? u"—"_s : value);
    m_copy->setEnabled(!value.isEmpty());
}

bool DeviceFactRow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_copy && (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut))
        followPointer();
    return QFrame::eventFilter(watched, event);
}

void DeviceFactRow::enterEvent(QEnterEvent* event) {
    m_isHovered = true;
    followPointer();
    QFrame::enterEvent(event);
}

void DeviceFactRow::leaveEvent(QEvent* event) {
    m_isHovered = false;
    followPointer();
    QFrame::leaveEvent(event);
}

void DeviceFactRow::followPointer() {
    // Only the picture goes: a hidden button could not be reached by the keyboard.
    const bool shows = m_isHovered || m_copy->hasFocus();
    m_copy->setIcon(shows ? Theme::icon(u"copy"_s, Theme::color(Theme::Color::SecondText)) : QIcon());
}
