#pragma once

// The help window: the HTML pages compiled into the program (resources/help), a list of them on
// the left and the page on the right; links between pages follow, links elsewhere open in the
// desktop's browser. Each page is shown in the language of the program's translation when it has
// a copy in that language (resources/help/<language>/), in English otherwise.

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

    // The page as this program shows it: in the translation's language when there is a copy
    // in it, else in English ("qrc:/help/de/pools.html", "qrc:/help/pools.html").
    static QUrl pageUrl(const QString &name);

    // Shows a page by its name (VXHelpPages::names()); an unknown name shows the first page.
    void showPage(const QString &name);
    QString currentPage() const;
    QTextBrowser *browser() const { return m_browser; }

private:
    void followLink(const QUrl &link);

    QListWidget *m_topics;
    QTextBrowser *m_browser;
};
