#pragma once
#include "app/log/applogger.h"
#include "ui/livedatapanel.h"
