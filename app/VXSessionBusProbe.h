#pragma once

// Whether the session bus answers, found out before Qt's D-Bus module touches it: once Qt has
// started to connect to a bus that accepts connections but never answers, every later use of the
// session bus in the process (the tray icon's check, global menus, accessibility) waits for it for
// good. The bus is asked by VXBusProbe, as logind's system bus is.
//
// Only addresses of local sockets ("unix:path=", "unix:abstract=", and $XDG_RUNTIME_DIR/bus when
// DBUS_SESSION_BUS_ADDRESS is not set) are tried; a bus that is not there at all fails at once
// in Qt too and needs no check.

#include <QString>

// Blocks for at most `timeoutMs`. True when the bus answered or cannot hang the program (no bus,
// or an address of another kind); false with the reason in `why` otherwise.
bool VXSessionBusAnswers(int timeoutMs, QString *why = nullptr);

// From now on the process's uses of the session bus fail at once instead of waiting: the bus
// address is replaced by one where nothing listens.
void VXForgetSessionBus();
