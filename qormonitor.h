// The one header for users of qorjob::monitor.
#pragma once

#include "monitor/QORMonitor.h"
#include "monitor/QORMonitorSite.h"
#include "monitor/QORMonitorTypes.h"
#include "monitor/QORMonitorViews.h"
#include "monitor/QORWeb.h"
#include "monitor/QORWebServer.h"
