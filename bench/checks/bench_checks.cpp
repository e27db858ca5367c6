// What a round of the four checks costs beyond the commands that it runs and the delay after which it closes.
//
// "commands_us" is the same commands in the same order through the same runner, without a round around them; rounds of
// both alternate. The tools are scripts that answer at once, or after 100 ms.

#include "BenchHarness.h"
#include "Files.h"
#include "HostTools.h"
#include "KeyedArchiver.h"
#include "MavResources.h"
#include "NotificationCenter.h"
#include "QenCheck.h"
#include "QenCheckRound.h"
#include "TaskHelper.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

using Bench::check;
using Bench::Clock;
using Bench::secondsSince;

constexpr int Rounds = 7;
constexpr double ClosingDelay = 2.5;
constexpr double Allowed = 0.05;

void writeTool(const QString& folder, const char* name, const QByteArray& script) {
    QFile file(folder + u'/' + QString::fromLatin1(name));
    check(file.open(QIODevice::WriteOnly), "tool");
    file.write("#!/bin/sh\n" + script);
    file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
}

/// The commands of a round, one after the other.
void runCommands(const TaskHelper& tasks) {
    for (const char* command : {"fdesetup status", "defaults read /Library/Preferences/com.apple.alf globalstate",
             "dsconfigad -show | grep 'Active Directory Domain' | awk '{print $5}'"}) {
        QString output;
        tasks.excuteTaskPath(u"/bin/bash"_s, {u"-c"_s, QString::fromLatin1(command)}, &output, nullptr);
        check(!output.isEmpty(), "a command gave no answer");
    }
}

/// One round from its start to its end.
double roundSeconds(QenCheckRound& round) {
    const auto start = Clock::now();
    round.startCheck();
    QCoreApplication::exec();
    check(round.hadCheckedCount() == 4, "a result is missing");
    return secondsSince(start);
}

void measure(const char* name, const QByteArray& delay) {
    if (!Bench::isWanted(name))
        return;
    QTemporaryDir folder;
    const QString tools = folder.filePath(u"tools"_s);
    check(QDir().mkpath(tools), "folder");
    writeTool(tools, "fdesetup", delay + "echo 'FileVault is On.'\n");
    writeTool(tools, "defaults", delay + "echo 1\n");
    writeTool(tools, "dsconfigad", delay + "echo 'Active Directory Domain = corp.example'\n");
    Platform::HostTools::setFolders({tools});
    const QVariantMap access{{u"is_disk_encrypt"_s, u"1"_s}, {u"firewall"_s, u"1"_s},
        {u"ent_domain"_s, u"corp.example"_s}, {u"ent_qen"_s, u"1.0"_s}};
    const auto policy = Platform::ArchiveValue::fromVariant(QVariantMap{{u"access"_s, access}});
    for (const char* file : {"complianceInfo", "complianceInfo.archive"})
        check(!Platform::replaceFile(
                  folder.filePath(QString::fromLatin1(file)), Platform::KeyedArchiver::archivedData(policy)),
            "policy");

    const TaskHelper tasks;
    auto& center = Platform::NotificationCenter::defaultCenter();
    const CheckLog silent = [](const QString&, int) {};
    QenCheck checks({.log = silent,
        .tasks = tasks,
        .center = center,
        .agentState = folder.path(),
        .applicationBundle = folder.path()});
    QenCheckRound round({.log = silent,
        .center = center,
        .checkWithModel = [&checks](const QenCheckModelPointer& model) { checks.checkWithModel(model); },
        .agentState = folder.path(),
        .catalogue = u":/bundle/QenCheck.plist"_s});
    QObject::connect(&round, &QenCheckRound::completed, &round, [] { QCoreApplication::quit(); });
    // The load begins a round of its own, which warms everything up.
    round.getDataFromPlist();
    QCoreApplication::exec();

    std::vector<double> commands;
    std::vector<double> extra;
    for (int i = 0; i < Rounds; ++i) {
        const auto start = Clock::now();
        runCommands(tasks);
        commands.push_back(secondsSince(start));
        extra.push_back(roundSeconds(round) - commands.back() - ClosingDelay);
    }
    const Bench::Result bare = Bench::summarise(commands);
    const double worst = *std::max_element(extra.begin(), extra.end());
    const double median = Bench::summarise(extra).median;
    std::printf(
        "{\"case\": \"%s\", \"median_us\": %.0f, \"worst_us\": %.0f, \"commands_us\": %.0f, \"commands_spread\": %.3f, "
        "\"within_50_ms\": %s}\n",
        name, median * 1e6, worst * 1e6, bare.median * 1e6, bare.spread, worst <= Allowed ? "true" : "false");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    initMavResources();
    measure("check_round_beyond_commands", "");
    measure("check_round_beyond_slow_commands", "sleep 0.1\n");
}
