#pragma once

// The tracker is a module of its own (libwendle-tracker.so): the widgets, the desktop adapters
// and the libraries they need (QtWidgets, QtGui, QtDBus, xcb, Wayland) are loaded only when
// `wendle` starts tracking, never for a command. The program keeps its process (its name, its
// pid, its single instance) and calls the module's entry point, which runs the tracker as main()
// would.
//
// The module is looked for at one place relative to the program's own file, the same in the
// build folder and in an installed tree (/usr/bin/wendle and
// /usr/lib/x86_64-linux-gnu/wendle/libwendle-tracker.so), or in the folder
// WENDLE_TRACKER_MODULE_DIR names. One missing or broken is said on standard error with the path
// looked at, and the program ends with status 1:
//
//     wendle: cannot start tracking: its module is missing (looked for </usr/lib/...so>)

// The module's entry point: runs the tracker with the program's command line and answers its
// exit status.
extern "C" int wendle_run_tracker(int argc, char *argv[]);

class VXTrackerModule
{
public:
    // Loads the module and runs the tracker from it; answers its exit status, or 1 after saying
    // why it cannot be loaded.
    static int run(int argc, char *argv[]);
};
