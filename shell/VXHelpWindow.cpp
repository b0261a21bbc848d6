#include "VXHelpWindow.h"

#include "VXApplicationIcon.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QListWidget>
#include <QShortcut>
#include <QSplitter>
#include <QTextBrowser>

namespace {

const QString kHelpFolder = QStringLiteral("qrc:/help/");

// The pages in reading order.
const QStringList &pageOrder()
{
    static const QStringList pages {
        QStringLiteral("index"),      QStringLiteral("modes"),       QStringLiteral("pools"),
        QStringLiteral("blacklists"), QStringLiteral("hibernation"), QStringLiteral("reports"),
        QStringLiteral("export"),     QStringLiteral("undo"),        QStringLiteral("command-line")};
    return pages;
}

}   // namespace

VXHelpWindow::VXHelpWindow(QWidget *parent) : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("HelpWindow"));
    setWindowTitle(tr(VXHelpWindowTitle));
    setWindowIcon(applicationIcon());
    auto *layout = new QHBoxLayout(this);
    auto *splitter = new QSplitter(this);
    layout->addWidget(splitter);
    m_topics = new QListWidget(splitter);
    m_topics->setAccessibleName(tr(VXHelpPagesName));
    m_browser = new QTextBrowser(splitter);
    m_browser->setAccessibleName(tr(VXHelpPageName));
    m_browser->setOpenExternalLinks(true);
    m_browser->setSearchPaths({QStringLiteral(":/help")});
    splitter->setStretchFactor(1, 1);
    for (const QString &page : pageOrder()) {
        m_browser->setSource(QUrl(kHelpFolder + page + QStringLiteral(".html")));
        auto *item = new QListWidgetItem(m_browser->documentTitle(), m_topics);
        item->setData(Qt::UserRole, page);
    }
    connect(m_topics, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0)
            showPage(m_topics->item(row)->data(Qt::UserRole).toString());
    });
    connect(m_browser, &QTextBrowser::sourceChanged, this, [this] {
        const int row = int(pageOrder().indexOf(currentPage()));
        if (row != m_topics->currentRow()) {
            const QSignalBlocker blocker(m_topics);
            m_topics->setCurrentRow(row);
        }
    });
    m_topics->setMaximumWidth(m_topics->sizeHintForColumn(0) + 24);
    connect(new QShortcut(QKeySequence(Qt::Key_Escape), this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(QKeySequence::Back, this), &QShortcut::activated, m_browser, &QTextBrowser::backward);
    showPage(pageOrder().first());
    m_browser->clearHistory();
    resize(760, 520);
}

void VXHelpWindow::showPage(const QString &name)
{
    m_browser->setSource(QUrl(kHelpFolder + name + QStringLiteral(".html")));
}

QString VXHelpWindow::currentPage() const
{
    return QFileInfo(m_browser->source().path()).completeBaseName();
}

QStringList VXHelpWindow::pageNames() const
{
    return pageOrder();
}
