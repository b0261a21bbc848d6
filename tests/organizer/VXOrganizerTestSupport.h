#pragma once

// The organizer's tests share a small desktop day: the controller on the fake desktop and the
// virtual clock, its user interface forwarding the list calls to a VXListContainer shown in a
// plain window on the offscreen platform, desktop entries on disk for the applications (so that
// the context menu offers launching and quitting), and helpers that drive the real widgets:
// rows by name, drops made of real drag events on the pool list's viewport, the context menu's
// titles.

#include "VXConfigurationKeys.h"
#include "VXControllerTestSupport.h"
#include "VXDictionaryExtensions.h"
#include "VXFakeDesktop.h"
#include "VXItemList.h"
#include "VXItemListModel.h"
#include "VXListContainer.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXTestSettings.h"
#include "VXVirtualScheduler.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QMenu>
#include <QMimeData>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

namespace vxtest {

using namespace Qt::StringLiterals;

inline constexpr double kStart = 1'750'000'000.0;
inline const QString kEditorID = u"org.example.Editor"_s;
inline const QString kTerminalID = u"org.example.Terminal"_s;
inline const QString kViewerID = u"org.example.Viewer"_s;

// Made once for the whole program, on the offscreen platform unless one is chosen.
inline QApplication &application()
{
    static int argc = 1;
    static char name[] = "wendle-organizer-tests";
    static char *argv[] = {name, nullptr};
    if (!QApplication::instance()) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        new QApplication(argc, argv);
    }
    return *qobject_cast<QApplication *>(QApplication::instance());
}

// The user interface of the program as far as the lists go.
class ListsDelegate : public VXMainControllerDelegate
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
    void showHibernationState(bool hibernating, bool animated) override
    {
        if (lists)
            lists->showHibernationState(hibernating, animated);
    }
    VXDictionaryRef selectedItem() const override { return lists ? lists->selectedItem() : VXDictionaryRef(); }
    void selectPoolListItem(const VXDictionaryRef &item) override
    {
        if (lists)
            lists->selectPoolListItem(item);
    }
    void beep() override { ++beeps; }

    VXListContainer *lists = nullptr;
    int beeps = 0;
};

// A desktop that also launches, brings forward and quits: it records what it was asked and
// answers from the test.
class CommandDesktop final : public VXDesktop
{
public:
    void takeSnapshot(VXDesktopSnapshot &snapshot) override { fake.takeSnapshot(snapshot); }
    bool activateApplication(const QString &path, QString *whyNot) override
    {
        return answer(u"activate"_s, path, whyNot);
    }
    bool quitApplication(const QString &path, QString *whyNot) override { return answer(u"quit"_s, path, whyNot); }
    bool launchApplication(const QString &path, QString *whyNot) override { return answer(u"launch"_s, path, whyNot); }

    VXFakeDesktop fake;
    QStringList commands;
    QString refusal;   // when set, every command fails with it

private:
    bool answer(const QString &command, const QString &path, QString *whyNot)
    {
        commands.append(command + u' ' + path);
        if (refusal.isEmpty())
            return true;
        if (whyNot)
            *whyNot = refusal;
        return false;
    }
};

// The controller, its settings and record folder, and the lists in a window.
class Organizer
{
public:
    explicit Organizer(const QString &dataHome = QString()) : data(dataHome)
    {
        applications.setAutoRemove(true);
        controller = std::make_unique<VXMainController>(desktop, time, time, *settings.defaults, &delegate);
        window = std::make_unique<QWidget>();
        auto *layout = new QVBoxLayout(window.get());
        layout->setContentsMargins(0, 0, 0, 0);
        lists = new VXListContainer(*controller, window.get());
        layout->addWidget(lists);
        delegate.lists = lists;
        window->resize(520, 560);
        window->show();
    }

    // Writes a desktop entry for the application and answers its path.
    QString desktopEntry(const QString &applicationID)
    {
        const QString path = applications.filePath(applicationID + u".desktop"_s);
        VXWriteFile(
            path, "[Desktop Entry]\nType=Application\nName=" + applicationID.toUtf8() + "\nIcon=utilities-terminal\n");
        return path;
    }

    // Editor (front, two windows), Terminal (one window) and Viewer (no window), then the first
    // tick and `seconds` more.
    void startDay(double seconds = 10.0)
    {
        desktop.fake.launch(u"Editor"_s, desktopEntry(kEditorID), kEditorID, 10);
        desktop.fake.openWindow(10, u"Notes.txt"_s);
        desktop.fake.openWindow(10, u"Report.odt"_s);
        desktop.fake.launch(u"Terminal"_s, desktopEntry(kTerminalID), kTerminalID, 20);
        desktop.fake.openWindow(20, u"build"_s);
        desktop.fake.launch(u"Viewer"_s, desktopEntry(kViewerID), kViewerID, 30);
        desktop.fake.activate(10);
        controller->setSortColumn(1);
        time.advanceBy(seconds);
    }

    VXItemList *appList() const { return lists->applicationList(); }
    VXItemList *poolList() const { return lists->poolList(); }
    VXDictionary &configuration() const { return *controller->configuration(); }
    VXArray *pools() const { return configuration().value(VXPoolsKey).array(); }

    // The row of the list whose shown name is `name` (searched through every level).
    static QModelIndex row(VXItemList *list, const QString &name)
    {
        const QModelIndexList found = list->model()->match(list->model()->index(0, 0), Qt::DisplayRole, name, 1,
                                                           Qt::MatchExactly | Qt::MatchRecursive);
        return found.isEmpty() ? QModelIndex() : found.first();
    }
    // The names shown at one level of the list, the header row first.
    static QStringList names(VXItemList *list, const QModelIndex &parent = QModelIndex())
    {
        QStringList result;
        for (int row = 0; row < list->model()->rowCount(parent); ++row)
            result.append(list->model()->index(row, 0, parent).data().toString());
        return result;
    }

    // What dragging the row out of its list puts on the pasteboard.
    static std::unique_ptr<QMimeData> drag(VXItemList *list, const QModelIndex &index)
    {
        return std::unique_ptr<QMimeData>(list->model()->mimeData({index}));
    }

    // Where a drop lands on a row, or on the empty space below the rows.
    static QPoint pointOn(VXItemList *list, const QModelIndex &index) { return list->visualRect(index).center(); }
    static QPoint emptySpace(VXItemList *list) { return list->viewport()->rect().bottomLeft() + QPoint(20, -6); }

    // A drag entering the list, moving to `point` and dropping there, as real events on its
    // viewport. Answers whether the drop was taken; `hovered` tells what the list showed while
    // the drag was over the point.
    struct Hover {
        bool accepted = false;
        bool createPool = false;
        bool historyArrow = false;
    };
    static bool drop(VXItemList *list, const QPoint &point, const QMimeData &mime,
                     Qt::KeyboardModifiers modifiers = Qt::NoModifier, Hover *hovered = nullptr)
    {
        QDragEnterEvent enter(point, Qt::CopyAction, &mime, Qt::LeftButton, modifiers);
        QApplication::sendEvent(list->viewport(), &enter);
        if (!enter.isAccepted())
            return false;
        QDragMoveEvent move(point, Qt::CopyAction, &mime, Qt::LeftButton, modifiers);
        QApplication::sendEvent(list->viewport(), &move);
        if (hovered)
            *hovered = {move.isAccepted(), list->showsCreatePool(), list->showsHistoryArrow()};
        if (!move.isAccepted()) {
            QDragLeaveEvent leave;
            QApplication::sendEvent(list->viewport(), &leave);
            return false;
        }
        QDropEvent dropped(QPointF(point), Qt::CopyAction, &mime, Qt::LeftButton, modifiers);
        QApplication::sendEvent(list->viewport(), &dropped);
        return dropped.isAccepted();
    }

    // The titles of the row's context menu ("-" for a separator); empty when it has none.
    static QStringList menuTitles(const QMenu *menu)
    {
        QStringList titles;
        if (menu) {
            for (const QAction *action : menu->actions())
                titles.append(action->isSeparator() ? u"-"_s : action->text());
        }
        return titles;
    }
    static QAction *menuAction(const QMenu *menu, const QString &title)
    {
        for (QAction *action : menu->actions()) {
            if (action->text() == title)
                return action;
        }
        return nullptr;
    }

    // Widgets need a QApplication before anything makes a plain QCoreApplication.
    struct ApplicationFirst {
        ApplicationFirst() { application(); }
    } applicationFirst;
    Settings settings;
    ScopedDataHome data;
    QTemporaryDir applications;
    VXVirtualScheduler time {kStart};
    CommandDesktop desktop;
    ListsDelegate delegate;
    std::unique_ptr<VXMainController> controller;
    std::unique_ptr<QWidget> window;
    VXListContainer *lists = nullptr;
};

// The tree as a value to compare before and after.
inline VXValue snapshotOf(const VXDictionary &configuration)
{
    return VXValue(VXDictionaryRef(const_cast<VXDictionary *>(&configuration))).deepCopy();
}

}   // namespace vxtest
