// The user's session with the server, as far as a job needs it: something counted.
#pragma once

#include "platform/QBase.h"

class QORJOB_API QorUserSession : public virtual QBase::Counted
{
};
