#include "SoleId.h"

#include "ITDevice.h"
#include "StateFiles.h"
#include "StateFolder.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <ctime>

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 RandomRange = 99999999;
constexpr qsizetype Start = 7;
constexpr qsizetype Length = 16;

} // namespace

QString SoleId::getNowTimestamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return QString::number(now.tv_sec + (now.tv_nsec >= 500'000'000 ? 1 : 0));
}

QString SoleId::stringToMD5(const QString& text) {
    const QByteArray digits = QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex();
    return QString::fromLatin1(digits.mid(Start, Length));
}

bool SoleId::exists() const {
    return m_state.exists(StateFiles::SoleId);
}

std::optional<QString> SoleId::value() const {
    const auto root = m_state.read(StateFiles::SoleId);
    return root && root->isString() ? std::optional(root->string()) : std::nullopt;
}

void SoleId::make() {
    const quint32 random = QRandomGenerator::system()->generate() % RandomRange + 1;
    const QString seed = m_device.machineName() + getNowTimestamp() + QString::number(random) + m_device.uuid() +
        m_device.macAddresses().join(u';');
    m_state.replace(StateFiles::SoleId, stringToMD5(seed), Platform::Durability::Synced);
}

void SoleId::remove() {
    m_state.remove(StateFiles::SoleId);
}
