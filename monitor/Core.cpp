#include "monitor/Core.h"
