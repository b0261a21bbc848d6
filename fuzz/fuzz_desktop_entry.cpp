// libFuzzer target: the desktop-entry reader, with the locale forms and the names looked up
// through them (the locale comes from the environment, the file from any applications folder).
//
// Input: the file's bytes.

#include "VXFuzzTargets.h"

#include "VXDesktopEntry.h"

namespace {

const char kTarget[] = "desktop-entry reader";

}   // namespace

int VXFuzzDesktopEntry(const std::uint8_t *data, std::size_t size)
{
    VXDesktopEntry entry;
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    if (!VXDesktopEntry::parse(bytes, entry))
        return 0;
    VXFuzzCountAccepted();
    if (entry.localizedNames.size() > VXDesktopEntry::kMaximumLocalizedNames)
        VXFuzzFail(kTarget, QStringLiteral("%1 localized names kept").arg(entry.localizedNames.size()));
    // Each locale the file names, taken as the user's (which comes from the environment).
    for (auto it = entry.localizedNames.cbegin(); it != entry.localizedNames.cend(); ++it)
        entry.localizedName(VXDesktopEntry::localeForms(it.key()));
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzDesktopEntry(data, size);
}
#endif
