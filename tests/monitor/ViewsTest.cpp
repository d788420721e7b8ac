#include "monitor/QORMonitorViews.h"

#include <gtest/gtest.h>
