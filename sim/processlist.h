#pragma once

#include <QString>

// A text snapshot of the running processes, one per line, in which simulator executable names
// can be searched. On Windows this is the output of "tasklist /FO CSV /NH" (at most 3000 ms);
// elsewhere each line holds a process's name and its command line. Empty when nothing could be
// listed.
QString systemProcessList();
