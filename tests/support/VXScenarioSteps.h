#pragma once

// The steps of one scenario that goes on from where its last check left it: every failure names
// the step it happened in, the last one begun only.
//
//     VXScenarioSteps steps;
//     VX_STEP(steps, "a closed report is forgotten");

#include <gtest/gtest.h>

#include <optional>
#include <string>

class VXScenarioSteps
{
public:
    void begin(const char *file, int line, const std::string &name)
    {
        m_trace.reset();
        m_trace.emplace(file, line, name);
    }

private:
    std::optional<::testing::ScopedTrace> m_trace;
};

#define VX_STEP(steps, name) (steps).begin(__FILE__, __LINE__, name)
