#pragma once

// What the screenshot tests share: a dark palette like a dark desktop theme's, the drawing runs
// (this test program started again on a real display at scales 1 and 2, writing its pictures),
// and a picture's mean grey, to tell a real drawing and a dark one from a light one.

#include <QCoreApplication>
#include <QImage>
#include <QPalette>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

#include <gtest/gtest.h>

#include <cstdio>

inline QPalette VXTestDarkPalette()
{
    QPalette palette;
    const QColor window(45, 45, 48), base(30, 30, 32), text(230, 230, 230), disabled(130, 130, 130);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, window);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, QColor(61, 174, 233));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(110, 180, 255));
    palette.setColor(QPalette::PlaceholderText, QColor(154, 154, 154));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabled);
    // No etched shadow under disabled text, as dark themes draw it.
    palette.setColor(QPalette::Disabled, QPalette::Light, window);
    return palette;
}

// Runs the tests named by `filter` of this program once at scale 1 and once at scale 2 on the
// display of `display` (an X server's environment), with `outputVariable` naming `folder` and
// `scaleVariable` the scale. Use with ASSERT_NO_FATAL_FAILURE.
inline void VXRunDrawingAtScales(const QProcessEnvironment &display, const char *outputVariable,
                                 const char *scaleVariable, const QString &folder, const QString &filter, int timeoutMs)
{
    for (const char *scale : {"1", "2"}) {
        QProcessEnvironment environment = display;
        environment.insert(QString::fromLatin1(outputVariable), folder);
        environment.insert(QString::fromLatin1(scaleVariable), QString::fromLatin1(scale));
        environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QString::fromLatin1(scale));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        QProcess drawing;
        drawing.setProcessEnvironment(environment);
        drawing.setProcessChannelMode(QProcess::MergedChannels);
        drawing.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--gtest_filter=") + filter});
        ASSERT_TRUE(drawing.waitForFinished(timeoutMs)) << "the drawing run did not end";
        const QByteArray output = drawing.readAll();
        std::fputs(output.constData(), stdout);
        ASSERT_EQ(drawing.exitStatus(), QProcess::NormalExit);
        ASSERT_EQ(drawing.exitCode(), 0) << output.toStdString();
    }
}

// The mean grey of every fourth pixel of every fourth row.
inline double VXMeanGray(const QImage &image)
{
    double sum = 0.0;
    for (int y = 0; y < image.height(); y += 4) {
        for (int x = 0; x < image.width(); x += 4)
            sum += qGray(image.pixel(x, y));
    }
    return sum / ((image.height() / 4 + 1) * (image.width() / 4 + 1));
}
