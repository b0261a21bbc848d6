// The organizer open on a heavy year's record while the sampler ticks: about 300 applications
// listed ("Show Inactive Application Items" on), 50 pools, some of them and some applications
// expanded, 40 applications running with 150 windows, in a window on the offscreen platform.
//
// Figures, against the reference measured in the same run:
//   BM_OrganizerTick/reference  reference: the scheduled tick with no lists (the controller alone)
//   BM_OrganizerTick/lists      the same tick with both lists following it: the models' reload and
//                               the repaint of what changed (the event loop's paint pass)
//   BM_ListsMemory              heap taken by the container with both lists and their models
// Counters: rows changed, inserted, moved and removed per tick, and model resets (must be 0).
//
// The cost of the lists per tick is lists minus reference.

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXFakeDesktop.h"
#include "VXHeavyConfiguration.h"
#include "VXItemList.h"
#include "VXItemListModel.h"
#include "VXListContainer.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXRegisteredDefaults.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <malloc.h>

#include <memory>

namespace {

constexpr int kRunningApplications = 40;
constexpr double kInterval = 0.5;

QApplication &application()
{
    static int argc = 1;
    static char name[] = "bench-organizer";
    static char *argv[] = {name, nullptr};
    if (!QApplication::instance()) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        new QApplication(argc, argv);
    }
    return *qobject_cast<QApplication *>(QApplication::instance());
}

std::size_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

class ListsDelegate final : public VXMainControllerDelegate
{
public:
    bool isEditingListItem() const override { return lists && lists->isEditingListItem(); }
    void reloadApplicationList() override
    {
        if (lists)
            lists->reloadApplicationList();
    }
    void reloadPoolList() override
    {
        if (lists)
            lists->reloadPoolList();
    }
    void restoreExpansionStates() override
    {
        if (lists)
            lists->restoreExpansionStates();
    }
    VXListContainer *lists = nullptr;
};

// The controller on a heavy year with a busy desktop; the lists in a window when asked.
struct Organizer {
    QTemporaryDir folder;
    std::unique_ptr<VXUserDefaults> defaults;
    VXVirtualScheduler time {0.0};
    VXFakeDesktop desktop;
    ListsDelegate delegate;
    std::unique_ptr<VXMainController> controller;
    std::unique_ptr<QWidget> window;

    explicit Organizer(bool withLists)
    {
        application();
        defaults = std::make_unique<VXUserDefaults>(QStringLiteral("com.brasswing.WendleBench"), folder.path());
        VXRegisterDefaults(*defaults);
        VXUserDefaults::setStandard(defaults.get());
        defaults->setBool(true, VXShowInactiveApplicationItemsKey);

        VXDictionaryRef configuration = VXMakeHeavyConfiguration();
        configuration->insert(VXApplicationBlacklistKey, VXMakeArray());
        // Some of the record's rows open: the first pools and applications.
        int expanded = 0;
        for (const VXValue &pool : *configuration->value(VXPoolsKey).array()) {
            if (expanded++ < 10)
                setBool(*pool.dictionary(), true, VXExpandedKey);
        }
        expanded = 0;
        std::int64_t pid = 2000;
        for (const VXDictionary::Entry &entry : *configuration->value(VXApplicationsKey).dictionary()) {
            const VXDictionary &item = *entry.value.dictionary();
            if (expanded++ < 5)
                setBool(*entry.value.dictionary(), true, VXExpandedKey);
            if (pid - 2000 >= kRunningApplications)
                continue;
            const QString path = item.value(VXPathKey).toString();
            const QString id = item.value(VXApplicationIDKey).toString();
            desktop.launch(item.value(VXNameKey).toString(), path, id == path ? QString() : id, pid);
            const VXDictionary *byName = item.value(VXWindowsByNameKey).dictionary();
            const int count = pid - 2000 < 30 ? 4 : 3;
            for (int w = 0; byName && w < count && w < int(byName->size()); ++w)
                desktop.openWindow(pid, byName->entries()[std::size_t(w) * 7 % byName->size()].key);
            ++pid;
        }
        desktop.activate(2000);

        time.advanceTo(configuration->value(VXLastTimestampKey).toDouble() + 60.0);
        controller = std::make_unique<VXMainController>(desktop, time, time, *defaults, &delegate);
        controller->setConfiguration(configuration);
        if (withLists) {
            window = std::make_unique<QWidget>();
            auto *layout = new QVBoxLayout(window.get());
            delegate.lists = new VXListContainer(*controller, window.get());
            layout->addWidget(delegate.lists);
            window->resize(600, 800);
            window->show();
        }
        controller->setSortColumn(1);
        for (int i = 0; i < 4; ++i)
            tick();
    }
    ~Organizer()
    {
        window.reset();
        controller.reset();
        VXUserDefaults::setStandard(nullptr);
    }

    void tick()
    {
        time.advanceBy(kInterval);
        QCoreApplication::processEvents();   // the paint pass of what changed
    }
};

void BM_OrganizerTick(benchmark::State &state)
{
    const bool withLists = state.range(0) != 0;
    Organizer organizer(withLists);
    VXItemListModel::Changes before;
    int listed = 0;
    if (withLists) {
        for (VXItemList *list : {organizer.delegate.lists->applicationList(), organizer.delegate.lists->poolList()}) {
            const VXItemListModel::Changes &changes = list->itemModel()->changes();
            before.changedRows += changes.changedRows;
            before.insertedRows += changes.insertedRows;
            before.removedRows += changes.removedRows;
            before.movedRows += changes.movedRows;
            listed += list->model()->rowCount() - 1;
        }
    }
    int resets = 0;
    if (withLists) {
        for (VXItemList *list : {organizer.delegate.lists->applicationList(), organizer.delegate.lists->poolList()})
            QObject::connect(list->model(), &QAbstractItemModel::modelReset, [&resets] { ++resets; });
    }
    for (auto _ : state)
        organizer.tick();
    state.SetLabel(withLists ? "lists" : "reference");
    if (withLists) {
        VXItemListModel::Changes after;
        for (VXItemList *list : {organizer.delegate.lists->applicationList(), organizer.delegate.lists->poolList()}) {
            const VXItemListModel::Changes &changes = list->itemModel()->changes();
            after.changedRows += changes.changedRows;
            after.insertedRows += changes.insertedRows;
            after.removedRows += changes.removedRows;
            after.movedRows += changes.movedRows;
        }
        const double ticks = double(state.iterations());
        state.counters["listed top rows"] = listed;
        state.counters["changed rows/tick"] = (after.changedRows - before.changedRows) / ticks;
        state.counters["inserted rows/tick"] = (after.insertedRows - before.insertedRows) / ticks;
        state.counters["moved rows/tick"] = (after.movedRows - before.movedRows) / ticks;
        state.counters["removed rows/tick"] = (after.removedRows - before.removedRows) / ticks;
        state.counters["model resets"] = resets;
    }
}
BENCHMARK(BM_OrganizerTick)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->MinTime(3.0);

void BM_ListsMemory(benchmark::State &state)
{
    Organizer organizer(false);
    for (auto _ : state) {
        const std::size_t before = heapInUse();
        auto window = std::make_unique<QWidget>();
        auto *lists = new VXListContainer(*organizer.controller, window.get());
        window->resize(600, 800);
        window->show();
        lists->restoreExpansionStates();
        QCoreApplication::processEvents();
        state.counters["lists heap (KiB)"] = double(heapInUse() - before) / 1024;
        state.counters["rows"] = lists->applicationList()->model()->rowCount() + lists->poolList()->model()->rowCount();
    }
}
BENCHMARK(BM_ListsMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

}   // namespace

BENCHMARK_MAIN();
