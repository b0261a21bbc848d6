#include "VXUndoHistory.h"

#include "VXConfigurationStore.h"
#include "VXPersistenceLogging.h"
#include "VXPropertyListSerialization.h"
#include "VXScheduler.h"

const QString VXUndoHistory::kPushRedoStateOperation = QStringLiteral("pushRedoState:");

VXUndoHistory::VXUndoHistory(VXScheduler &scheduler, VXConfigurationStore &store,
                             std::function<VXDictionaryRef()> configuration,
                             std::function<void(VXDictionaryRef)> setConfiguration)
    : m_scheduler(scheduler), m_store(store), m_configuration(std::move(configuration)),
      m_setConfiguration(std::move(setConfiguration))
{
}

VXUndoHistory::~VXUndoHistory()
{
    m_scheduler.cancelAll(this);
}

bool VXUndoHistory::pushUndoStateAndClearRedoStatesAfterDelay()
{
    const VXDictionaryRef configuration = m_configuration();
    std::optional<QByteArray> state = configuration ? propertyListData(VXValue(configuration)) : std::nullopt;
    if (!state) {
        if (configuration)
            qCWarning(lcPersistence, "cannot encode the configuration for undo");
        return false;
    }
    // The file now holds the tree as it was before the change.
    m_store.save(this, *state);
    m_undoStates.push_back(std::move(*state));
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
        m_undoStates.push_back(*state);
    else
        std::vector<QByteArray>().swap(m_undoStates);
}

void VXUndoHistory::pushRedoState(const std::optional<QByteArray> &state)
{
    if (state)
        m_redoStates.push_back(*state);
    else
        std::vector<QByteArray>().swap(m_redoStates);
}

bool VXUndoHistory::undo()
{
    return restore(m_undoStates, m_redoStates);
}

bool VXUndoHistory::redo()
{
    return restore(m_redoStates, m_undoStates);
}

bool VXUndoHistory::restore(std::vector<QByteArray> &from, std::vector<QByteArray> &to)
{
    if (from.empty())
        return false;
    const VXDictionaryRef current = m_configuration();
    std::optional<QByteArray> currentState = current ? propertyListData(VXValue(current)) : std::nullopt;
    VXDictionaryRef restored = deeplyMutableDictionaryWithData(from.back());
    from.pop_back();
    if (!restored)
        return false;
    m_setConfiguration(std::move(restored));
    if (currentState)
        to.push_back(std::move(*currentState));
    return true;
}

std::size_t VXUndoHistory::byteCount() const
{
    std::size_t bytes = 0;
    for (const QByteArray &state : m_undoStates)
        bytes += std::size_t(state.size());
    for (const QByteArray &state : m_redoStates)
        bytes += std::size_t(state.size());
    return bytes;
}
