#pragma once

// Window titles come from other programs and are stored in the record, exported to CSV and
// written as XML: every desktop adapter passes what it reads through these functions, so that a
// title never carries control characters or broken text, and never grows without bound.
//
// Cleaning removes control characters (C0, DEL and C1; a tab or line break becomes a space, so
// that words stay apart), replaces invalid UTF-8 and unpaired surrogates with U+FFFD, and cuts a
// long title on a character boundary.

#include <QByteArrayView>
#include <QString>

// The longest title kept, in UTF-8 bytes.
inline constexpr qsizetype kVXMaxWindowTitleBytes = 4096;

// A title read as UTF-8 bytes. `truncated` says that the source cut the bytes (an X property read
// up to a length): a character left incomplete at the end is then dropped instead of replaced.
QString VXWindowTitleFromUtf8(QByteArrayView bytes, bool truncated = false);

// A title already decoded (Latin-1 properties, D-Bus strings).
QString VXCleanWindowTitle(const QString &title);
