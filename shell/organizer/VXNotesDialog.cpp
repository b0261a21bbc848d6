#include "VXNotesDialog.h"

#include "VXOrganizerOperations.h"
#include "ui_Notes.h"

#include <QPlainTextEdit>
#include <QTextDocument>
#include <QTextFrame>

VXNotesDialog::VXNotesDialog(VXOrganizerOperations &operations, const VXDictionaryRef &pool, QWidget *parent) :
    QDialog(parent, Qt::Sheet), m_operations(operations), m_pool(pool)
{
    Ui::Notes ui;
    ui.setupUi(this);
    m_textView = ui.textView;
    // The text's inset from the view's edges: one point across, two down.
    m_textView->setPlainText(VXOrganizerOperations::poolNotes(*pool));
    QTextFrameFormat inset = m_textView->document()->rootFrame()->frameFormat();
    inset.setLeftMargin(1);
    inset.setRightMargin(1);
    inset.setTopMargin(2);
    inset.setBottomMargin(2);
    m_textView->document()->rootFrame()->setFrameFormat(inset);
    setWindowTitle(VXOrganizerOperations::notesTitle(*pool));
    setWindowModality(Qt::WindowModal);
    setAttribute(Qt::WA_DeleteOnClose);
    connect(ui.buttons, &QDialogButtonBox::accepted, this, &VXNotesDialog::noteEditorDone);
    connect(ui.buttons, &QDialogButtonBox::rejected, this, &VXNotesDialog::noteEditorCancel);
}

VXNotesDialog::~VXNotesDialog() = default;

void VXNotesDialog::noteEditorDone()
{
    m_operations.noteEditorDone(m_pool, m_textView->toPlainText());
    accept();
}

void VXNotesDialog::noteEditorCancel()
{
    reject();
}
