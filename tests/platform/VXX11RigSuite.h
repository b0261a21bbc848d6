#pragma once

// The fixture of the X11 suites: one private desktop (VXX11TestRig) shared by every test of the
// suite, started once, and every test skipped with the reason when it cannot be (a program that
// is not installed, a server that did not come up). A suite names what it needs:
//
//     class MySuite : public VXX11RigSuite<MySuite>
//     {
//     public:
//         static QStringList rigPrograms() { return {"xdotool"}; }
//         static VXX11TestRig::Options rigOptions() { return {}; }
//     };

#include "VXX11TestRig.h"

#include <gtest/gtest.h>

template <class Suite, class Base = ::testing::Test> class VXX11RigSuite : public Base
{
public:
    static void SetUpTestSuite()
    {
        s_rig = new VXX11TestRig;
        QString whyNot;
        if (const QString missing = VXX11TestRig::missingProgram(Suite::rigPrograms()); !missing.isEmpty())
            s_skip = missing + QStringLiteral(" is not installed");
        else if (!s_rig->start(Suite::rigOptions(), &whyNot))
            s_skip = whyNot;
    }
    static void TearDownTestSuite()
    {
        delete s_rig;
        s_rig = nullptr;
    }

protected:
    void SetUp() override
    {
        if (!s_skip.isEmpty())
            GTEST_SKIP() << s_skip.toStdString();
    }

    static inline VXX11TestRig *s_rig = nullptr;
    static inline QString s_skip;
};
