#include "monitor/QORMonitor.h"
