#include "monitor/QORMonitorViews.h"
