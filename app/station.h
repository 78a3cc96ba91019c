#pragma once

// Runs the whole station: application object, look, log, network, settings, language, splash,
// main window, event loop, in that order; returns the exit code. Command line:
//   --screenshot        write one PNG per tab into "screenshots" and exit with 0
//   --settings <file>   use this settings file instead of Zobrel.ini in the application folder
//   --fake-simconnect   play the SimConnect simulators with the fake simulator and connect to it
//   --import-bgl        not available yet: rejected with a message and exit code 2
//   --bridge-server [port]  start with the instructor server listening (port from the settings
//                       when none is given)
//   --help, --version
// Exceptions are left to the caller (main), which logs them.
int runStation(int &argc, char **argv);
