#pragma once
#include "sim/aircraftdata.h"
