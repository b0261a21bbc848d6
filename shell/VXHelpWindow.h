#pragma once

// The help window: the HTML pages compiled into the program (resources/help), a list of them on
// the left and the page on the right; links between pages follow, links elsewhere open in the
// desktop's browser.

#include <QWidget>

class QListWidget;
class QTextBrowser;

inline constexpr char VXHelpWindowTitle[] = QT_TRANSLATE_NOOP("VXHelpWindow", "Wendle Help");
inline constexpr char VXHelpPagesName[] = QT_TRANSLATE_NOOP("VXHelpWindow", "Help topics");
inline constexpr char VXHelpPageName[] = QT_TRANSLATE_NOOP("VXHelpWindow", "Help page");

class VXHelpWindow : public QWidget
{
    Q_OBJECT
public:
    explicit VXHelpWindow(QWidget *parent = nullptr);

    // Shows a page by its file name without ".html" ("index", "modes", ...).
    void showPage(const QString &name);
    QString currentPage() const;
    QStringList pageNames() const;
    QTextBrowser *browser() const { return m_browser; }

private:
    QListWidget *m_topics;
    QTextBrowser *m_browser;
};
