#include "VXAbruptEnd.h"

#include <cstdlib>

namespace {

std::function<void()> &action()
{
    // Never destroyed: it must outlive the static destructors that run after the handler.
    static auto *save = new std::function<void()>();
    return *save;
}

void runAtExit()
{
    std::function<void()> save;
    save.swap(action());
    if (save)
        save();
}

}   // namespace

void VXAbruptEnd::install(std::function<void()> save)
{
    static const bool registered = std::atexit(runAtExit) == 0;
    (void)registered;
    action() = std::move(save);
}

void VXAbruptEnd::disarm()
{
    action() = nullptr;
}
