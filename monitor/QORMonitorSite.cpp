#include "monitor/QORMonitorSite.h"
