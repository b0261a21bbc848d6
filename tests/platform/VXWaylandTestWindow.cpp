// A small Wayland client for the Wayland adapters' tests and benchmark (run with
// QT_QPA_PLATFORM=wayland): it opens toplevels with the app id and titles asked for, prints
// "ready" once the compositor has shown them all, then obeys commands read from standard input,
// answering "ok" once each request is sent to the compositor:
//
//   title <index> <text>     sets the toplevel's title
//   quit                     exits (so does the end of standard input)
//
// Options: --app-id ID (xdg_toplevel.app_id), --title TEXT, --count N (titles "TEXT 1" ... "TEXT N").

#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QSocketNotifier>
#include <QTimer>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Ends the program: the loop ends, and the process goes within two seconds whatever the
// teardown does.
void leave()
{
    QCoreApplication::quit();
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        std::_Exit(0);
    }).detach();
}

class Window final : public QRasterWindow
{
public:
    std::function<void()> exposed;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(QRect(QPoint(), size()), QColor(240, 240, 240));
    }
    // A close request from the compositor ends the program at once (not only when Qt counts
    // it as the last window closed). A loaded compositor can stall the orderly teardown after
    // the loop ends; the tests need only to see that the request arrived, so the process goes
    // within two seconds whatever the teardown does.
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::Close)
            leave();
        return QRasterWindow::event(event);
    }
    void exposeEvent(QExposeEvent *event) override
    {
        QRasterWindow::exposeEvent(event);
        if (isExposed() && exposed)
            std::exchange(exposed, nullptr)();
    }
};

void say(const char *line)
{
    std::printf("%s\n", line);
    std::fflush(stdout);
}

}   // namespace

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QString appId = u"org.wendle.TestWindow"_s;
    QString title = u"Window"_s;
    int count = 1;
    const QStringList arguments = QCoreApplication::arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments[i] == QLatin1StringView("--app-id"))
            appId = arguments[i + 1];
        else if (arguments[i] == QLatin1StringView("--title"))
            title = arguments[i + 1];
        else if (arguments[i] == QLatin1StringView("--count"))
            count = std::max(1, arguments[i + 1].toInt());
    }
    QGuiApplication::setDesktopFileName(appId);

    std::vector<std::unique_ptr<Window>> windows;
    int waiting = count;
    for (int i = 0; i < count; ++i) {
        auto window = std::make_unique<Window>();
        window->setTitle(count == 1 ? title : u"%1 %2"_s.arg(title).arg(i + 1));
        window->resize(320, 200);
        window->exposed = [&waiting] {
            if (--waiting == 0)
                say("ready");
        };
        window->show();
        windows.push_back(std::move(window));
    }

    QByteArray pending;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
        char buffer[4096];
        const ssize_t length = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (length <= 0) {
            QCoreApplication::quit();
            return;
        }
        pending.append(buffer, length);
        for (qsizetype newline; (newline = pending.indexOf('\n')) >= 0;) {
            const QString line = QString::fromUtf8(pending.left(newline));
            pending.remove(0, newline + 1);
            if (line == QLatin1StringView("quit")) {
                // The windows go first, from the running loop (which sends their end to the
                // compositor), so that a teardown a loaded compositor stalls cannot keep them.
                windows.clear();
                QTimer::singleShot(0, &application, leave);
                return;
            }
            const QStringList words = line.split(QLatin1Char(' '));
            if (words.size() >= 2 && words[0] == QLatin1StringView("title")) {
                const int index = words[1].toInt();
                if (index >= 0 && index < int(windows.size()))
                    windows[std::size_t(index)]->setTitle(words.mid(2).join(QLatin1Char(' ')));
                say("ok");
            }
        }
    });
    return application.exec();
}
