// What a monitor keeps.
#pragma once

#include "monitor/QORMonitor.h"
