#include "VXUndoHistory.h"

#include "VXConfigurationStore.h"
#include "VXPersistenceLogging.h"
#include "VXPropertyListSerialization.h"
#include "VXScheduler.h"
#include "VXTreeSnapshots.h"

const QString VXUndoHistory::kPushRedoStateOperation = QStringLiteral("pushRedoState:");

namespace {

// A state given as data: read once, kept as a snapshot (a fresh tree nobody else holds).
VXDictionaryRef stateFromData(const QByteArray &data)
{
    return deeplyMutableDictionaryWithData(data);
}

}   // namespace

VXUndoHistory::VXUndoHistory(VXScheduler &scheduler, VXConfigurationStore &store,
                             std::function<VXDictionaryRef()> configuration,
                             std::function<void(VXDictionaryRef)> setConfiguration) :
    m_scheduler(scheduler),
    m_store(store), m_configuration(std::move(configuration)), m_setConfiguration(std::move(setConfiguration))
{
}

VXUndoHistory::~VXUndoHistory()
{
    m_scheduler.cancelAll(this);
}

VXDictionaryRef VXUndoHistory::snapshotOfCurrentTree()
{
    if (!m_configuration())
        return VXDictionaryRef();
    // Shares with the last save (and the states taken since) what did not change.
    VXDictionaryRef snapshot = m_store.snapshotOfTree();
    if (!snapshot)
        qCWarning(lcPersistence, "cannot keep the configuration for undo: it holds an empty value");
    return snapshot;
}

bool VXUndoHistory::pushUndoStateAndClearRedoStatesAfterDelay()
{
    VXDictionaryRef state = snapshotOfCurrentTree();
    if (!state)
        return false;
    // The file now holds the tree as it was before the change.
    m_store.save(this, state, true);
    m_undoStates.push_back(std::move(state));
    m_scheduler.performAfterDelay(this, kPushRedoStateOperation, 0.0, [this] { pushRedoState(std::nullopt); });
    return true;
}

void VXUndoHistory::popUndoStateAndCancelRedoStateClearing()
{
    m_scheduler.cancel(this, kPushRedoStateOperation);
    if (!m_undoStates.empty())
        m_undoStates.pop_back();
}

void VXUndoHistory::pushUndoState(const std::optional<QByteArray> &state)
{
    if (state)
        m_undoStates.push_back(stateFromData(*state));
    else
        std::vector<VXDictionaryRef>().swap(m_undoStates);
}

void VXUndoHistory::pushRedoState(const std::optional<QByteArray> &state)
{
    if (state)
        m_redoStates.push_back(stateFromData(*state));
    else
        std::vector<VXDictionaryRef>().swap(m_redoStates);
}

bool VXUndoHistory::undo()
{
    return restore(m_undoStates, m_redoStates);
}

bool VXUndoHistory::redo()
{
    return restore(m_redoStates, m_undoStates);
}

bool VXUndoHistory::restore(std::vector<VXDictionaryRef> &from, std::vector<VXDictionaryRef> &to)
{
    if (from.empty())
        return false;
    VXDictionaryRef current = snapshotOfCurrentTree();
    const VXDictionaryRef state = std::move(from.back());
    from.pop_back();
    if (!state)
        return false;
    // What the state shares with the tree undone (through `current`) is taken over, not copied:
    // an undo costs the main thread what changed, and frees no more than that.
    m_setConfiguration(VXRestoredTree(m_configuration(), current, state));
    // The next save shares with the state what did not change, instead of comparing the tree.
    m_store.noteTreeRestored(state);
    if (current)
        to.push_back(std::move(current));
    return true;
}
