#include "monitor/QORWebServer.h"

#include <gtest/gtest.h>
