#include "tools/xpsim/xpsimlog.h"

Q_LOGGING_CATEGORY(lcXpSim, "zobrel.xpsim", QtInfoMsg)
