// The user's session with the server; a job only counts references to it.
#pragma once

#include "platform/QBase.h"

class QORJOB_API QorUserSession : public virtual QBase::Counted
{
};
