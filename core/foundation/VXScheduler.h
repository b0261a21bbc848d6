#pragma once

// One scheduler for every delayed single call of the program: the sampler tick, the idle
// countdown to hibernation, the periodic save, the daily-tasks check, the report refresh and the
// redo clearing. A call is identified by its target and operation, so that a forced call can
// cancel the pending one. Calls fire while menus are open and modal dialogs run.

#include <QString>

#include <functional>

class VXScheduler
{
public:
    using Target = const void *;

    virtual ~VXScheduler() = default;

    // Runs `call` once after `delay` seconds; a delay of 0 or less means the next turn of the
    // loop, never synchronously. Pending calls of the same target and operation are kept: call
    // cancel() first to replace them.
    virtual void performAfterDelay(Target target, const QString &operation, double delay, std::function<void()> call)
        = 0;
    // Drops every pending call of that target and operation.
    virtual void cancel(Target target, const QString &operation) = 0;
    // Drops every pending call of that target (when an object goes away).
    virtual void cancelAll(Target target) = 0;
    virtual bool isPending(Target target, const QString &operation) const = 0;
};

// Runs one due call for a scheduler. A call that throws is logged with its operation and
// dropped, so that one faulty call never ends the run loop or the chains of the others.
void VXRunDelayedCall(const QString &operation, const std::function<void()> &call);
