#pragma once

// The notes editor of a pool (the "Notes" layout): a sheet-like dialog on the window that shows
// the organizer, titled "\"<pool>\" - Notes", with the pool's "Pool Notes" as its text. OK
// stores the text when it changed (undoable); Cancel discards it.

#include "VXValue.h"

#include <QDialog>

class QPlainTextEdit;
class VXOrganizerOperations;

class VXNotesDialog final : public QDialog
{
    Q_OBJECT
public:
    VXNotesDialog(VXOrganizerOperations &operations, const VXDictionaryRef &pool, QWidget *parent);
    ~VXNotesDialog() override;

    const VXDictionaryRef &pool() const { return m_pool; }
    QPlainTextEdit *textView() const { return m_textView; }

    // The buttons' actions.
    void noteEditorDone();
    void noteEditorCancel();

private:
    VXOrganizerOperations &m_operations;
    VXDictionaryRef m_pool;
    QPlainTextEdit *m_textView = nullptr;
};
