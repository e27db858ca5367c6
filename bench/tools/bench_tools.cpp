// 1,000 office tools: how long they take to be laid out and drawn for the first time, the longest stall meanwhile, and
// the slowest frame while they are scrolled from top to bottom. Without a display of its own it draws into memory, as
// the offscreen platform does.

#include "BenchHarness.h"
#include "MavResources.h"
#include "QenToolCell.h"
#include "QenToolsView.h"
#include "Theme.h"

#include <QApplication>
#include <QScrollArea>
#include <QScrollBar>

using namespace Qt::StringLiterals;

namespace {

using Bench::Clock;

constexpr int Tools = 1000;
constexpr int Rounds = 7;
constexpr int ScrollStep = 60;

double microseconds(Clock::time_point since) {
    return std::chrono::duration<double, std::micro>(Clock::now() - since).count();
}

QList<QenToolModel> thousandTools() {
    QList<QenToolModel> models;
    for (int index = 0; index < Tools; ++index) {
        QenToolModel model;
        model.appName = u"办公工具与审批系统%1"_s.arg(index);
        models.append(model);
    }
    return models;
}

void printMicroseconds(const char* name, std::vector<double> samples) {
    const Bench::Result result = Bench::summarise(std::move(samples));
    std::printf("{\"case\": \"%s\", \"median_us\": %.0f, \"spread\": %.3f}\n", name, result.median, result.spread);
}

/// Everything that is waiting, the drawing included.
void drawFrame() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    initMavResources();
    Theme::apply(application);
    const QList<QenToolModel> models = thousandTools();
    std::vector<double> layouts;
    std::vector<double> stalls;
    std::vector<double> worstFrames;
    for (int round = 0; round < Rounds; ++round) {
        QenToolsView view;
        view.resize(824, 460);
        view.show();
        drawFrame();
        const auto start = Clock::now();
        view.setModels(models);
        double stall = microseconds(start);
        while (view.toolCells().size() < Tools) {
            const auto turn = Clock::now();
            drawFrame();
            stall = std::max(stall, microseconds(turn));
        }
        const auto last = Clock::now();
        drawFrame();
        stalls.push_back(std::max(stall, microseconds(last)));
        layouts.push_back(microseconds(start));

        QScrollBar* bar = view.findChild<QScrollArea*>()->verticalScrollBar();
        double worst = 0;
        for (int place = 0; place < bar->maximum(); place += ScrollStep) {
            const auto frame = Clock::now();
            bar->setValue(place);
            drawFrame();
            worst = std::max(worst, microseconds(frame));
        }
        worstFrames.push_back(worst);
    }
    if (Bench::isWanted("layout_1000_tools"))
        printMicroseconds("layout_1000_tools", layouts);
    if (Bench::isWanted("layout_1000_tools_longest_stall"))
        printMicroseconds("layout_1000_tools_longest_stall", stalls);
    if (Bench::isWanted("scroll_1000_tools_worst_frame"))
        printMicroseconds("scroll_1000_tools_worst_frame", worstFrames);
    return 0;
}
