#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Wendle"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WENDLE_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Wendle tracks how long each application and window is in front and open."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(app);
    return 0;
}
