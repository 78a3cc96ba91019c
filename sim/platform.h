#pragma once

#include <QString>

// The few things the simulator link does differently per operating system. One implementation
// file per platform (platform_win.cpp, platform_unix.cpp); CMake picks one.

// A text snapshot of the running processes, one per line, in which simulator executable names
// can be searched. On Windows this is the output of "tasklist /FO CSV /NH" (at most 3000 ms);
// elsewhere each line holds a process's name and its command line. Empty when nothing could be
// listed.
QString systemProcessList();

// File name of the bridge helper executable: "simconnect-bridge.exe" on Windows, without the
// extension elsewhere.
QString bridgeHelperFileName();
