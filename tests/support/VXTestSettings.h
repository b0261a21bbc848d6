#pragma once

// A settings store for tests that read or write user defaults.

#include "VXRegisteredDefaults.h"
#include "VXTestSupport.h"
#include "VXUserDefaults.h"

#include <QTemporaryDir>

#include <memory>

namespace vxtest {

// A settings store of its own, with the program's registered defaults, in a folder that goes
// away with it. Installed as the standard store while it lives (debug logging reads that).
class Settings
{
public:
    Settings()
    {
        VXEnsureCoreApplication();
        defaults = std::make_unique<VXUserDefaults>(QStringLiteral("org.example.WendleTests"), folder.path());
        VXRegisterDefaults(*defaults);
        VXUserDefaults::setStandard(defaults.get());
    }
    ~Settings()
    {
        if (VXUserDefaults::standard() == defaults.get())
            VXUserDefaults::setStandard(nullptr);
    }
    Settings(const Settings &) = delete;
    Settings &operator=(const Settings &) = delete;

    QTemporaryDir folder;
    std::unique_ptr<VXUserDefaults> defaults;
};

}   // namespace vxtest
