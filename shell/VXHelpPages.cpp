#include "VXHelpPages.h"

const QStringList &VXHelpPages::names()
{
    // The build's list of the pages compiled in, in their order.
    static const QStringList pages = QStringLiteral(WENDLE_HELP_PAGE_NAMES).split(u',');
    return pages;
}
