#pragma once

/// Everything of QVLog: named loggers, and the sinks that their messages go to.
#include <QVLog/log_level.h>
#include <QVLog/logger.h>
#include <QVLog/sinks.h>
