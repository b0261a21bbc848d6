#pragma once

// The program's texts in the user's language. English is the key of every text and the
// fallback: a language Wendle has no translation for, or a text its translation lacks, reads in
// English. Numbers, dates and durations follow the locale whatever the language (QLocale).

#include <QString>

class VXTranslations
{
public:
    // Loads Wendle's translation, and Qt's own (the buttons of its dialogues), for the system's
    // languages in order of preference, into the running application. Answers whether Wendle's
    // translation for one of them was found; English (no translation) answers false as well.
    static bool install();

    // The language of the translation install() loaded ("de_DE"), empty while Wendle speaks
    // English: what else comes in the user's language (the help pages) follows this choice.
    static QString language();
};
