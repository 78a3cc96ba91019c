#pragma once

#include <QLoggingCategory>

// Diagnostics of the demo simulator go to stderr through this category. Info and above are on by
// default; "--verbose" enables debug, "--quiet" keeps only warnings.
Q_DECLARE_LOGGING_CATEGORY(lcXpSim)
