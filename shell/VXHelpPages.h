#pragma once

// The names of the help pages compiled into the program ("index", "modes", "pools", ...), in
// reading order. QtCore only: the command line lists them (--help-page) without loading the
// widgets that show them (VXHelpWindow).

#include <QStringList>

class VXHelpPages
{
public:
    static const QStringList &names();
};
