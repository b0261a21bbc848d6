#pragma once

// Text in a terminal's columns: how many columns a text takes (wide East Asian characters and
// emoji two, combining marks and other zero-width characters none, control characters shown as
// one blank), and padding and cutting by that width, so that tables of window titles in any
// script line up.

#include <QString>
#include <QStringView>

// Columns the text takes.
qsizetype VXDisplayWidth(QStringView text);

// The text on one line (control characters and line separators as blanks), cut to at most
// `maximumWidth` columns with an ellipsis where it was cut; with `cellWidth`, the columns it takes.
QString VXTerminalCell(QStringView text, qsizetype maximumWidth, qsizetype *cellWidth = nullptr);

// The text padded with blanks to `width` columns, on the right (left-aligned) or on the left.
QString VXPadToWidth(const QString &text, qsizetype width, bool alignRight = false);
