#pragma once

#include "HostFixture.h"
#include "HostPack.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

/// For each test a machine in a folder, and the pack that looks at it.
class MachineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_pack.isGood()); }
    void init() {
        m_machine.emplace();
        HostPack::makeReadable(m_machine->path());
    }

protected:
    HostFixture fixture() const { return HostFixture(m_machine->path()); }
    void build(const QString& lines) const { QCOMPARE(fixture().build(lines), QString()); }
    HostPack::Result run(const QStringList& command) const { return m_pack.run(m_machine->path(), command); }

    const HostPack m_pack;
    std::optional<QTemporaryDir> m_machine;
};
