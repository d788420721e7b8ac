#include "monitor/QORWebServer.h"
