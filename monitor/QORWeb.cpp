#include "monitor/QORWeb.h"
