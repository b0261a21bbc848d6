#include "VXHelpWindow.h"

#include "VXApplicationIcon.h"
#include "VXHelpPages.h"
#include "VXTranslations.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QListWidget>
#include <QShortcut>
#include <QSplitter>
#include <QTextBrowser>

namespace {

const QString kHelpFolder = QStringLiteral(":/help/");

// The folders a page is looked for in, the translation's language first: "de_DE/", "de/", "".
QStringList languageFolders()
{
    QStringList folders;
    const QString language = VXTranslations::language();
    if (!language.isEmpty()) {
        folders << language + u'/';
        const QString base = language.section(u'_', 0, 0);
        if (base != language)
            folders << base + u'/';
    }
    folders << QString();
    return folders;
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
    // Links are followed here: a page of another name may be in another language's folder.
    m_browser->setOpenLinks(false);
    connect(m_browser, &QTextBrowser::anchorClicked, this, &VXHelpWindow::followLink);
    splitter->setStretchFactor(1, 1);
    // The list shows each page's own title, in the language it is shown in.
    for (const QString &page : VXHelpPages::names()) {
        m_browser->setSource(pageUrl(page));
        auto *item = new QListWidgetItem(m_browser->documentTitle(), m_topics);
        item->setData(Qt::UserRole, page);
    }
    connect(m_topics, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0)
            showPage(m_topics->item(row)->data(Qt::UserRole).toString());
    });
    // The page from the signal: source() still answers the page before while it is sent.
    connect(m_browser, &QTextBrowser::sourceChanged, this, [this](const QUrl &source) {
        const int row = int(VXHelpPages::names().indexOf(QFileInfo(source.path()).completeBaseName()));
        if (row != m_topics->currentRow()) {
            const QSignalBlocker blocker(m_topics);
            m_topics->setCurrentRow(row);
        }
    });
    m_topics->setMaximumWidth(m_topics->sizeHintForColumn(0) + 24);
    connect(new QShortcut(QKeySequence(Qt::Key_Escape), this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(QKeySequence::Back, this), &QShortcut::activated, m_browser, &QTextBrowser::backward);
    showPage(VXHelpPages::names().first());
    m_browser->clearHistory();
    resize(760, 520);
}

QUrl VXHelpWindow::pageUrl(const QString &name)
{
    const QString file = name + QStringLiteral(".html");
    for (const QString &folder : languageFolders()) {
        if (QFileInfo::exists(kHelpFolder + folder + file))
            return QUrl(QStringLiteral("qrc") + kHelpFolder + folder + file);
    }
    return QUrl(QStringLiteral("qrc") + kHelpFolder + file);
}

void VXHelpWindow::showPage(const QString &name)
{
    m_browser->setSource(pageUrl(VXHelpPages::names().contains(name) ? name : VXHelpPages::names().first()));
}

QString VXHelpWindow::currentPage() const
{
    return QFileInfo(m_browser->source().path()).completeBaseName();
}

void VXHelpWindow::followLink(const QUrl &link)
{
    const QUrl target = m_browser->source().resolved(link);
    if (target.scheme() != QStringLiteral("qrc")) {
        QDesktopServices::openUrl(target);
        return;
    }
    const QString page = QFileInfo(target.path()).completeBaseName();
    if (target.fileName().isEmpty() || page == currentPage())
        m_browser->scrollToAnchor(target.fragment());
    else
        showPage(page);
}
