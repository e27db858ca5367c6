#pragma once

#include "RestartOffer.h"

/// Brings up the tool that joins the computer to its domain. Main thread; the tool is looked for and started in the
/// background.
class JoinDomainAction final : public QObject {
    Q_OBJECT
public:
    struct World {
        /// Brings a tool that already runs forward; false when none does. Any thread, may block.
        std::function<bool()> activateRunningTool;
        /// The bundle's resources, where the tool lies.
        QString resources;
        /// Takes one line for the system console. Any thread.
        std::function<void(const QString&)> console;
        ScriptCall runScript = systemScripts();

        /// The running client's.
        static World standard();
    };

    explicit JoinDomainAction(World world = World::standard());

    /// Nothing while a launch is under way.
    void tapDomainBtn();
    bool isJoiningDomain() const { return m_isJoiningDomain; }

Q_SIGNALS:
    /// The progress indicator runs, or stops and hides.
    void joiningChanged(bool isJoining);

private:
    static void openDomainTool(const World& world);
    void dismiss();

    const World m_world;
    bool m_isJoiningDomain = false;
};
