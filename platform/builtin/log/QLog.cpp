#include "platform/QLog.h"

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/base/UserCounts.h"
#include "platform/builtin/log/Routers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

namespace QLog
{

namespace
{

/// The state from the library's first initialiser to its last one.
struct Uptime
{
    QSynch::Mutex<QSynch::LockLevelLogUsers> mMutex;
    int mSinkId QORJOB_GUARDED_BY(mMutex) = 0; ///< of the environment's sink; 0: none
};

Uptime& GetUptime()
{
    static Builtin::NeverDestroyed<Uptime> uptime;
    return uptime.Get();
}

std::string_view WithoutBlanks(std::string_view iText)
{
    const std::size_t first = std::min(iText.find_first_not_of(' '), iText.size());
    return iText.substr(first, iText.find_last_not_of(' ') + 1 - first);
}

/// Takes "Kernel/Job Trace, Kernel/Error"; a component alone, or "all", stands for all of it.
void EnableListed(std::string_view iList)
{
    while (!iList.empty())
    {
        const std::size_t comma = std::min(iList.find(','), iList.size());
        const std::string_view item = WithoutBlanks(iList.substr(0, comma));
        iList.remove_prefix(std::min(comma + 1, iList.size()));
        if (item.empty())
            continue;
        const std::size_t slash = item.find('/');
        Builtin::Routers::Key key(item == "all" ? Builtin::Routers::cAny : item.substr(0, slash),
                                  Builtin::Routers::cAny);
        if (slash != std::string_view::npos)
            key.second = item.substr(slash + 1);
        Builtin::Routers::EnableExpected(std::move(key));
    }
}

/// Null for an empty variable, too.
const char* Setting(const char* iName)
{
    const char* const value = std::getenv(iName);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

int AddEnvironmentSink()
{
    const char* const path = Setting("QORJOB_LOG_FILE");
    if (path == nullptr)
        return Builtin::LogSinks::AddStandardErrorSink();
    try
    {
        return Builtin::LogSinks::AddFileSink(path);
    }
    catch (const QBase::Message& message)
    {
        // A server starts without its log file, too.
        std::fprintf(stderr, "%s\n", message.what());
        return Builtin::LogSinks::AddStandardErrorSink();
    }
}

} // namespace

namespace Format
{

void Hex(MessageFormatter& ioFormatter) { ioFormatter.SetRadix(MessageFormatter::EnumRadix::Hexadecimal); }

void Dec(MessageFormatter& ioFormatter) { ioFormatter.SetRadix(MessageFormatter::EnumRadix::Decimal); }

void WideHex(MessageFormatter& ioFormatter) { ioFormatter.SetRadix(MessageFormatter::EnumRadix::WideHexadecimal); }

} // namespace Format

QBase::ReturnPtrI<Router> CreateRouter(const char* iComponent, const char* iName, int iLockCategory)
{
    Builtin::EventTrace::Note("QLog::CreateRouter", {iLockCategory});
    const Builtin::Routers::Key key(iComponent, iName);
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::RouterCreation))
        throw QBase::Message("The log router " + key.first + "/" + key.second + " can't be made.");
    return Builtin::Routers::Open(key);
}

Initializer::Initializer()
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LibraryStart))
        throw QBase::Message("The logging library can't be brought up.");
    Builtin::EventTrace::Note("QLog::Initializer");
    Uptime& uptime = GetUptime();
    const QSynch::MutexHold hold(uptime.mMutex);
    if (Builtin::gLogUsers == 0)
    {
        if (const char* const list = Setting("QORJOB_LOG"))
        {
            EnableListed(list);
            uptime.mSinkId = AddEnvironmentSink();
        }
        else if (Setting("QORJOB_LOG_FILE") != nullptr)
        {
            std::fputs("QORJOB_LOG_FILE is of no use: QORJOB_LOG names no log router.\n", stderr);
        }
    }
    ++Builtin::gLogUsers;
}

Initializer::~Initializer()
{
    Builtin::EventTrace::Note("QLog::~Initializer");
    Uptime& uptime = GetUptime();
    const QSynch::MutexHold hold(uptime.mMutex);
    if (--Builtin::gLogUsers != 0)
        return;
    Builtin::LogSinks::RemoveSink(std::exchange(uptime.mSinkId, 0));
    Builtin::Routers::ReportMissing();
}

} // namespace QLog
