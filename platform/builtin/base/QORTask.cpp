#include "platform/QORTask.h"

#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/base/UserCounts.h"

QORTask::QORTask() noexcept = default;

QORTask::~QORTask() = default;

void QORTask::CancelLog() { Builtin::EventTrace::Note("QORTask::CancelLog"); }

namespace QORThreadSpace
{

Initializer::Initializer()
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LibraryStart))
        throw QBase::Message("The thread library can't be brought up.");
    Builtin::EventTrace::Note("QORThreadSpace::Initializer");
    ++Builtin::gThreadSpaceUsers;
}

Initializer::~Initializer()
{
    Builtin::EventTrace::Note("QORThreadSpace::~Initializer");
    --Builtin::gThreadSpaceUsers;
}

} // namespace QORThreadSpace
