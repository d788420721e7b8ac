// The one header for users of the host.
#pragma once

#include "host/QORHost.h"
#include "host/QORHostJob.h"
#include "host/QORHostRun.h"
#include "host/QORHostTypes.h"
