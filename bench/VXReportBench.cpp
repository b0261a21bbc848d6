// The report view on a heavy year: 300 application rows holding 2 million log numbers, in a
// 1600 x 1000 window (offscreen platform). Timed, each against a reference measured in the same
// run:
//
//   - a full update (the delegate clipping every log to the range, the view rebuilding its model
//     and size), target < 100 ms; reference: a deep copy of the applications' logs;
//   - a full redraw of the visible part while scrolling through all rows, and while the mouse
//     moves over the rows with the read-out on, target < 16 ms per frame; reference: a plain
//     QPainter fill of the same 1600 x 1000 image.
//
// Ranges: the whole year (no chooser strip), one month and one day inside it.
//
//     bench_report [--runs N]

#include "VXConfigurationKeys.h"
#include "VXHeavyConfiguration.h"
#include "VXHeavyReportDelegate.h"
#include "VXReportView.h"
#include "VXUserDefaults.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include <ctime>

namespace {

double processSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

struct Sample {
    double wallMs = 0.0;
    double cpuMs = 0.0;
};

Sample measure(const std::function<void()> &work)
{
    QElapsedTimer timer;
    const double cpu = processSeconds();
    timer.start();
    work();
    return {double(timer.nsecsElapsed()) / 1e6, (processSeconds() - cpu) * 1e3};
}

struct Summary {
    double median = 0.0;
    double worst = 0.0;
    double medianCpu = 0.0;
};

Summary summarize(std::vector<Sample> samples)
{
    Summary s;
    if (samples.empty())
        return s;
    std::vector<double> wall, cpu;
    for (const Sample &sample : samples) {
        wall.push_back(sample.wallMs);
        cpu.push_back(sample.cpuMs);
    }
    std::sort(wall.begin(), wall.end());
    std::sort(cpu.begin(), cpu.end());
    s.median = wall[wall.size() / 2];
    s.worst = wall.back();
    s.medianCpu = cpu[cpu.size() / 2];
    return s;
}

std::int64_t countNumbers(const VXDictionary &configuration)
{
    std::int64_t count = 0;
    const VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary();
    if (!applications)
        return 0;
    for (const auto &entry : *applications) {
        if (const VXDictionary *application = entry.value.dictionary()) {
            count += std::int64_t(
                application->value(VXActiveLogKey).array() ? application->value(VXActiveLogKey).array()->size() : 0);
            count += std::int64_t(application->value(VXFrontActiveLogKey).array()
                                      ? application->value(VXFrontActiveLogKey).array()->size()
                                      : 0);
        }
    }
    return count;
}

}   // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int runs = 3;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--runs") == 0)
            runs = std::max(1, std::atoi(argv[++i]));
    QApplication application(argc, argv);
    QTemporaryDir settingsFolder;
    VXUserDefaults settings(QStringLiteral("org.example.WendleBench"), settingsFolder.path());
    VXUserDefaults::setStandard(&settings);
    settings.setBool(true, VXReportViewKey::kShowTimeAtMouseLocation);
    settings.setBool(true, VXReportViewKey::kIndicatorLineTracksMouse);
    settings.setBool(true, VXReportViewKey::kReportsShowPercentages);

    // 300 applications without windows or pools: every one of the 2 million numbers is in a row.
    VXHeavyConfigurationParameters parameters;
    parameters.windowCount = 0;
    parameters.poolCount = 0;
    parameters.membersPerPool = 0;
    VXHeavyConfigurationSummary made;
    VXHeavyReportDelegate delegate;
    delegate.configuration = VXMakeHeavyConfiguration(parameters, &made);
    delegate.first = parameters.firstTimestamp;
    delegate.last = parameters.firstTimestamp + parameters.span;
    std::printf("heavy year: %d applications, %d windows, %d pools, %lld log numbers in the rows\n", made.applications,
                made.windows, made.pools, static_cast<long long>(countNumbers(*delegate.configuration)));

    QScrollArea window;
    window.setFrameShape(QFrame::NoFrame);
    window.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    window.resize(1600 + window.verticalScrollBar()->sizeHint().width(), 1000);
    auto *view = new VXReportView;
    window.setWidget(view);
    view->setDelegate(&delegate);
    window.show();
    QApplication::processEvents();

    // References.
    std::vector<Sample> copies;
    for (int i = 0; i < runs; ++i)
        copies.push_back(measure([&] {
            const VXValue copy = delegate.configuration->value(VXApplicationsKey).deepCopy();
            (void)copy;
        }));
    const Summary copy = summarize(copies);
    QImage image(1600, 1000, QImage::Format_ARGB32_Premultiplied);
    std::vector<Sample> fills;
    for (int i = 0; i < 50; ++i)
        fills.push_back(measure([&] {
            QPainter painter(&image);
            painter.fillRect(QRectF(0, 0, 1600, 1000), QColor(26, 26, 26));
        }));
    const Summary fill = summarize(fills);
    std::printf("reference: deep copy of the applications %.2f ms; plain fill of 1600x1000 %.3f ms\n\n", copy.median,
                fill.median);

    struct Range {
        const char *name;
        double begin, end;
    };
    const double year0 = delegate.first;
    const Range ranges[] = {
        {"year", delegate.first, delegate.last},
        {"month", year0 + 180 * 86400.0, year0 + 210 * 86400.0},
        {"day", year0 + 200 * 86400.0, year0 + 201 * 86400.0},
    };
    bool met = true;
    for (const Range &range : ranges) {
        delegate.begin = range.begin;
        delegate.end = range.end;

        std::vector<Sample> updates;
        for (int i = 0; i < runs; ++i)
            updates.push_back(measure([&] { view->update(&window); }));
        QApplication::processEvents();
        const Summary update = summarize(updates);

        // Scrolling through all rows, a frame at every 150 points.
        const QRegion visibleRegion(QRect(0, 0, 1600, 1000));
        auto *bar = window.verticalScrollBar();
        std::vector<Sample> scrolls;
        for (int pass = 0; pass < runs; ++pass) {
            for (int value = 0; value <= bar->maximum(); value += 150) {
                scrolls.push_back(measure([&] {
                    bar->setValue(value);
                    view->render(&image, QPoint(), QRegion(view->visibleRect().toRect()));
                }));
            }
        }
        const Summary scroll = summarize(scrolls);

        // The mouse moving over the rows, the read-out following it.
        bar->setValue(bar->maximum() / 2);
        std::vector<Sample> moves;
        for (int pass = 0; pass < runs; ++pass) {
            for (int x = 5; x < 1600; x += 40) {
                moves.push_back(measure([&] {
                    const QPointF at(x, view->visibleRect().top() + 400);
                    QMouseEvent move(QEvent::MouseMove, at, view->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                                     Qt::NoModifier);
                    QApplication::sendEvent(view, &move);
                    view->render(&image, QPoint(), QRegion(view->visibleRect().toRect()));
                }));
            }
        }
        const Summary mouse = summarize(moves);
        (void)visibleRegion;

        std::printf("%-5s rows %zu  update %.1f ms (cpu %.1f, %.2f x deep copy)  target < 100 ms\n", range.name,
                    view->eventLogs() ? view->eventLogs()->size() : std::size_t(0), update.median, update.medianCpu,
                    update.median / copy.median);
        std::printf(
            "      redraw while scrolling: median %.2f ms, worst %.2f ms (cpu %.2f; %.0f x plain fill)  target < 16 ms\n",
            scroll.median, scroll.worst, scroll.medianCpu, scroll.median / fill.median);
        std::printf(
            "      redraw while the mouse moves: median %.2f ms, worst %.2f ms (cpu %.2f; %.0f x plain fill)  target < 16 ms\n\n",
            mouse.median, mouse.worst, mouse.medianCpu, mouse.median / fill.median);
        met = met && update.median < 100.0 && scroll.median < 16.0 && mouse.median < 16.0;
    }
    std::printf("targets %s\n", met ? "met" : "missed");
    VXUserDefaults::setStandard(nullptr);
    return 0;
}
