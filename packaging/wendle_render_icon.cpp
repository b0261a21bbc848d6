// Renders the program's scalable icon into the bitmap sizes the hicolor icon theme has, at build
// time, so that the pictures always match the drawing:
//
//     wendle_render_icon wendle.svg OUT_FOLDER 16 22 24 32 48 64 128 256
//
// writes OUT_FOLDER/16x16/apps/wendle.png and so on. Exit status 1 when the drawing cannot be
// read or a picture cannot be written.

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char *argv[])
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: wendle_render_icon ICON.svg OUT_FOLDER SIZE...\n");
        return 2;
    }
    const QString source = QString::fromLocal8Bit(argv[1]);
    QSvgRenderer renderer(source);
    if (!renderer.isValid()) {
        std::fprintf(stderr, "wendle_render_icon: cannot read %s\n", argv[1]);
        return 1;
    }
    const QString name = QFileInfo(source).completeBaseName() + QStringLiteral(".png");
    for (int i = 3; i < argc; ++i) {
        const int size = QString::fromLocal8Bit(argv[i]).toInt();
        if (size <= 0) {
            std::fprintf(stderr, "wendle_render_icon: %s is not a size\n", argv[i]);
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(QString::fromLocal8Bit(argv[2])).arg(size);
        if (!QDir().mkpath(folder) || !image.save(folder + u'/' + name)) {
            std::fprintf(stderr, "wendle_render_icon: cannot write %s/%s\n", qPrintable(folder), qPrintable(name));
            return 1;
        }
    }
    return 0;
}
