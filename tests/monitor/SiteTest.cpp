#include "monitor/QORMonitorSite.h"

#include <gtest/gtest.h>
