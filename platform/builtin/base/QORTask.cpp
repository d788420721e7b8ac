#include "platform/QORTask.h"

#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LibraryUsers.h"

#include <atomic>

QORTask::QORTask() noexcept = default;

QORTask::~QORTask() = default;

void QORTask::CancelLog() { EventTrace::Note("QORTask::CancelLog"); }

namespace
{

constinit std::atomic<unsigned> gThreadSpaceUsers{0};

} // namespace

namespace QORThreadSpace
{

Initializer::Initializer()
{
    if (Faults::IsDue(Faults::EnumFault::LibraryStart))
        throw QBase::Message("The thread library can't be brought up.");
    EventTrace::Note("QORThreadSpace::Initializer");
    ++gThreadSpaceUsers;
}

Initializer::~Initializer()
{
    EventTrace::Note("QORThreadSpace::~Initializer");
    --gThreadSpaceUsers;
}

} // namespace QORThreadSpace

unsigned LibraryUsers::GetThreadSpaceUsers() noexcept { return gThreadSpaceUsers; }
