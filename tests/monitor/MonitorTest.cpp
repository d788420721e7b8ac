#include "monitor/QORMonitor.h"

#include <gtest/gtest.h>
