#pragma once

// Undo and redo of every change the user makes to the tree. A state is the whole tree as it was
// just before the change, kept as an immutable snapshot (VXTreeSnapshots.h) that shares what
// did not change with the last save (VXConfigurationStore::snapshotOfTree), so a state costs what
// changed, not the year's record; the stacks have no limit and live only in memory.
//
// A push saves the file (the state before the change is on disk at once) and clears the redo
// stack one turn of the event loop later, so that a change refused after its push can withdraw
// the push and leave the redo stack as it was:
//
//     push ... change        push ... refused: withdraw
//     [redo cleared next turn]   [clear cancelled, state dropped, redo kept]
//
// Undo replaces the tree with the last undo state and pushes the tree it replaced on the redo
// stack; redo mirrors it. The new tree keeps the containers of the one replaced that equal the
// state's, and copies only the others (VXRestoredTree). Neither saves: the next save writes the
// restored tree, sharing with the state restored what did not change since.

#include "VXValue.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

class VXConfigurationStore;
class VXScheduler;

class VXUndoHistory
{
public:
    // The deferred clearing of the redo stack (with this object as target).
    static const QString kPushRedoStateOperation;   // "pushRedoState:"

    // `configuration` answers the tree as it is; `setConfiguration` replaces it.
    VXUndoHistory(VXScheduler &scheduler, VXConfigurationStore &store, std::function<VXDictionaryRef()> configuration,
                  std::function<void(VXDictionaryRef)> setConfiguration);
    ~VXUndoHistory();

    VXUndoHistory(const VXUndoHistory &) = delete;
    VXUndoHistory &operator=(const VXUndoHistory &) = delete;

    // Before every change: takes the state, saves it (the writer thread encodes it), pushes it,
    // and clears the redo stack on the next turn. When the tree cannot be written (there is none,
    // or it holds an empty value) nothing happens and the change goes ahead. Answers whether a
    // state was pushed.
    bool pushUndoStateAndClearRedoStatesAfterDelay();
    // The change did not happen after all: the pending clearing is cancelled and the last undo
    // state dropped.
    void popUndoStateAndCancelRedoStateClearing();

    // Push a state given as property-list data (in any form; data that cannot be read stays on
    // the stack until undo drops it); nothing empties and discards the stack.
    void pushUndoState(const std::optional<QByteArray> &state);
    void pushRedoState(const std::optional<QByteArray> &state);

    // Answer whether the tree was replaced (the caller then refreshes the lists and blacklists).
    // A state that cannot be read is dropped and nothing else happens.
    bool undo();
    bool redo();

    bool canUndo() const { return !m_undoStates.empty(); }
    bool canRedo() const { return !m_redoStates.empty(); }
    std::size_t undoCount() const { return m_undoStates.size(); }
    std::size_t redoCount() const { return m_redoStates.size(); }
    // The states themselves, oldest first (null: one that could not be read).
    const std::vector<VXDictionaryRef> &undoStates() const { return m_undoStates; }
    const std::vector<VXDictionaryRef> &redoStates() const { return m_redoStates; }

private:
    VXDictionaryRef snapshotOfCurrentTree();
    bool restore(std::vector<VXDictionaryRef> &from, std::vector<VXDictionaryRef> &to);

    VXScheduler &m_scheduler;
    VXConfigurationStore &m_store;
    std::function<VXDictionaryRef()> m_configuration;
    std::function<void(VXDictionaryRef)> m_setConfiguration;
    std::vector<VXDictionaryRef> m_undoStates;   // oldest first
    std::vector<VXDictionaryRef> m_redoStates;
};
